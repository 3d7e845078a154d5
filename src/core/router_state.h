// The router state's per-process cache (system.cpp), reached by tests and
// fuzz targets only.
#pragma once

// Forgets the cached state: the next router_state_get reads "/tmp/router_state" again.
void router_state_forget();
