/* SPDX-License-Identifier: MIT */
/* The keys of the remote control, by the numbers of the Linux input subsystem. */
#ifndef TVLINK_SIM_KEYS_H
#define TVLINK_SIM_KEYS_H

#include <cstdint>

#include "events.h"

namespace sim
{

struct Television;

Outcome press_key(Television &tv, uint32_t key, uint32_t value);

} // namespace sim

#endif
