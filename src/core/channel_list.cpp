#include "channel_list.h"

#include "log.h"
#include "platform/platform.h"

#include <string.h>

#include <vector>

namespace {

struct country_ie {
    uint32_t region_id;
    char country[4];  // 802.11d country string: two letters, a space, NUL
    uint32_t domain_5g;
    uint32_t domain_2g;
};

// Both domain indexes of a row are always the same.
#define ROW(code, id, domain) {id, code " ", domain, domain}

const country_ie country_ie_array[VESPIN_REGION_COUNT] = {
    ROW("AL", 8, 3),   ROW("DZ", 12, 3),  ROW("AR", 32, 3),  ROW("AM", 51, 3),  ROW("AU", 36, 3),
    ROW("AT", 40, 3),  ROW("AZ", 31, 3),  ROW("BH", 48, 3),  ROW("BY", 112, 3), ROW("BE", 56, 3),
    ROW("BZ", 84, 3),  ROW("BO", 68, 3),  ROW("BR", 76, 3),  ROW("BN", 96, 3),  ROW("BG", 100, 3),
    ROW("CA", 124, 1), ROW("CL", 152, 3), ROW("CN", 156, 13), ROW("CO", 170, 1), ROW("CR", 188, 3),
    ROW("HR", 191, 3), ROW("CY", 196, 3), ROW("CZ", 203, 3), ROW("DK", 208, 3), ROW("DO", 214, 1),
    ROW("EC", 218, 3), ROW("EG", 818, 3), ROW("SV", 222, 3), ROW("EE", 233, 3), ROW("FI", 246, 3),
    ROW("FR", 250, 3), ROW("GE", 268, 3), ROW("DE", 276, 3), ROW("GR", 300, 3), ROW("GT", 320, 1),
    ROW("HN", 340, 3), ROW("HK", 344, 3), ROW("HU", 348, 3), ROW("IS", 352, 3), ROW("IN", 356, 3),
    ROW("ID", 360, 3), ROW("IR", 364, 3), ROW("IE", 372, 3), ROW("IL", 376, 7), ROW("IT", 380, 3),
    ROW("JP", 392, 6), ROW("JO", 400, 3), ROW("KZ", 398, 3), ROW("KR", 410, 3), ROW("KP", 408, 3),
    ROW("KW", 414, 3), ROW("LV", 428, 3), ROW("LB", 422, 3), ROW("LI", 438, 3), ROW("LT", 440, 3),
    ROW("LU", 442, 3), ROW("MO", 446, 3), ROW("MK", 807, 3), ROW("MY", 458, 3), ROW("MX", 484, 1),
    ROW("MC", 492, 3), ROW("MA", 504, 3), ROW("NL", 528, 3), ROW("NZ", 554, 3), ROW("NO", 578, 3),
    ROW("OM", 512, 3), ROW("PK", 586, 3), ROW("PA", 591, 1), ROW("PE", 604, 3), ROW("PH", 608, 3),
    ROW("PL", 616, 3), ROW("PT", 620, 3), ROW("PR", 630, 1), ROW("QA", 634, 3), ROW("RO", 642, 3),
    ROW("RS", 688, 3), ROW("RU", 643, 12), ROW("SA", 682, 3), ROW("SG", 702, 3), ROW("SK", 703, 3),
    ROW("SI", 705, 3), ROW("ZA", 710, 3), ROW("ES", 724, 3), ROW("SE", 752, 3), ROW("CH", 756, 3),
    ROW("SY", 760, 3), ROW("TW", 158, 11), ROW("TH", 764, 3), ROW("TT", 780, 3), ROW("TN", 788, 3),
    ROW("TR", 792, 3), ROW("UA", 804, 3), ROW("AE", 784, 3), ROW("GB", 826, 3), ROW("US", 840, 1),
    ROW("UY", 858, 3), ROW("UZ", 860, 1), ROW("VE", 862, 3), ROW("VN", 704, 3), ROW("YE", 887, 3),
    ROW("ZW", 716, 3),
};

#undef ROW

// A domain's row: the channel count, then up to 25 channels (unused words 0).
using channel_row = uint32_t[1 + VESPIN_MAX_CHANNELS];
const int kDomains = 16;

#define CH_1_11 11, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11
#define CH_1_13 13, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13
#define CH_1_14 14, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14

const channel_row country_ie_channel_2g[kDomains] = {
    {0},
    {CH_1_11},
    {CH_1_11},
    {CH_1_13},
    {CH_1_13},
    {4, 10, 11, 12, 13},
    {CH_1_14},
    {11, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13},
    {CH_1_14},
    {CH_1_14},
    {CH_1_14},
    {CH_1_11},
    {CH_1_13},
    {CH_1_13},
    {CH_1_11},
    {CH_1_11},
};

#undef CH_1_11
#undef CH_1_13
#undef CH_1_14

#define CH_LOW 36, 40, 44, 48
#define CH_HIGH 149, 153, 157, 161

const channel_row country_ie_channel_5g[kDomains] = {
    {0},
    {8, CH_LOW, CH_HIGH},
    {8, CH_LOW, CH_HIGH},
    {4, CH_LOW},
    {4, CH_LOW},
    {4, CH_LOW},
    {4, CH_LOW},
    {4, CH_LOW},
    {4, 34, 38, 42, 46},
    {4, CH_LOW},
    {4, CH_LOW},
    {7, 56, 60, 64, CH_HIGH},
    {8, CH_LOW, CH_HIGH},
    {8, CH_LOW, CH_HIGH},
    {7, CH_LOW, 149, 153, 157},
    {8, CH_LOW, CH_HIGH},
};

#undef CH_LOW
#undef CH_HIGH

const country_ie* find_region(uint32_t region_id) {
    for (const country_ie& row : country_ie_array)
        if (row.region_id == region_id) return &row;
    return nullptr;
}

int copy_channels(const channel_row& row, uint32_t* out) {
    uint32_t count = row[0] < VESPIN_MAX_CHANNELS ? row[0] : VESPIN_MAX_CHANNELS;
    memcpy(out, &row[1], count * sizeof row[1]);
    return (int)count;
}

int channel_list(uint32_t region_id, bool band_2g, uint32_t* out) {
    const country_ie* row = out ? find_region(region_id) : nullptr;
    if (!row) return -1;
    uint32_t domain = band_2g ? row->domain_2g : row->domain_5g;
    if (domain >= (uint32_t)kDomains) return -1;
    return copy_channels(band_2g ? country_ie_channel_2g[domain] : country_ie_channel_5g[domain], out);
}

bool listed(const uint32_t* channels, int count, int channel) {
    for (int i = 0; i < count; i++)
        if ((int)channels[i] == channel) return true;
    return false;
}

int foreign_networks_on(const std::vector<plat_scan_entry>& scan, int channel, const char* own_ssid) {
    int count = 0;
    for (const plat_scan_entry& network : scan)
        if (network.channel == channel && (!own_ssid || network.ssid != own_ssid)) count++;
    return count;
}

}  // namespace

