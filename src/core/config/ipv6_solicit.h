// The process-wide request for one router solicitation, raised when an
// automatic or PPPoE IPv6 WAN is set and served by the next live-state read.
#pragma once

void ipv6_solicitation_request(bool raised);
bool ipv6_solicitation_requested();
