// The emulated URL-filter module of a root. It is loaded while the root's
// "/proc/modules" lists "vespin_knet" (the insmod and rmmod stand-ins add and
// remove that line) and keeps the rules it holds in "/var/run/vespin_knet.rules",
// one "MAC HOST" line each (MAC as 12 lower-case hex digits), which rmmod
// empties. Each message is answered with a 272-byte netlink datagram whose
// body is the text "ret:%d": 0 when the rule was added (also when it was held
// already) or deleted, -2 for deleting a rule it does not hold, -22 for a
// malformed message or an unknown operation. Operations 4 and 5 act as 2 and 3.
#pragma once

#include "platform.h"

plat_knet_result knet_emulated_exchange(const void* message, size_t length, void* reply, size_t reply_size,
                                        size_t* received);
