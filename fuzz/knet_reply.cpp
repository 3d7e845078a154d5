// Replies of the URL-filter kernel module (a netlink header and a text body).
#include "core/internal/knet_message.h"

#include <stdint.h>

#include <string>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    int ret = 0;
    std::string text;
    knet_reply_result(data, size, &ret, &text);
    return 0;
}
