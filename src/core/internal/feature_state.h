// The process-wide identifier maps of port forwarding and static leases.
// Tests call these to start again as a new process would.
#pragma once

void port_fw_forget_state();
void static_dhcp_forget_state();
