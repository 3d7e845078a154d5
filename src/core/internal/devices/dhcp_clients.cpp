// The DHCP server's leases with their host names: 88-byte records.
#include "internal_devices.h"

#include "core/log.h"
#include "core/text.h"
#include "platform.h"
#include "result_codes.h"
#include "tools.h"

#include <errno.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <string>

namespace {

// One lease: 16-byte client hardware address (the MAC in its first 6
// bytes), IPv4 address (network byte order), expiry (32 bits, copied as
// stored), 64-byte host name. No header.
const size_t kLeaseSize = 88;
const size_t kAddressOffset = 16;
const size_t kExpiryOffset = 20;
const size_t kHostOffset = 24;
const size_t kHostSize = 64;

const char kLeaseFile[] = "/var/lib/misc/udhcpd.leases";
const char kPidFile[] = "/var/run/udhcpd.pid";

// Asks the DHCP server to write its leases. The signal goes through the
// kill command, so that an emulated router never signals a host process.
void request_leases() {
    std::string text;
    if (!plat_read_file(kPidFile, &text)) {
        VLOG_ERROR("Read pid file error!");
        return;
    }
    int pid = atoi(text.c_str());
    // pid 1 is init; it is never signalled.
    if (pid < 2) return;
    char command[64];
    snprintf(command, sizeof command, "kill -SIGUSR1 %d", pid);
    int exit_status = 0;
    if (run_command(&exit_status, command) != 0 || exit_status != 0) {
        VLOG_ERROR("Fail to send signal");
        errno = ESRCH;
        vespin_perror("Error");
    }
}

bool all_zero(const unsigned char* bytes, size_t size) {
    for (size_t i = 0; i < size; i++)
        if (bytes[i]) return false;
    return true;
}

}  // namespace

int rtk_get_dhcp_client_list(int32_t* count_out, dhcp_client_info* records) {
    if (!count_out || !records) return VESPIN_OK;
    *count_out = 0;
    request_leases();
    plat_usleep(1000);
    std::string content;
    if (!plat_read_file(kLeaseFile, &content)) return VESPIN_OK;
    const unsigned char* bytes = (const unsigned char*)content.data();
    // A trailing partial record is ignored.
    for (size_t at = 0; at + kLeaseSize <= content.size() && *count_out < DHCP_CLIENT_MAX; at += kLeaseSize) {
        const unsigned char* lease = bytes + at;
        uint32_t expires;
        memcpy(&expires, lease + kExpiryOffset, 4);
        if (expires == 0 || all_zero(lease, 16)) continue;
        dhcp_client_info* client = &records[(*count_out)++];
        memset(client, 0, sizeof *client);
        char host[kHostSize + 1];
        memcpy(host, lease + kHostOffset, kHostSize);
        host[kHostSize] = '\0';
        char trimmed[kHostSize + 1];
        // trim leaves the last character of a blank name: that is no name either.
        bool named = trim(host, trimmed) > 1 || (trimmed[0] && !strchr(" \t\n", trimmed[0]));
        copy_text(client->name, sizeof client->name, named ? trimmed : "Unknown Vendor");
        memcpy(&client->ip, lease + kAddressOffset, 4);
        memcpy(client->mac, lease, 6);
        client->expires = expires;
    }
    return VESPIN_OK;
}
