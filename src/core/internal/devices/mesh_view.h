// What the device lists need from the mesh: the valid neighbours in the
// node table and the local node's identity.
#pragma once

#include "mesh_node.h"

// The valid neighbours of the node table, owned by the view (the records
// themselves live in the shared table).
struct mesh_view {
    mesh_node** neighbours = nullptr;
    int count = 0;
    char local_sn[MESH_NODE_SN_SIZE] = "";
    char local_name[MESH_NODE_NAME_SIZE] = "";

    mesh_view();
    ~mesh_view();
    mesh_view(const mesh_view&) = delete;
    mesh_view& operator=(const mesh_view&) = delete;
};
