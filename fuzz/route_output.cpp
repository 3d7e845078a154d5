// The default route printed by "route -n" as get_gateway reads it, and the
// nameserver lines of resolv.conf as net_info_load reads them.
#include "fuzz_root.h"
#include "status.h"
#include "vespin_core.h"

#include <string.h>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    fuzz_run run(std::string((const char*)data, size));
    char gateway[16];
    get_gateway(gateway);
    net_info info;
    memset(&info, 0, sizeof info);
    net_info_load(&info, "eth1");
    return 0;
}
