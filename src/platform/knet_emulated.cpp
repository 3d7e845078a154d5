#include "knet_emulated.h"

#include <errno.h>
#include <linux/netlink.h>
#include <stdio.h>
#include <string.h>

#include <sstream>

namespace {

const char kModules[] = "/proc/modules";
const char kRules[] = "/var/run/vespin_knet.rules";
const size_t kHeader = sizeof(struct nlmsghdr);
const size_t kRuleSize = 76;
const size_t kReplySize = 272;

bool module_loaded() {
    std::string modules;
    if (!plat_read_file(kModules, &modules)) return false;
    std::istringstream lines(modules);
    std::string line;
    while (std::getline(lines, line))
        if (line.compare(0, 12, "vespin_knet ") == 0) return true;
    return false;
}

// The rule a message carries as "MAC HOST", or "" when it is malformed.
std::string rule_text(const unsigned char* body) {
    char mac[13];
    snprintf(mac, sizeof mac, "%02x%02x%02x%02x%02x%02x", body[4], body[5], body[6], body[7], body[8], body[9]);
    const char* host = (const char*)body + 11;
    size_t n = strnlen(host, 65);
    if (n == 0 || n == 65 || body[10] != 1) return std::string();
    for (size_t i = 0; i < n; i++)
        if ((unsigned char)host[i] <= ' ' || (unsigned char)host[i] > '~') return std::string();
    return std::string(mac) + " " + std::string(host, n);
}

int apply(int operation, const std::string& rule) {
    if (rule.empty() || operation < 2 || operation > 5) return -EINVAL;
    std::string text;
    plat_read_file(kRules, &text);
    std::istringstream lines(text);
    std::string line, kept;
    bool held = false;
    while (std::getline(lines, line)) {
        if (line == rule) held = true;
        else if (!line.empty()) kept += line + "\n";
    }
    bool adding = operation == 2 || operation == 4;
    if (!adding && !held) return -ENOENT;
    if (adding) kept += rule + "\n";
    return plat_write_file_atomic(kRules, kept) ? 0 : -EIO;
}

}  // namespace

plat_knet_result knet_emulated_exchange(const void* message, size_t length, void* reply, size_t reply_size,
                                        size_t* received) {
    if (!module_loaded()) {
        errno = EPROTONOSUPPORT;
        return PLAT_KNET_SOCKET;
    }
    int result = -EINVAL;
    if (length >= kHeader + kRuleSize) {
        const unsigned char* body = (const unsigned char*)message + kHeader;
        int operation;
        memcpy(&operation, body, sizeof operation);
        result = apply(operation, rule_text(body));
    }
    unsigned char answer[kReplySize] = {0};
    struct nlmsghdr header;
    memset(&header, 0, sizeof header);
    header.nlmsg_len = kReplySize;
    memcpy(answer, &header, sizeof header);
    snprintf((char*)answer + kHeader, kReplySize - kHeader, "ret:%d", result);
    *received = reply_size < kReplySize ? reply_size : kReplySize;
    memcpy(reply, answer, *received);
    return PLAT_KNET_OK;
}
