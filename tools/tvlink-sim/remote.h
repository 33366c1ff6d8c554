/* SPDX-License-Identifier: MIT */
/* The remote control's plain operations: sound, power, picture, typing, pairing, names. Sound,
 * picture and typing are refused in standby. */
#ifndef TVLINK_SIM_REMOTE_H
#define TVLINK_SIM_REMOTE_H

#include <cstdint>
#include <string>

#include "events.h"

namespace sim
{

struct Television;

Outcome step_volume(Television &tv, int32_t step);
Outcome set_mute(Television &tv, bool muted);
Outcome set_power(Television &tv, bool on);
Outcome set_picture_mode(Television &tv, uint32_t mode);
Outcome type_text(Television &tv, const std::string &text, const std::string &label);
Outcome pair_phone(Television &tv, const std::string &phone);
Outcome rename_television(Television &tv, const std::string &name);
Outcome set_nickname(Television &tv, const std::string &nickname);
Outcome set_place(Television &tv, const std::string &place);

const char *picture_mode_name(uint32_t mode);

} // namespace sim

#endif
