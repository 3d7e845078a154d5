// The MACs of every mesh node seen among the neighbours, kept for the life
// of the process so that a node that left the neighbour list is still not
// listed as a client.
#pragma once

#include "mesh_node.h"

// Entries the list holds at most.
const int KNOWN_MESH_MACS_MAX = 63;

// Brings the list up at the start of a collection: a full list is emptied
// (and so filters nothing this time); an empty one takes every neighbour's
// node MAC; otherwise each node MAC not yet listed is appended while the
// list holds fewer than 63.
void known_mesh_macs_update(mesh_node* const* neighbours, int count);
// True when the MAC text (compared without regard to case) is listed.
bool known_mesh_macs_contains(const char* mac_text);
// Entries held now.
int known_mesh_macs_count();
// Empties the list (tests).
void known_mesh_macs_forget();
