#include "television.h"

#include <algorithm>
#include <cstdio>

#include "printable.h"

namespace sim
{

namespace
{

constexpr int32_t loudest = 100;
constexpr size_t most_channels = 16;
constexpr size_t most_applications = 32;
constexpr uint32_t stream_duration = 5400;

const char *const picture_modes[] = {"standard", "vivid", "cinema", "game"};

std::string signed_number(int64_t number)
{
    return (number < 0 ? "" : "+") + std::to_string(number);
}

std::string on_off(bool on)
{
    return on ? "on" : "off";
}

const Channel &current_channel(const Television &tv)
{
    return tv.channels[tv.current];
}

std::string channel_words(const Channel &channel)
{
    return std::to_string(channel.number) + " (" + channel.name + ")";
}

Outcome refusal(const std::string &request, const std::string &reason)
{
    return {-1, request + " refused: " + reason, {}};
}

Outcome in_standby(const std::string &request)
{
    return refusal(request, "in standby");
}

Event channel_event(const Television &tv)
{
    const Channel &channel = current_channel(tv);
    return {EVENT_CHANNEL, channel.number, channel.name, {}};
}

Event mute_event(const Television &tv)
{
    return {EVENT_MUTE, tv.muted ? 1U : 0U, on_off(tv.muted), {}};
}

Event order_event(const Television &tv)
{
    return {EVENT_ORDER, static_cast<uint32_t>(tv.channels.size()), "", channel_order(tv)};
}

Event player_event(const Player &player)
{
    return {EVENT_PLAYER, static_cast<uint32_t>(player.state), player.address, {}};
}

Outcome show_channel(Television &tv, size_t index, const std::string &request)
{
    Outcome outcome{0, request + " -> " + channel_words(tv.channels[index]), {}};
    if (index != tv.current) {
        tv.current = index;
        outcome.events.push_back(channel_event(tv));
    }
    return outcome;
}

size_t find_channel(const Television &tv, uint32_t number)
{
    const auto found =
        std::find_if(tv.channels.begin(), tv.channels.end(),
                     [=](const Channel &channel) { return channel.number == number; });
    return static_cast<size_t>(found - tv.channels.begin());
}

struct Key {
    uint32_t code;
    const char *name;
    Outcome (*action)(Television &tv); /* null: the key is only remembered */
};

/* The numbers of the Linux input subsystem. */
const Key keys[] = {
    {11, "0", nullptr},
    {28, "ok", nullptr},
    {102, "home", nullptr},
    {103, "up", nullptr},
    {105, "left", nullptr},
    {106, "right", nullptr},
    {108, "down", nullptr},
    {113, "mute", [](Television &tv) { return set_mute(tv, !tv.muted); }},
    {114, "volume-down", [](Television &tv) { return step_volume(tv, -1); }},
    {115, "volume-up", [](Television &tv) { return step_volume(tv, 1); }},
    {116, "power", [](Television &tv) { return set_power(tv, !tv.on); }},
    {119, "pause", nullptr},
    {128, "stop", nullptr},
    {139, "menu", nullptr},
    {158, "back", nullptr},
    {168, "rewind", nullptr},
    {174, "exit", nullptr},
    {207, "play", nullptr},
    {208, "forward", nullptr},
    {358, "info", nullptr},
    {362, "guide", nullptr},
    {398, "red", nullptr},
    {399, "green", nullptr},
    {400, "yellow", nullptr},
    {401, "blue", nullptr},
    {402, "channel-up", [](Television &tv) { return step_channel(tv, 1); }},
    {403, "channel-down", [](Television &tv) { return step_channel(tv, -1); }},
};

constexpr uint32_t power_key = 116;
constexpr uint32_t first_digit_key = 2; /* 1 to 9 are 2 to 10 */
constexpr uint32_t last_digit_key = 10;

std::string key_name(uint32_t code)
{
    for (const Key &key : keys) {
        if (key.code == code) {
            return key.name;
        }
    }
    if (code >= first_digit_key && code <= last_digit_key) {
        return std::to_string(code - first_digit_key + 1);
    }
    return "unknown";
}

/* What the key does to the television; no words when it is only remembered. */
Outcome key_action(Television &tv, uint32_t code)
{
    for (const Key &key : keys) {
        if (key.code == code && key.action != nullptr) {
            return key.action(tv);
        }
    }
    if (code < first_digit_key || code > last_digit_key) {
        return {0, "", {}};
    }
    const uint32_t number = code - first_digit_key + 1;
    const size_t index = find_channel(tv, number);
    const std::string request = "channel " + std::to_string(number);
    return index < tv.channels.size() ? show_channel(tv, index, request)
                                      : refusal(request, "no such channel");
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
    player.position = state == PlayState::Stopped ? 0 : player_position(player, now);
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

/* One row of the screen: eight bars, which begin with another colour on each channel; black in
 * standby. */
std::vector<uint8_t> colour_bars(const Television &tv, int columns)
{
    constexpr int bars = 8;
    std::vector<uint8_t> row;
    for (int x = 0; x < columns; x++) {
        const int bar = (x * bars / columns + static_cast<int>(tv.current)) % bars;
        for (int colour = 4; colour > 0; colour /= 2) {
            row.push_back(tv.on && (bar & colour) != 0 ? 255 : 0);
        }
    }
    return row;
}

} // namespace

const std::vector<EventKind> &event_kinds()
{
    static const std::vector<EventKind> kinds = {
        {EVENT_CHANNEL, "channel", "value: channel number; text: its name"},
        {EVENT_VOLUME, "volume", "value: 0 to 100"},
        {EVENT_MUTE, "mute", "value: 0 or 1"},
        {EVENT_POWER, "power", "value: 0 standby, 1 on"},
        {EVENT_PICTURE, "picture", "value: picture mode; text: its name"},
        {EVENT_TEXT, "text", "value: length; text: the text typed"},
        {EVENT_ORDER, "order", "value: channels; data: their numbers, 2 bytes each"},
        {EVENT_PHONE, "phone", "value: 1 paired; text: the phone"},
        {EVENT_NAME, "name", "text: the television's new name"},
        {EVENT_KEY, "key", "value: key code; text: the key's name"},
        {EVENT_PLAYER, "player", "value: 0 stopped, 1 playing, 2 paused; text: address"},
        {EVENT_DEMO, "demo", "value: a running number (--event-every)"},
    };
    return kinds;
}

const char *event_name(EventCode code)
{
    for (const EventKind &kind : event_kinds()) {
        if (kind.code == code) {
            return kind.name;
        }
    }
    return "unknown";
}

Television make_television(const std::string &name)
{
    Television tv;
    tv.name = name;
    tv.channels = {{1, "News"},   {2, "Sport"}, {3, "Films"},  {4, "Music"},
                   {5, "Nature"}, {6, "Kids"},  {7, "Travel"}, {8, "Cooking"}};
    tv.applications = {"Weather", "Radio", "Photos"};
    return tv;
}

Outcome step_channel(Television &tv, int32_t step)
{
    const std::string request = "channel " + signed_number(step);
    if (!tv.on) {
        return in_standby(request);
    }
    const int64_t count = static_cast<int64_t>(tv.channels.size());
    const int64_t index = (static_cast<int64_t>(tv.current) + step % count + count) % count;
    return show_channel(tv, static_cast<size_t>(index), request);
}

Outcome step_volume(Television &tv, int32_t step)
{
    const std::string request = "volume " + signed_number(step);
    if (!tv.on) {
        return in_standby(request);
    }
    const int64_t wanted = static_cast<int64_t>(tv.volume) + step;
    const int32_t volume = static_cast<int32_t>(std::clamp<int64_t>(wanted, 0, loudest));
    Outcome outcome{0, request + " -> " + std::to_string(volume), {}};
    if (volume != tv.volume) {
        tv.volume = volume;
        outcome.events.push_back({EVENT_VOLUME, static_cast<uint32_t>(volume), "", {}});
    }
    if (step > 0 && tv.muted) {
        tv.muted = false;
        outcome.events.push_back(mute_event(tv));
    }
    return outcome;
}

Outcome set_mute(Television &tv, bool muted)
{
    const std::string request = "mute " + on_off(muted);
    if (!tv.on) {
        return in_standby(request);
    }
    Outcome outcome{0, request, {}};
    if (muted != tv.muted) {
        tv.muted = muted;
        outcome.events.push_back(mute_event(tv));
    }
    return outcome;
}

Outcome set_power(Television &tv, bool on)
{
    const std::string word = on ? "on" : "standby";
    Outcome outcome{0, "power -> " + word, {}};
    if (on != tv.on) {
        tv.on = on;
        outcome.events.push_back({EVENT_POWER, on ? 1U : 0U, word, {}});
    }
    return outcome;
}

Outcome set_picture_mode(Television &tv, uint32_t mode)
{
    const std::string request = "picture mode " + std::to_string(mode);
    if (!tv.on) {
        return in_standby(request);
    }
    if (mode >= std::size(picture_modes)) {
        return refusal(request, "no such mode");
    }
    Outcome outcome{0, request + " -> " + picture_mode_name(mode), {}};
    if (mode != tv.picture_mode) {
        tv.picture_mode = mode;
        outcome.events.push_back({EVENT_PICTURE, mode, picture_mode_name(mode), {}});
    }
    return outcome;
}

Outcome press_key(Television &tv, uint32_t key, uint32_t value)
{
    std::string request =
        "key " + key_name(key) + " (" + std::to_string(key) + ", " + std::to_string(value) + ")";
    if (!tv.on && key != power_key) {
        return in_standby(request);
    }
    tv.last_key = key;
    Outcome outcome = key_action(tv, key);
    outcome.words = outcome.words.empty() ? request : request + ": " + outcome.words;
    outcome.events.insert(outcome.events.begin(), {EVENT_KEY, key, key_name(key), {}});
    return outcome;
}

Outcome type_text(Television &tv, const std::string &text, const std::string &label)
{
    const std::string request = "text " + quoted(text) + " with " + quoted(label);
    if (!tv.on) {
        return in_standby(request);
    }
    Outcome outcome{0, request, {}};
    if (text != tv.text || label != tv.text_label) {
        tv.text = text;
        tv.text_label = label;
        outcome.events.push_back({EVENT_TEXT, static_cast<uint32_t>(text.size()), text, {}});
    }
    return outcome;
}

Outcome reorder_channels(Television &tv, uint16_t first, uint16_t second, int kind)
{
    const std::string request =
        "order of " + std::to_string(first) + " and " + std::to_string(second);
    const size_t from = find_channel(tv, first);
    const size_t to = find_channel(tv, second);
    if (from == tv.channels.size() || to == tv.channels.size() || (kind != 1 && kind != 2)) {
        return refusal(request, "no such channel or kind");
    }
    const uint16_t shown = current_channel(tv).number;
    if (kind == 1) {
        std::swap(tv.channels[from], tv.channels[to]);
    } else {
        const Channel moved = tv.channels[from];
        tv.channels.erase(tv.channels.begin() + static_cast<std::ptrdiff_t>(from));
        tv.channels.insert(tv.channels.begin() + static_cast<std::ptrdiff_t>(to), moved);
    }
    tv.current = find_channel(tv, shown);
    Outcome outcome{0, request + (kind == 1 ? " swapped" : " changed"), {}};
    if (from != to) {
        outcome.events.push_back(order_event(tv));
    }
    return outcome;
}

Outcome search_channels(Television &tv)
{
    if (!tv.on) {
        return in_standby("channel search");
    }
    if (tv.channels.size() == most_channels) {
        return {0, "channel search -> nothing new", {}};
    }
    uint16_t number = 1;
    while (find_channel(tv, number) < tv.channels.size()) {
        number++;
    }
    tv.channels.push_back({number, "Local " + std::to_string(number)});
    return {0, "channel search -> " + channel_words(tv.channels.back()), {order_event(tv)}};
}

Outcome pair_phone(Television &tv, const std::string &phone)
{
    Outcome outcome{0, "paired with " + quoted(phone), {}};
    if (phone != tv.phone) {
        tv.phone = phone;
        outcome.events.push_back({EVENT_PHONE, phone.empty() ? 0U : 1U, phone, {}});
    }
    return outcome;
}

Outcome rename_television(Television &tv, const std::string &name)
{
    Outcome outcome{0, "name -> " + quoted(name), {}};
    if (name != tv.name) {
        tv.name = name;
        outcome.events.push_back({EVENT_NAME, 0, name, {}});
    }
    return outcome;
}

Outcome open_stream(Television &tv, const std::string &address)
{
    const std::string request = "stream " + quoted(address);
    if (!tv.on) {
        return in_standby(request);
    }
    const uint8_t volume = tv.player.volume;
    tv.player = Player();
    tv.player.volume = volume;
    tv.player.address = address;
    tv.player.duration = address.empty() ? 0 : stream_duration;
    return {0, request, {player_event(tv.player)}};
}

Outcome play(Television &tv, uint32_t now)
{
    return set_play_state(tv, PlayState::Playing, now, "play");
}

Outcome pause_player(Television &tv, uint32_t now)
{
    return set_play_state(tv, PlayState::Paused, now, "pause");
}

Outcome stop_player(Television &tv, uint32_t now)
{
    return set_play_state(tv, PlayState::Stopped, now, "stop");
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
    player.position = static_cast<uint32_t>(position);
    player.since = now;
    return {0, request, {}};
}

Outcome set_player_volume(Television &tv, uint8_t volume)
{
    const std::string request = "player volume " + std::to_string(volume);
    if (!tv.on) {
        return in_standby(request);
    }
    tv.player.volume = volume;
    return {0, request, {}};
}

uint32_t player_position(const Player &player, uint32_t now)
{
    const uint32_t passed = player.state == PlayState::Playing ? now - player.since : 0;
    const uint32_t left = player.duration - player.position;
    return player.position + std::min(passed, left);
}

Outcome install_application(Television &tv, const std::string &application)
{
    const std::string request = "install " + quoted(application);
    if (tv.applications.size() == most_applications) {
        return refusal(request, "no room");
    }
    tv.applications.push_back(application);
    return {0, request, {}};
}

const char *picture_mode_name(uint32_t mode)
{
    return mode < std::size(picture_modes) ? picture_modes[mode] : "unknown";
}

const char *play_state_name(PlayState state)
{
    switch (state) {
    case PlayState::Playing:
        return "playing";
    case PlayState::Paused:
        return "paused";
    case PlayState::Stopped:
        break;
    }
    return "stopped";
}

std::vector<uint8_t> channel_order(const Television &tv)
{
    std::vector<uint8_t> order;
    for (const Channel &channel : tv.channels) {
        order.push_back(static_cast<uint8_t>(channel.number & 0xFF));
        order.push_back(static_cast<uint8_t>(channel.number >> 8));
    }
    return order;
}

std::string summary(const Television &tv)
{
    std::string words = tv.on ? "on" : "standby";
    words += ", channel " + channel_words(current_channel(tv));
    words += ", volume " + std::to_string(tv.volume) + (tv.muted ? " (muted)" : "");
    words += std::string(", picture ") + picture_mode_name(tv.picture_mode);
    words += ", text " + quoted(tv.text);
    words += tv.phone.empty() ? ", no phone paired" : ", paired with " + quoted(tv.phone);
    words += std::string(", player ") + play_state_name(tv.player.state);
    return words;
}

std::vector<uint8_t> draw_screen(const Television &tv, int width, int height)
{
    const int columns = std::clamp(width, 16, 640);
    const int rows = std::clamp(height, 16, 640);
    const std::string header =
        "P6\n" + std::to_string(columns) + " " + std::to_string(rows) + "\n255\n";
    std::vector<uint8_t> image(header.begin(), header.end());
    const std::vector<uint8_t> row = colour_bars(tv, columns);
    for (int y = 0; y < rows; y++) {
        image.insert(image.end(), row.begin(), row.end());
    }
    return image;
}

} // namespace sim
