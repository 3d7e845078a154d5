#include "knet_message.h"

#include <ctype.h>
#include <errno.h>
#include <linux/netlink.h>
#include <limits.h>
#include <stdlib.h>
#include <string.h>

namespace {

const unsigned kSenderPortId = 100;
const size_t kHostOffset = 11;
const size_t kHostMax = 63;

}  // namespace

void knet_message_build(int operation, const unsigned char mac[6], const char* host,
                        unsigned char message[KNET_MESSAGE_SIZE]) {
    memset(message, 0, KNET_MESSAGE_SIZE);
    struct nlmsghdr header;
    memset(&header, 0, sizeof header);
    header.nlmsg_len = KNET_MESSAGE_SIZE;
    header.nlmsg_pid = kSenderPortId;
    memcpy(message, &header, sizeof header);
    unsigned char* body = message + KNET_HEADER_SIZE;
    memcpy(body, &operation, sizeof operation);
    memcpy(body + 4, mac, 6);
    body[10] = 1;
    if (host) memcpy(body + kHostOffset, host, strnlen(host, kHostMax));
}

bool knet_reply_result(const unsigned char* reply, size_t length, int* ret, std::string* text) {
    if (text) text->clear();
    if (!reply || length < KNET_HEADER_SIZE) return false;
    const char* body = (const char*)reply + KNET_HEADER_SIZE;
    std::string body_text(body, strnlen(body, length - KNET_HEADER_SIZE));
    if (text) *text = body_text;
    size_t at = body_text.find("ret:");
    if (at == std::string::npos) return false;
    const char* number = body_text.c_str() + at + 4;
    const char* digits = *number == '-' ? number + 1 : number;
    if (!isdigit((unsigned char)*digits)) return false;
    errno = 0;
    char* end = nullptr;
    long value = strtol(number, &end, 10);
    if (errno == ERANGE || value > INT_MAX || value < INT_MIN) value = value < 0 ? INT_MIN : INT_MAX;
    *ret = (int)value;
    return true;
}
