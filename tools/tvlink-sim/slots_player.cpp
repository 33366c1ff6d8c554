/* SPDX-License-Identifier: MIT */
/* The media player. Its unit of time is the second. */
#include "slots.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>

#include "host.h"
#include "narrate.h"

namespace sim
{

namespace
{

uint32_t answer_seconds(const char *slot, const std::string &question, uint32_t seconds)
{
    narrate_call(slot, nlohmann::json::object(), question + "? " + std::to_string(seconds) + " s",
                 seconds);
    return seconds;
}

} // namespace

int get_play_status()
{
    const PlayState state = read_state([](const Television &tv) { return tv.player.state; });
    narrate_call("get_play_status", nlohmann::json::object(),
                 std::string("player? ") + play_state_name(state), static_cast<int>(state));
    return static_cast<int>(state);
}

uint32_t get_play_position()
{
    const uint32_t now = seconds_now();
    return answer_seconds("get_play_position", "position", read_state([=](const Television &tv) {
                              return player_position(tv.player, now);
                          }));
}

uint32_t get_play_duration()
{
    return answer_seconds("get_play_duration", "duration",
                          read_state([](const Television &tv) { return tv.player.duration; }));
}

int set_play_seek(int32_t position)
{
    return run_operation("set_play_seek", {{"position", position}},
                         [=](Television &tv) { return seek_player(tv, position, seconds_now()); });
}

int set_play_volume(uint8_t volume)
{
    return run_operation("set_play_volume", {{"volume", volume}},
                         [=](Television &tv) { return set_player_volume(tv, volume); });
}

/* The address is ours from the call on. */
int set_play_addr(char *address)
{
    const std::string kept = address;
    free(address);
    return run_operation("set_play_addr", {{"address", kept}},
                         [&](Television &tv) { return open_stream(tv, kept); });
}

int set_play_start()
{
    return run_operation("set_play_start", nlohmann::json::object(),
                         [](Television &tv) { return play(tv, seconds_now()); });
}

int set_play_pause()
{
    return run_operation("set_play_pause", nlohmann::json::object(),
                         [](Television &tv) { return pause_player(tv, seconds_now()); });
}

int set_play_stop()
{
    return run_operation("set_play_stop", nlohmann::json::object(),
                         [](Television &tv) { return stop_player(tv, seconds_now()); });
}

int set_play_operation(uint32_t code, int32_t value)
{
    char words[64];
    snprintf(words, sizeof words, "player operation 0x%04X, %d", static_cast<unsigned>(code),
             value);
    narrate_call("set_play_operation", {{"code", code}, {"value", value}}, words, 0);
    return 0;
}

/* The data are the title to show; option 1 plays at once. */
int set_play_addr2(const char *address, const void *data, uint32_t length, uint8_t option)
{
    constexpr uint32_t max_title = 255;
    const std::string title(static_cast<const char *>(data), std::min(length, max_title));
    return run_operation(
        "set_play_addr2", {{"address", address}, {"length", length}, {"option", option}},
        [=](Television &tv) {
            Outcome outcome = option == 1 && *address != '\0'
                                  ? start_player(tv, address, title, "", seconds_now())
                                  : open_stream(tv, address, title);
            outcome.words +=
                ", " + std::to_string(length) + " bytes of data, option " + std::to_string(option);
            return outcome;
        });
}

} // namespace sim
