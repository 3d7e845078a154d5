// The datagram of the URL-filter module and the text of its answer.
// A message is 272 bytes: the netlink header (length 272, type 0, flags 0,
// sequence 0, port id 100, host byte order) and a 256-byte body whose first
// 76 bytes are the rule: operation (32-bit, offset 0), MAC (6 bytes, offset
// 4), the constant 1 (offset 10) and the host (offset 11, at most 63
// characters, zero-filled to 65 bytes); the rest is zero.
#pragma once

#include <stddef.h>

#include <string>

enum { KNET_MESSAGE_SIZE = 272, KNET_HEADER_SIZE = 16 };

void knet_message_build(int operation, const unsigned char mac[6], const char* host,
                        unsigned char message[KNET_MESSAGE_SIZE]);

// Reads the number after the first "ret:" of a reply's body text (the
// received bytes after the header, up to the first NUL). True with *ret set
// when there is one; false when the text has no "ret:" followed by a
// decimal number (an optional '-' and digits) or the reply is shorter than
// its header. *text (may be null) gets the body text for printing.
bool knet_reply_result(const unsigned char* reply, size_t length, int* ret, std::string* text);
