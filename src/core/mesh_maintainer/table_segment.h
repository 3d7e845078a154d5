// The process's mapping of the shared node table.
#pragma once

#include "mesh_maintainer.h"

namespace mesh_table {

// Drops this process's mapping, so that the next mesh_maintainer_get_inst
// maps the segment of the current root again; with `remove`, the segment is
// also marked for removal. For tests and tools that move between roots.
void forget_segment(bool remove);

}  // namespace mesh_table
