// Applying the Wi-Fi record: UCI options, the radios' settings, the channel
// choice and the scheduler restart.
#include "config_wifi.h"

#include "apmib.h"
#include "channel_list.h"
#include "core/log.h"
#include "platform/platform.h"
#include "result_codes.h"
#include "uciconfig.h"
#include "vespin_core.h"
#include "wifi_fields.h"

#include <stdio.h>
#include <string.h>

namespace {

const char kPackage[] = "vespin_wifi";
const int kCountrySize = 8;  // room for the stored country text

bool read_country(int radio, char* country) {
    set_global_wlan_idx(radio);
    memset(country, 0, kCountrySize);
    return apmib_get(MIB_WLAN_COUNTRY_STRING, country) != 0;
}

// Smart connect and both ACS into "vespin_wifi": 0 or the code.
int store_uci_options(const wifi_config* c) {
    uci_context* ctx = vespin_uci_ctx_new();
    if (vespin_is_error(ctx)) return VESPIN_ERR_FAILURE;
    char text[64];
    snprintf(text, sizeof text, "%s.global.smart_connect=%d", kPackage, c->smart_connect);
    int result = vespin_uci_ctx_cmd(ctx, 4, text);
    if (result != 0) VLOG_ERROR("Fail to set smart_connect to uci");
    if (result == 0 && (result = set_acs(&c->band_24g.acs, 1)) != 0) VLOG_ERROR("Fail to get 2.4g acs");
    if (result == 0 && (result = set_acs(&c->band_5g.acs, 0)) != 0) VLOG_ERROR("Fail to get 5g acs");
    if (result == 0 && vespin_uci_ctx_commit(ctx, kPackage) != 0) result = VESPIN_ERR_FAILURE;
    if (result != 0) vespin_uci_ctx_rollback(ctx, kPackage);
    vespin_uci_ctx_free(ctx);
    return result;
}

// The channel of a band with ACS on: the best of a fresh survey, when there is one.
void choose_channel(band* b, uint32_t region, int band_flag) {
    if (!b->acs.enabled) return;
    int best = select_best_channel(region, band_flag, WIFI_FIELD(*b, ssid).c_str(), (int)b->channel);
    if (best != 0) b->channel = (uint32_t)best;
}

// 0 or the code; *applied tells a full application from a failure path.
int apply(wifi_config* c, bool* applied) {
    if (c->smart_connect) {
        memcpy(c->band_5g.ssid, c->band_24g.ssid, sizeof c->band_5g.ssid);
        memcpy(c->band_5g.password, c->band_24g.password, sizeof c->band_5g.password);
        c->band_5g.encrypt = c->band_24g.encrypt;
        c->band_5g.disabled = c->band_24g.disabled;
        c->band_5g.hidden = c->band_24g.hidden;
        c->band_5g.mode = c->band_24g.mode;
    }
    int result = store_uci_options(c);
    if (result != 0) return result;
    char country[kCountrySize];
    if (!read_country(0, country) && !read_country(1, country)) {
        VLOG_ERROR("Fail to get country string");
        return 0;  // no country yet: nothing can be applied, and that is not an error
    }
    uint32_t region = 0;
    if (get_region_id(country, &region) != 0) {
        VLOG_ERROR("Fail to get region id");
        return VESPIN_ERR_FAILURE;
    }
    choose_channel(&c->band_5g, region, 0);
    if ((result = vespin_set_wifi_idx(&c->band_5g, 0)) != 0) {
        VLOG_ERROR("Fail to set band_5g");
        return result;
    }
    choose_channel(&c->band_24g, region, 1);
    if ((result = vespin_set_wifi_idx(&c->band_24g, 1)) != 0) {
        VLOG_ERROR("Fail to set band_24g ");
        return result;
    }
    plat_system("/bin/vespin_cron.sh restart");
    *applied = true;
    return 0;
}

}  // namespace

extern "C" {

int config_wifi(wifi_config* c) {
    bool applied = false;
    int result = c ? apply(c, &applied) : VESPIN_ERR_FAILURE;
    if (applied) return 0;
    // Every other way out, the early ones included, ends with this message.
    VLOG_ERROR("Fail to set band_24g ");
    return result;
}

int vespin_set_wifi_idx(const band* b, int radio) {
    if (!b) return VESPIN_ERR_FAILURE;
    set_global_wlan_idx(radio);
    vwlan_idx = 0;
    int result = wifi_write_band_identity(b);
    if (result != 0) return result;
    int disabled = (int)b->disabled;
    if (!apmib_set(MIB_WLAN_DISABLED, &disabled)) return VESPIN_ERR_SETTING;  // not logged, as it always was
    char country[kCountrySize] = {0};
    if (!apmib_get(MIB_WLAN_COUNTRY_STRING, country)) return 0;
    int bandwidth = b->bandwidth;
    if (!wifi_set_setting(MIB_WLAN_CHANNEL_BONDING, &bandwidth)) return VESPIN_ERR_SETTING;
    uint32_t region = 0;
    if (get_region_id(country, &region) != 0) {
        VLOG_ERROR("Fail to get region id");
        return VESPIN_ERR_FAILURE;
    }
    if (check_validity_of_channel(region, (int)b->channel) != 1) {
        VLOG_ERROR("Unsupported channel");
        return VESPIN_ERR_FAILURE;
    }
    int channel = (int)b->channel;
    if (!wifi_set_setting(MIB_WLAN_CHANNEL, &channel)) return VESPIN_ERR_SETTING;
    int domain = 0;
    if (!apmib_get(MIB_HW_REG_DOMAIN, &domain)) domain = 0;
    uint32_t domain_2g = 0, domain_5g = 0;
    if (get_regulatory_domain_id(region, &domain_2g, &domain_5g) != 0) return VESPIN_ERR_FAILURE;
    domain = (int)(radio == 1 ? domain_2g : domain_5g);
    if (domain == 0) return 0;
    if (!wifi_set_setting(MIB_HW_REG_DOMAIN, &domain)) return VESPIN_ERR_SETTING;
    return flush_apmib(APMIB_HW_SETTING) == 0 ? 0 : VESPIN_ERR_SETTING;
}

}  // extern "C"
