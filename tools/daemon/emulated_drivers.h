// The driver files of an emulated mesh, written into each node's root the
// way the router's Wi-Fi driver and kernel show them:
//   - "/proc/wlan0/mesh_assoc_mpinfo", "/proc/wlan1/mesh_assoc_mpinfo": the
//     mesh peers each radio hears, with their RSSI, for a chain or a star;
//   - "/proc/wlan0/sta_info", "/proc/wlan1/sta_info": a few Wi-Fi clients
//     per node with traffic counters that grow with each refresh;
//   - "/proc/wlan0-va0/sta_info": one guest client per node;
//   - on the gateway: "/proc/net/arp" (every client on "br0"), the udhcpd
//     leases "/var/lib/misc/udhcpd.leases" (88-byte records), and the
//     main network's clients (one of them wired) named and online in the
//     device tracker's "devices" package.
// Clients take addresses <net>.100 and up (the nodes' own LAN), so that the
// gateway's br0 subnet holds them.
#pragma once

#include <string>
#include <vector>

enum class mesh_topology { chain, star };

struct emulated_node {
    int number;           // 1 for the gateway, 2.. for the satellites (mkroot's --mac-seed)
    std::string address;  // the node's br0 address
    std::string root;     // its emulated root
};

// The MAC text (12 lower-case hex digits) that sim/mkroot.sh gives interface
// `kind` of node `number`: 0 br0, 1 eth1, 2 wlan0, 3 wlan1.
std::string emulated_mac(int number, int kind);

// The nodes that node `index` (into nodes) hears, as indexes: in a chain its
// two neighbours in the list, in a star the gateway (index 0) hears every
// satellite and each satellite the gateway.
std::vector<size_t> emulated_peers(size_t count, size_t index, mesh_topology topology);

// Writes (or refreshes, with counters grown by `tick`) every node's driver
// files; each file is replaced whole, so that a reader never sees half of
// one. The first node is the gateway; `net` is the first three numbers of
// the addresses ("127.0.0"). False with *why set when a file cannot be written.
bool write_driver_files(const std::vector<emulated_node>& nodes, const std::string& net, mesh_topology topology,
                        int tick, std::string* why);
