/* SPDX-License-Identifier: MIT */
/* The media player: its stream, state and position. Times are in seconds; `now` is any monotonic
 * clock. */
#ifndef TVLINK_SIM_PLAYER_H
#define TVLINK_SIM_PLAYER_H

#include <cstdint>
#include <string>
#include <vector>

#include "events.h"

namespace sim
{

struct Television;

enum class PlayState : uint8_t {
    STOPPED = IPP_PLAYER_STOPPED,
    PLAYING = IPP_PLAYER_PLAYING,
    PAUSED = IPP_PLAYER_PAUSED
};

struct Player {
    PlayState state = PlayState::STOPPED;
    std::string address;
    std::string title;     /* shown while the stream plays */
    uint32_t film = 0;     /* number of the film, from 1; 0 for any other stream */
    uint32_t duration = 0; /* seconds */
    uint32_t position = 0; /* seconds, at the time `since` */
    uint32_t since = 0;
    uint8_t volume = 128;
};

/* The address of a film sets title, unless one is given, and duration; any other stream has a fixed
 * duration. */
Outcome open_stream(Television &tv, const std::string &address, const std::string &title = "");
Outcome play(Television &tv, uint32_t now);
Outcome pause_player(Television &tv, uint32_t now);
Outcome stop_player(Television &tv, uint32_t now);
Outcome seek_player(Television &tv, int32_t position, uint32_t now);
Outcome set_player_volume(Television &tv, uint8_t volume);

/* Opens, seeks and plays in one operation. `what` is the title of a film or an address; `from` a
 * position in decimal digits, or empty for the beginning. */
Outcome start_player(Television &tv, const std::string &what, const std::string &title,
                     const std::string &from, uint32_t now);

/* Stops a stream that has reached its end, and returns the event for it. */
std::vector<Event> end_stream(Television &tv, uint32_t now);

uint32_t player_position(const Player &player, uint32_t now);
const char *play_state_name(PlayState state);

} // namespace sim

#endif
