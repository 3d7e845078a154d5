// Whether the Internet is reachable: the check host, its cached address and
// the WAN state built on them.
#include "internal_diagnostics.h"

#include "core/internal/diagnostics_parts.h"
#include "platform.h"
#include "tools.h"
#include "vespin_core.h"

#include <stdlib.h>
#include <string.h>

#include <string>

namespace {

const char kCheckHostFile[] = "/etc/vespin/check_host";
const char kLinkStatusFile[] = "/proc/eth1/link_status";
const time_t kCacheSeconds = 61;  // an address resolved less than 61 s ago is used again
const int kProbeCycles = 4;

// Process-wide: the check host's address as dotted text ("" when none) and
// when it was resolved.
struct reachability_cache {
    char address[16];
    time_t resolved_at;
} cache;

std::string check_host() {
    std::string name;
    if (plat_is_emulated() && plat_read_file(kCheckHostFile, &name)) {
        name = name.substr(0, name.find_first_of("\r\n"));
        if (!name.empty()) return name;
    }
    return VESPIN_CHECK_HOST;
}

int probe_cached_address() {
    for (int i = 0; i < kProbeCycles; i++)
        if (pingsock(cache.address) == 0) return 1;
    return 0;
}

// The link state of "/proc/eth1/link_status": its first two bytes as a
// decimal number, 0 when it cannot be read.
int eth1_link_status() {
    FILE* file = plat_fopen(kLinkStatusFile, "r");
    if (!file) return 0;
    char text[3] = {0};
    size_t n = fread(text, 1, 2, file);
    fclose(file);
    text[n] = 0;
    return atoi(text);
}

}  // namespace

extern "C" {

int is_server_available(void) {
    time_t now = plat_time();
    if (cache.address[0] && now - cache.resolved_at < kCacheSeconds) return probe_cached_address();
    uint32_t address = 0;
    if (!diagnostics_resolve_ipv4(check_host().c_str(), &address)) {
        memset(&cache, 0, sizeof cache);
        return 0;
    }
    ip_int_to_string(address, cache.address);
    cache.resolved_at = now;
    return probe_cached_address();
}

int vespin_is_wan_connected(void) {
    int op_mode = vespin_get_op_mode();
    int work_mode = get_work_mode();
    if (work_mode == 1) {
        int link = eth1_link_status();
        if (link != 0 && link != 1) return link;
        if (link == 0) {
            if (op_mode != 1) return VESPIN_WAN_NO_LINK;
            return is_server_available() ? VESPIN_WAN_INTERNET : VESPIN_WAN_NO_LINK;
        }
    }
    if (op_mode != 0) return VESPIN_WAN_NO_INTERNET;
    return is_server_available() ? VESPIN_WAN_INTERNET : VESPIN_WAN_NO_INTERNET;
}

}  // extern "C"
