// Time-limit rule texts, which other processes and clients store in UCI.
// A text that parses gives 1 to 7 day entries and prints back within
// TIME_LIMIT_TEXT_SIZE bytes.
#include "config_time_limit.h"
#include "fuzz_root.h"

#include <json-c/json.h>
#include <stdint.h>
#include <stdlib.h>
#include <string.h>

#include <string>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    fuzz_root();  // failures are logged: keep the log inside a root of our own
    std::string text((const char*)data, size);
    time_limit rule;
    memset(&rule, 0x5a, sizeof rule);
    if (time_limit_from_string(&rule, text.c_str()) != 0) return 0;
    if (rule.schedule_count < 1 || rule.schedule_count > TIME_LIMIT_DAYS) abort();
    char printed[TIME_LIMIT_TEXT_SIZE];
    time_limit_to_string(&rule, printed);
    if (strnlen(printed, sizeof printed) == sizeof printed) abort();
    json_object_put(time_limit_to_json_object(&rule));
    return 0;
}
