// The kernel's IPv6 files and the IPv6 resolver file as
// get_ipv6_wan_net_info reads them: the input is cut at its first two NUL
// bytes into "/proc/net/if_inet6", "/proc/net/ipv6_route" and
// "/var/resolv_v6.conf".
#include "config_ipv6.h"
#include "fuzz_root.h"
#include "platform.h"

#include <string.h>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    fuzz_run run("");
    std::string input((const char*)data, size);
    const char* files[] = {"/proc/net/if_inet6", "/proc/net/ipv6_route", "/var/resolv_v6.conf"};
    size_t start = 0;
    for (int i = 0; i < 3; i++) {
        size_t end = i < 2 ? input.find('\0', start) : std::string::npos;
        std::string part = start <= input.size() ? input.substr(start, end == std::string::npos ? end : end - start) : "";
        plat_write_file_atomic(files[i], part);
        start = end == std::string::npos ? input.size() + 1 : end + 1;
    }
    ipv6_netinfo info;
    memset(&info, 0, sizeof info);
    get_ipv6_wan_net_info(&info);
    return 0;
}
