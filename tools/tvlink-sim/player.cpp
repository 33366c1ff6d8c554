/* SPDX-License-Identifier: MIT */
#include "player.h"

#include <algorithm>
#include <optional>

#include "films.h"
#include "numbers.h"
#include "printable.h"
#include "television.h"

namespace sim
{

namespace
{

constexpr uint32_t stream_duration = 5400;

Event player_event(const Player &player)
{
    return {IPP_EVENT_PLAYER, static_cast<uint32_t>(player.state), player.address, {}};
}

Outcome set_play_state(Television &tv, PlayState state, uint32_t now, const std::string &request)
{
    Player &player = tv.player;
    if (!tv.on) {
        return in_standby(request);
    }
    if (player.address.empty()) {
        return refusal(request, "no stream");
    }
    const bool changed = player.state != state;
    player.position = state == PlayState::STOPPED ? 0 : player_position(player, now);
    player.since = now;
    player.state = state;
    Outcome outcome{0,
                    request + " -> " + play_state_name(state) + " at " +
                        std::to_string(player.position) + " s",
                    {}};
    if (changed) {
        outcome.events.push_back(player_event(player));
    }
    return outcome;
}

void append_outcome(Outcome &first, const Outcome &next)
{
    first.status = next.status;
    first.words += ": " + next.words;
    first.events.insert(first.events.end(), next.events.begin(), next.events.end());
}

} // namespace

Outcome open_stream(Television &tv, const std::string &address, const std::string &title)
{
    const std::string request = "stream " + quoted(address);
    if (!tv.on) {
        return in_standby(request);
    }
    const uint32_t number = film_with_address(address);
    Player player;
    player.volume = tv.player.volume;
    player.address = address;
    player.film = number;
    player.title = title;
    player.duration = address.empty() ? 0 : stream_duration;
    if (number != 0) {
        const Film &film = films()[number - 1];
        player.title = title.empty() ? film.title : title;
        player.duration = film.seconds;
    }
    tv.player = player;
    return {0, request, {player_event(tv.player)}};
}

Outcome play(Television &tv, uint32_t now)
{
    return set_play_state(tv, PlayState::PLAYING, now, "play");
}

Outcome pause_player(Television &tv, uint32_t now)
{
    return set_play_state(tv, PlayState::PAUSED, now, "pause");
}

Outcome stop_player(Television &tv, uint32_t now)
{
    return set_play_state(tv, PlayState::STOPPED, now, "stop");
}

Outcome seek_player(Television &tv, int32_t position, uint32_t now)
{
    const std::string request = "seek " + std::to_string(position) + " s";
    Player &player = tv.player;
    if (!tv.on) {
        return in_standby(request);
    }
    if (position < 0 || static_cast<uint32_t>(position) > player.duration) {
        return refusal(request, "outside the stream");
    }
    const uint32_t before = player_position(player, now);
    player.position = static_cast<uint32_t>(position);
    player.since = now;
    Outcome outcome{0, request, {}};
    if (player.position != before) {
        outcome.events.push_back({IPP_EVENT_POSITION, player.position, player.address, {}});
    }
    return outcome;
}

Outcome set_player_volume(Television &tv, uint8_t volume)
{
    const std::string request = "player volume " + std::to_string(volume);
    if (!tv.on) {
        return in_standby(request);
    }
    Outcome outcome{0, request, {}};
    if (volume != tv.player.volume) {
        tv.player.volume = volume;
        outcome.events.push_back({IPP_EVENT_PLAYER_VOLUME, volume, "", {}});
    }
    return outcome;
}

Outcome start_player(Television &tv, const std::string &what, const std::string &title,
                     const std::string &from, uint32_t now)
{
    const std::string request = "start " + quoted(what);
    const std::optional<uint32_t> position = from.empty() ? 0 : decimal(from, INT32_MAX);
    if (what.empty()) {
        return refusal(request, "no stream");
    }
    if (!position) {
        return refusal(request, "no position: " + quoted(from));
    }
    const uint32_t number = film_with_title(what);
    const std::string address = number != 0 ? films()[number - 1].address : what;
    const uint32_t film = film_with_address(address);
    const uint32_t duration = film != 0 ? films()[film - 1].seconds : stream_duration;
    if (*position > duration) {
        return refusal(request, "position " + from + " s is outside the stream");
    }
    Outcome outcome = open_stream(tv, address, title);
    if (outcome.status != 0) {
        return outcome;
    }
    tv.player.position = *position;
    append_outcome(outcome, play(tv, now));
    return outcome;
}

std::vector<Event> end_stream(Television &tv, uint32_t now)
{
    Player &player = tv.player;
    if (player.state != PlayState::PLAYING || player_position(player, now) < player.duration) {
        return {};
    }
    player.state = PlayState::STOPPED;
    player.position = 0;
    return {player_event(player)};
}

uint32_t player_position(const Player &player, uint32_t now)
{
    const uint32_t passed = player.state == PlayState::PLAYING ? now - player.since : 0;
    const uint32_t left = player.duration - player.position;
    return player.position + std::min(passed, left);
}

const char *play_state_name(PlayState state)
{
    switch (state) {
    case PlayState::PLAYING:
        return "playing";
    case PlayState::PAUSED:
        return "paused";
    case PlayState::STOPPED:
        break;
    }
    return "stopped";
}

} // namespace sim
