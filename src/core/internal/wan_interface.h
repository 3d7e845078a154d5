// The interface that carries the WAN, by WAN type (setting 104) and VPN
// state, and its IPv4 address.
#pragma once

#include <stdint.h>

// "ppp1", "tun0", "ppp0" or "eth1" (a static text).
const char* wan_interface_name();
// The WAN interface's address (network order); false when it has none.
bool wan_interface_address(uint32_t* address);

// br0's address and netmask (network order): 0, or 600001 after logging
// "Fail to get br0 ip" / "Fail to get br0 mask".
int br0_network(uint32_t* address, uint32_t* netmask);
