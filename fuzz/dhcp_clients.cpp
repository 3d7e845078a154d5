// The DHCP server's lease file as rtk_get_dhcp_client_list walks it: 88-byte
// records with host names.
#include "fuzz_root.h"
#include "platform.h"
#include "internal_devices.h"

#include <sys/stat.h>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    fuzz_run run;
    static bool made = [] {
        mkdir((fuzz_root() + "/var/lib").c_str(), 0755);
        return mkdir((fuzz_root() + "/var/lib/misc").c_str(), 0755) == 0;
    }();
    (void)made;
    plat_write_file_atomic("/var/lib/misc/udhcpd.leases", std::string((const char*)data, size));
    dhcp_client_info clients[DHCP_CLIENT_MAX];
    int32_t count = 0;
    rtk_get_dhcp_client_list(&count, clients);
    return 0;
}
