// Loopback addresses for the daemons of one test process.
#pragma once

#include <stdint.h>

#include <string>

// A block "127.A.B" (nodes at 127.A.B.2, .3, ...) that no other test process
// and no main job uses: derived from this process's pid, never 127.0.0 (the
// main job's mesh), and passed over when 127.A.B.2 cannot bind `port` over
// UDP and TCP. The same block for every call of one process.
std::string test_loopback_net(uint16_t port);
