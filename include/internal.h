/* The router's feature handlers in one include: each stores a setting and
 * applies it at once (one header per feature). */
#ifndef VESPIN_INTERNAL_H
#define VESPIN_INTERNAL_H

#include "internal_devices.h"
#include "internal_dhcp.h"
#include "internal_diagnostics.h"
#include "internal_firewall.h"
#include "internal_node_blacklist.h"
#include "internal_speed_limit.h"
#include "internal_sta_blacklist.h"
#include "internal_time_limit.h"
#include "internal_url_filter.h"
#include "internal_wifi.h"

#endif
