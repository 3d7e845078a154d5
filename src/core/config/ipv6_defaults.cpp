// The LAN side's IPv6 defaults: DHCPv6 server, prefix settings and the
// router advertisement.
#include "config_ipv6.h"

#include "apmib.h"
#include "core/log.h"
#include "core/text.h"

#include <string.h>

static_assert(sizeof(ipv6_radvd_param) == 156, "the stored router-advertisement block is 156 bytes");
static_assert(sizeof(ipv6_dhcp6s_param) == 112, "the stored DHCPv6 server block is 112 bytes");
static_assert(sizeof(ipv6_mib_addr) == 20, "a stored IPv6 address is 20 bytes");

namespace {

const int kMibRadvd = 370, kMibDhcp6s = 372;
const int kMibPdEnable = 386, kMibRapidCommit = 387, kMibLanAuto = 388, kMibPrefixMode = 408;
const int kMibLanDhcpMode = 423, kMib6rdEnable = 424, kMib6rdPrefix = 425, kMib6rdBorderRelay = 426;

bool set_int(int id, int value) { return apmib_set(id, &value) != 0; }

}  // namespace

extern "C" {

int radvd_default_config(void) {
    ipv6_radvd_param stored;
    if (!apmib_get(kMibRadvd, &stored)) {
        VLOG_ERROR("Fail to get MIB_IPV6_RADVD_PARAM");
        return VESPIN_ERR_SETTING;
    }
    ipv6_radvd_param wanted = stored;
    wanted.enabled = 1;
    memset(wanted.interface, 0, sizeof wanted.interface);
    copy_text(wanted.interface, sizeof wanted.interface, "br0");
    wanted.max_adv_interval = 600;
    wanted.min_adv_interval = 198;
    wanted.min_delay_between_ras = 3;
    wanted.managed_flag = 1;
    wanted.other_config_flag = 0;
    wanted.link_mtu = 0;
    wanted.reachable_time = 0;
    wanted.retrans_timer = 0;
    wanted.cur_hop_limit = 64;
    wanted.default_lifetime = 1800;
    memset(wanted.default_preference, 0, sizeof wanted.default_preference);
    copy_text(wanted.default_preference, sizeof wanted.default_preference, "medium");
    wanted.source_lladdr = 1;
    wanted.unicast_only = 0;
    memset(wanted.prefixes, 0, sizeof wanted.prefixes);
    if (memcmp(&wanted, &stored, sizeof wanted) == 0) return 0;
    if (!apmib_set(kMibRadvd, &wanted)) {
        VLOG_ERROR("Fail to set MIB_IPV6_RADVD_PARAM");
        return VESPIN_ERR_SETTING;
    }
    return 0;
}

int set_ipv6_default_config(void) {
    ipv6_mib_addr zero;
    memset(&zero, 0, sizeof zero);
    char border_relay[16] = "0.0.0.0";
    bool ok = set_int(kMibRapidCommit, 0) && set_int(kMibLanAuto, 1) && set_int(kMibLanDhcpMode, 0) &&
              set_int(kMibPdEnable, 0) && set_int(kMib6rdEnable, 0) && apmib_set(kMib6rdPrefix, &zero) &&
              apmib_set(kMib6rdBorderRelay, border_relay) && set_int(kMibPrefixMode, 0);
    ipv6_dhcp6s_param dhcp6s;
    ok = ok && apmib_getDef(kMibDhcp6s, &dhcp6s);
    if (ok) {
        dhcp6s.enabled = 1;
        ok = apmib_set(kMibDhcp6s, &dhcp6s) != 0;
    }
    if (!ok) {
        VLOG_ERROR("Fail to set ipv6 lan defaults");
        return VESPIN_ERR_SETTING;
    }
    return radvd_default_config() ? VESPIN_ERR_SETTING : 0;
}

}  // extern "C"
