// A client's WAN, net_info, IPv6 WAN and VLAN JSON texts, through their
// parsers and back through the printers.
#include "config_ipv6.h"
#include "config_wan.h"

#include <stdint.h>
#include <string.h>

#include <memory>
#include <string>

#include "core/json_ref.h"
#include "platform_testing.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    plat_test_reset();  // the captured log would grow with every input
    plat_test_capture_log();
    std::string text((const char*)data, size);
    auto wan = std::make_unique<wan_net_config>();
    memset(wan.get(), 0, sizeof *wan);
    wan_net_config_update_from_json(wan.get(), text.c_str());
    json_ref printed(wan_net_config_to_json(wan.get()));
    net_info info;
    memset(&info, 0, sizeof info);
    net_info_update_from_json(&info, text.c_str());
    net_info_load_from_json(&info, text.c_str());
    json_ref doc(json_tokener_parse(text.c_str()));
    if (doc) {
        auto ipv6 = std::make_unique<ipv6_wan_netcfg>();
        memset(ipv6.get(), 0, sizeof *ipv6);
        ipv6_wan_netcfg_from_json(ipv6.get(), doc.get());
        json_ref back(ipv6_wan_netcfg_to_json(ipv6.get()));
        auto table = std::make_unique<vlan_table>();
        vlan_table_from_json(table.get(), doc.get());
        json_ref vlan(vlan_table_to_json(table.get()));
    }
    return 0;
}
