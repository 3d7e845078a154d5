// The ICMP echo prober: three echo requests to one host and a look at the
// first datagram that comes back.
#include "internal_diagnostics.h"

#include "core/internal/diagnostics_parts.h"
#include "core/log.h"
#include "core/text.h"
#include "platform.h"

#include <arpa/inet.h>
#include <string.h>
#include <sys/time.h>
#include <unistd.h>

namespace {

const size_t kPacketSize = 64;     // 8-byte ICMP header and 56 payload bytes
const int kProbes = 3;
const unsigned long kProbeGapUs = 5000;
const int kReplyWaitMs = 2000;
const size_t kDatagramSize = 1024;
const int kSlots = 128;
const uint8_t kEchoReply = 0;
const uint8_t kEchoRequest = 8;

struct probe_slot {
    uint16_t sequence;   // 0 marks a free slot
    struct timeval sent;
};

// Process-wide, as the firmware's prober: callers serialise.
struct prober_state {
    char host[256];
    uint32_t target;     // network order
    uint16_t identifier;
    probe_slot slots[kSlots];
    uint8_t packet[kPacketSize];
} prober;

// RFC 1071: one's-complement sum of the 16-bit big-endian words, folded and
// inverted; the result is in host order, to be stored big-endian.
uint16_t internet_checksum(const uint8_t* bytes, size_t size) {
    uint32_t sum = 0;
    for (size_t i = 0; i + 1 < size; i += 2) sum += (uint32_t)(bytes[i] << 8 | bytes[i + 1]);
    if (size & 1) sum += (uint32_t)bytes[size - 1] << 8;
    while (sum >> 16) sum = (sum & 0xffff) + (sum >> 16);
    return (uint16_t)~sum;
}

void build_echo_request(uint16_t sequence) {
    uint8_t* p = prober.packet;
    memset(p, 0, kPacketSize);
    p[0] = kEchoRequest;
    p[4] = (uint8_t)(prober.identifier >> 8);
    p[5] = (uint8_t)prober.identifier;
    p[6] = (uint8_t)(sequence >> 8);
    p[7] = (uint8_t)sequence;
    for (size_t i = 8; i < kPacketSize; i++) p[i] = (uint8_t)(i - 8);
    uint16_t sum = internet_checksum(p, kPacketSize);
    p[2] = (uint8_t)(sum >> 8);
    p[3] = (uint8_t)sum;
}

void stamp_free_slot(uint16_t sequence) {
    for (probe_slot& slot : prober.slots) {
        if (slot.sequence != 0) continue;
        slot.sequence = sequence;
        plat_gettimeofday(&slot.sent);
        return;
    }
}

bool sequence_was_sent(uint16_t sequence) {
    for (const probe_slot& slot : prober.slots)
        if (slot.sequence == sequence) return true;
    return false;
}

// True for an echo reply to this process's probes.
bool is_our_reply(const uint8_t* datagram, int size) {
    if (size < 1) return false;
    int header = (datagram[0] & 0x0f) * 4;
    if (size - header < 8) return false;
    const uint8_t* icmp = datagram + header;
    uint16_t identifier = (uint16_t)(icmp[4] << 8 | icmp[5]);
    uint16_t sequence = (uint16_t)(icmp[6] << 8 | icmp[7]);
    return icmp[0] == kEchoReply && icmp[1] == 0 && identifier == prober.identifier && sequence_was_sent(sequence);
}

bool is_loopback(uint32_t address) { return (ntohl(address) >> 24) == 127; }

int probe_and_close(int sock) {
    for (int i = 0; i < kProbes; i++) {
        if (i > 0) plat_usleep(kProbeGapUs);
        // Every probe carries sequence 0, as the firmware's prober does.
        const uint16_t sequence = 0;
        stamp_free_slot(sequence);
        build_echo_request(sequence);
        plat_icmp_send(sock, prober.packet, kPacketSize, prober.target);
    }
    int result = -1;
    if (plat_icmp_wait(sock, kReplyWaitMs) > 0) {
        uint8_t datagram[kDatagramSize];
        int size = plat_icmp_receive(sock, datagram, sizeof datagram);
        if (is_our_reply(datagram, size)) result = 0;
    }
    plat_icmp_close(sock);
    return result;
}

}  // namespace

extern "C" int pingsock(const char* host) {
    if (!host) return -1;
    copy_text(prober.host, sizeof prober.host, host);
    memset(prober.slots, 0, sizeof prober.slots);
    prober.identifier = (uint16_t)getpid();
    int sock = plat_icmp_open();
    if (sock < 0) {
        vespin_perror("socket");
        return -1;
    }
    uint32_t target = 0;
    if (!diagnostics_resolve_ipv4(prober.host, &target)) {
        plat_icmp_close(sock);
        return -1;
    }
    if (is_loopback(target)) plat_icmp_drop_echo_requests(sock);
    prober.target = target;
    return probe_and_close(sock);
}
