/* The media player: a stream, whether it plays, and where it is. Its unit of time is the second;
 * `now` is any clock in seconds that does not go back. */
#ifndef TVLINK_SIM_PLAYER_H
#define TVLINK_SIM_PLAYER_H

#include <cstdint>
#include <string>
#include <vector>

#include "events.h"

namespace sim
{

struct Television;

enum class PlayState : uint8_t { STOPPED = 0, PLAYING = 1, PAUSED = 2 };

struct Player {
    PlayState state = PlayState::STOPPED;
    std::string address;
    std::string title;     /* what is shown while it plays */
    uint32_t film = 0;     /* number of the film, from 1; 0 for a stream of another kind */
    uint32_t duration = 0; /* seconds */
    uint32_t position = 0; /* seconds, at the time `since` */
    uint32_t since = 0;
    uint8_t volume = 128;
};

/* A film's address brings its title and duration; another stream is as long as most. */
Outcome open_stream(Television &tv, const std::string &address, const std::string &title = "");
Outcome play(Television &tv, uint32_t now);
Outcome pause_player(Television &tv, uint32_t now);
Outcome stop_player(Television &tv, uint32_t now);
Outcome seek_player(Television &tv, int32_t position, uint32_t now);
Outcome set_player_volume(Television &tv, uint8_t volume);

/* Opens, seeks and plays in one go. `what` is the title of a film or an address; `from` a position
 * in decimal digits, or empty for the beginning. */
Outcome start_player(Television &tv, const std::string &what, const std::string &title,
                     const std::string &from, uint32_t now);

/* Stops a stream that has come to its end; says so by an event. */
std::vector<Event> end_stream(Television &tv, uint32_t now);

uint32_t player_position(const Player &player, uint32_t now);
const char *play_state_name(PlayState state);

} // namespace sim

#endif
