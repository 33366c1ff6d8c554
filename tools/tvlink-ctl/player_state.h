/* SPDX-License-Identifier: MIT */
/* What the states of the media player and of the film player have in common. */
#ifndef TVLINK_CTL_PLAYER_STATE_H
#define TVLINK_CTL_PLAYER_STATE_H

#include "controlpoint_calls.h"
#include "output.h"
#include "times.h"

namespace ctl
{

/* "playing", or the number for a state that has no name. */
inline std::string player_state_name(uint32_t state)
{
    switch (state) {
    case CP_PLAYER_STOPPED:
        return "stopped";
    case CP_PLAYER_PLAYING:
        return "playing";
    case CP_PLAYER_PAUSED:
        return "paused";
    default:
        return std::to_string(state);
    }
}

/* The name for people, the number, too, for programs. */
inline void add_player_state(Facts &facts, const Settings &settings, uint32_t state)
{
    facts.emplace_back("player", player_state_name(state));
    if (settings.json) {
        add_number(facts, "player_state", state);
    }
}

/* Seconds for programs, "1:02:03" for people. */
inline void add_duration(Facts &facts, const Settings &settings, const std::string &name,
                         uint32_t seconds)
{
    if (settings.json) {
        add_number(facts, name, seconds);
    } else {
        facts.emplace_back(name, duration_text(seconds));
    }
}

} // namespace ctl

#endif
