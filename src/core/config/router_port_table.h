// Hardware port numbers of the router ports, inside the library.
#pragma once

// The switch's hardware port of router port id (0-5), or -1.
int router_port_hw_port(int id);
// The router port of a switch hardware port, or -1 when none uses it.
int router_port_of_hw_port(int hw_port);
