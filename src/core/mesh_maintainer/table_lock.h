// The node table's sequence lock, kept in the instance's reserved word. A
// writer makes the word odd, changes the table and makes it even again;
// readers copy what they need and retry while the word is odd or has moved.
// This process's own reads while it holds the lock go straight through.
#pragma once

#include "mesh_maintainer.h"

namespace mesh_table {

// Holds the lock for writing while it lives; nests within one process.
class write_guard {
  public:
    explicit write_guard(mesh_maintainer* inst);
    ~write_guard();
    write_guard(const write_guard&) = delete;
    write_guard& operator=(const write_guard&) = delete;

  private:
    mesh_maintainer* inst_;
};

// Read side: a ticket taken before copying and checked after.
uint32_t read_begin(const mesh_maintainer* inst);
// True when the copy made since read_begin is consistent.
bool read_end(const mesh_maintainer* inst, uint32_t ticket);

// Runs `copy` until it ran while no writer changed the table. A writer that
// died mid-change leaves the word odd and still: that copy is then kept.
template <class Copy>
void read_consistent(const mesh_maintainer* inst, Copy copy) {
    for (;;) {
        uint32_t ticket = read_begin(inst);
        copy();
        if (read_end(inst, ticket)) return;
    }
}

}  // namespace mesh_table
