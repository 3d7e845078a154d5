// The site-survey files of the two radios, which the driver writes: any
// content gives a survey (or a failed one) and a channel the region allows,
// or 0.
#include "channel_list.h"
#include "fuzz_root.h"

#include <stdint.h>
#include <stdlib.h>

#include <string>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    fuzz_run run;
    fuzz_write("/var/scan/wlan0", data, size);
    fuzz_write("/var/scan/wlan1", data, size);
    const uint32_t regions[] = {840, 276, 392};  // United States, Germany, Japan
    for (uint32_t region : regions) {
        for (int radio : {0, 1}) {
            int channel = select_best_channel(region, radio, size % 2 ? "HomeNet" : nullptr, 6);
            if (channel != 0 && !check_validity_of_channel(region, channel)) abort();
        }
    }
    return 0;
}
