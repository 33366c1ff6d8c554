#include "keys.h"

#include "television.h"

namespace sim
{

namespace
{

struct Key {
    uint32_t code;
    const char *name;
    Outcome (*action)(Television &tv); /* null: the key is only remembered */
};

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
    return choose_channel(tv, code - first_digit_key + 1);
}

} // namespace

Outcome press_key(Television &tv, uint32_t key, uint32_t value)
{
    const std::string request =
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

} // namespace sim
