/* SPDX-License-Identifier: MIT */
/* Voice commands as plain text: "channel 3", "channel up", "volume down", "mute", "sound on",
 * "power off", "play", ... Case does not matter. */
#ifndef TVLINK_SIM_VOICE_H
#define TVLINK_SIM_VOICE_H

#include <cstdint>
#include <string>

#include "events.h"

namespace sim
{

struct Television;

Outcome obey_voice(Television &tv, const std::string &spoken, uint32_t now);

} // namespace sim

#endif
