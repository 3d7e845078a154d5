// The factory root as a gateway whose process-wide device-list state (the
// vendor table, the known mesh-node MACs, the mapping of the node table)
// starts empty and is dropped, segment included, at the end.
#pragma once

#include "core/internal/devices/known_mesh_macs.h"
#include "core/internal/devices/vendor_table.h"
#include "core/mesh_maintainer/table_segment.h"
#include "test_root.h"

#include <stdint.h>
#include <string.h>

#include <string>

struct device_gateway : test_root {
    device_gateway() {
        forget();
        leases_in_host_order();
    }
    ~device_gateway() { forget(); }
    static void forget() {
        vendor_table_forget();
        known_mesh_macs_forget();
        mesh_table::forget_segment(true);
    }
    // The DHCP server writes each lease's expiry in the router's own byte
    // order. The factory root ships its leases as a little-endian router
    // wrote them: rewrite the expiries (bytes 20 to 23 of each 88-byte
    // record) in this machine's order, so a big-endian target reads the same.
    void leases_in_host_order() const {
        std::string leases = read("/var/lib/misc/udhcpd.leases");
        for (size_t at = 0; at + 88 <= leases.size(); at += 88) {
            const unsigned char* le = (const unsigned char*)leases.data() + at + 20;
            uint32_t expiry = le[0] | (uint32_t)le[1] << 8 | (uint32_t)le[2] << 16 | (uint32_t)le[3] << 24;
            memcpy(&leases[at + 20], &expiry, sizeof expiry);
        }
        write("/var/lib/misc/udhcpd.leases", leases);
    }
};
