#include "mesh_view.h"

#include "core/text.h"
#include "mesh_maintainer.h"
#include "vespin_core.h"

#include <stdlib.h>

mesh_view::mesh_view() {
    mesh_maintainer* inst = mesh_maintainer_get_inst();
    // A table that cannot be had lists no neighbour: the local node alone.
    if (!vespin_is_error(inst) && mesh_maintainer_list_neighbors(inst, &neighbours, &count) != 0) {
        neighbours = nullptr;
        count = 0;
    }
    char sn[64] = "";
    if (get_sn(sn) == 0) copy_text(local_sn, sizeof local_sn, sn);
    char name[128] = "";
    if (get_device_name(name) == 0) copy_text(local_name, sizeof local_name, name);
}

mesh_view::~mesh_view() { free(neighbours); }
