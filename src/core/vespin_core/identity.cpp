// The device's identity: serial number and the model it encodes, customer
// id, device name, assets block and firmware version.
#include "vespin_core.h"

#include "apmib.h"
#include "core/log.h"
#include "result_codes.h"
#include "core/text.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

namespace {

const int kMibDeviceName = 186;
const int kMibAssets = 2404;
const int kMibSerialNumber = 4001;
const int kMibCustomerId = 4009;

// The number formed by count characters of sn from first on; characters
// past the end of sn are absent, non-digits end the number.
int32_t number_at(const char* sn, size_t first, size_t count) {
    char digits[4] = {0};
    size_t length = strnlen(sn, first + count);
    for (size_t i = first; i < length && i < first + count; i++) digits[i - first] = sn[i];
    return (int32_t)strtol(digits, nullptr, 10);
}

}  // namespace

extern "C" {

int get_sn(char* out) { return apmib_get(kMibSerialNumber, out) ? 0 : VESPIN_ERR_SETTING; }

const char* get_sn_2(void) {
    static char cached[VESPIN_SN_SIZE];
    if (cached[0]) return cached;
    char sn[VESPIN_SN_SIZE] = {0};
    if (get_sn(sn) != 0) return VESPIN_ERROR_PTR(const char*, VESPIN_ERR_SETTING);
    copy_text(cached, sizeof cached, sn);
    return cached;
}

int get_customer_id(char* out) { return apmib_get(kMibCustomerId, out) ? 0 : VESPIN_ERR_SETTING; }

int model_get_from_sn(sn_model* model, const char* sn) {
    if (!model || !sn) return -1;
    model->family = number_at(sn, 0, 2);
    model->variant = number_at(sn, 9, 1);
    return 0;
}

int model_match_sn(const sn_model* model, const char* sn) {
    sn_model derived;
    if (!model || model_get_from_sn(&derived, sn) != 0) return 0;
    return model->family == derived.family && model->variant == derived.variant ? 1 : 0;
}

const char* sn_2_model(const char* sn) {
    static char model[8];
    const char* name = "Unknown";
    if (sn && strncmp(sn, "01", 2) == 0) name = "Q5";
    else if (sn && strncmp(sn, "02", 2) == 0) name = "Lark";
    copy_text(model, sizeof model, name);
    return model;
}

int get_device_name(char* out) {
    if (!apmib_get(kMibDeviceName, out)) return VESPIN_ERR_SETTING;
    if (out[0]) return 0;
    char sn[VESPIN_SN_SIZE] = {0};
    if (!apmib_get(kMibSerialNumber, sn)) return VESPIN_ERR_SETTING;
    // Only the second character tells the two families apart; the suffix is
    // taken as it is, so a short serial number gives a short suffix.
    snprintf(out, VESPIN_DEVICE_NAME_SIZE, "%s-%.4s", sn[1] == '1' ? "Q5" : "Lark", sn + 11);
    return 0;
}

int set_device_name(const char* name) {
    if (!name || strnlen(name, VESPIN_DEVICE_NAME_SIZE) >= VESPIN_DEVICE_NAME_SIZE) return VESPIN_ERR_MISSING_PARAM;
    return apmib_set(kMibDeviceName, const_cast<char*>(name)) ? 0 : VESPIN_ERR_SETTING;
}

int get_assets(void* assets) {
    if (!apmib_get(kMibAssets, assets)) {
        VLOG_ERROR("Fail to get MIB_VESPIN_DEVICE_ASSETS");
        return VESPIN_ERR_SETTING;
    }
    return 0;
}

int set_assets(const void* assets) {
    if (!apmib_set(kMibAssets, const_cast<void*>(assets))) {
        VLOG_ERROR("Fail to set MIB_VESPIN_DEVICE_ASSETS");
        return VESPIN_ERR_SETTING;
    }
    return 0;
}

int get_fm_version(char* out) {
    if (!out) return -1;
    memcpy(out, VESPIN_FM_VERSION, sizeof VESPIN_FM_VERSION);
    return 0;
}

}  // extern "C"
