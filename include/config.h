/* The configuration model in one include: every record of the router's
 * settings with its loaders, JSON forms and appliers (one header per topic). */
#ifndef VESPIN_CONFIG_H
#define VESPIN_CONFIG_H

#include "config_admin.h"
#include "config_assets.h"
#include "config_ipv6.h"
#include "config_json.h"
#include "config_speed_limit.h"
#include "config_time_limit.h"
#include "config_timezone.h"
#include "config_vlan.h"
#include "config_vpn.h"
#include "config_wan.h"
#include "config_wifi.h"

#endif