extern "C" {

int get_regulatory_domain_id(uint32_t region_id, uint32_t* domain_2g, uint32_t* domain_5g) {
    const country_ie* row = domain_2g && domain_5g ? find_region(region_id) : nullptr;
    if (!row) return -1;
    *domain_2g = row->domain_2g;
    *domain_5g = row->domain_5g;
    return 0;
}

int get_all_region_id(uint32_t* out) {
    if (!out) return 0;
    for (int i = 0; i < VESPIN_REGION_COUNT; i++) out[i] = country_ie_array[i].region_id;
    return VESPIN_REGION_COUNT;
}

int get_region_id(const char* country_code, uint32_t* region_id) {
    if (!country_code || !region_id) return -1;
    for (const country_ie& row : country_ie_array) {
        if (strncmp(row.country, country_code, 2) == 0) {
            *region_id = row.region_id;
            return 0;
        }
    }
    return -1;
}

int get_country(uint32_t region_id, char* out) {
    const country_ie* row = out ? find_region(region_id) : nullptr;
    if (!row) return -1;
    memcpy(out, row->country, 2);
    return 0;
}

int get_2g_channel_list(uint32_t region_id, uint32_t* out) { return channel_list(region_id, true, out); }

int get_5g_channel_list(uint32_t region_id, uint32_t* out) { return channel_list(region_id, false, out); }

int check_validity_of_channel(uint32_t region_id, int channel) {
    uint32_t channels[VESPIN_MAX_CHANNELS];
    int count = get_5g_channel_list(region_id, channels);
    if (count < 0) return 0;
    if (listed(channels, count, channel)) return 1;
    count = get_2g_channel_list(region_id, channels);
    return count >= 0 && listed(channels, count, channel) ? 1 : 0;
}

int select_best_channel(uint32_t region_id, int radio, const char* own_ssid, int current_channel) {
    std::vector<plat_scan_entry> scan;
    bool scanned = plat_site_survey(radio ? "wlan1" : "wlan0", &scan);
    uint32_t channels[VESPIN_MAX_CHANNELS] = {0};
    int count = radio ? get_2g_channel_list(region_id, channels) : get_5g_channel_list(region_id, channels);
    if (!scanned) {
        VLOG_ERROR("Fail to scan wlan%d", radio);
        return 0;
    }
    int current_count = foreign_networks_on(scan, current_channel, own_ssid);
    int best = 0;
    int lowest = 128;  // more networks than a survey can report
    for (int i = 0; i < count; i++) {
        int crowd = foreign_networks_on(scan, (int)channels[i], own_ssid);
        if (crowd < lowest) {
            lowest = crowd;
            best = (int)channels[i];
        } else if (crowd == lowest && plat_time() % 2 == 0) {  // a tie: the clock tosses the coin
            best = (int)channels[i];
        }
    }
    return current_count == lowest ? current_channel : best;
}

}  // extern "C"
