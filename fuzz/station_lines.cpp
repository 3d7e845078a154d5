// The station lines that the driver's awk pipeline prints, as
// get_wifi_device_mac_list reads them.
#include "fuzz_root.h"
#include "internal_devices.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    fuzz_run run(std::string((const char*)data, size));
    lan_device_info records[LAN_DEVICE_MAX];
    get_wifi_device_mac_list("/proc/wlan0/sta_info", records);
    return 0;
}
