// The factory root as a gateway whose process-wide device-list state (the
// vendor table, the known mesh-node MACs, the mapping of the node table)
// starts empty and is dropped, segment included, at the end.
#pragma once

#include "core/internal/devices/known_mesh_macs.h"
#include "core/internal/devices/vendor_table.h"
#include "core/mesh_maintainer/table_segment.h"
#include "test_root.h"

struct device_gateway : test_root {
    device_gateway() { forget(); }
    ~device_gateway() { forget(); }
    static void forget() {
        vendor_table_forget();
        known_mesh_macs_forget();
        mesh_table::forget_segment(true);
    }
};
