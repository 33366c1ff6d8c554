/* SPDX-License-Identifier: MIT */
#include "keys.h"

#include "key_names.h"
#include "numbers.h"
#include "television.h"

namespace sim
{

namespace
{

struct KeyAction {
    const char *key;
    Outcome (*perform)(Television &tv);
};

/* The keys that do something; the others are only remembered. */
const KeyAction key_actions[] = {
    {"mute", [](Television &tv) { return set_mute(tv, !tv.muted); }},
    {"volume-down", [](Television &tv) { return step_volume(tv, -1); }},
    {"volume-up", [](Television &tv) { return step_volume(tv, 1); }},
    {"power", [](Television &tv) { return set_power(tv, !tv.on); }},
    {"channel-up", [](Television &tv) { return step_channel(tv, 1); }},
    {"channel-down", [](Television &tv) { return step_channel(tv, -1); }},
};

/* No words when the key is only remembered. */
Outcome key_action(Television &tv, const std::string &name)
{
    for (const KeyAction &action : key_actions) {
        if (name == action.key) {
            return action.perform(tv);
        }
    }
    const std::optional<uint32_t> digit = decimal(name, 9);
    return digit && *digit != 0 ? choose_channel(tv, *digit) : Outcome{0, "", {}};
}

} // namespace

Outcome press_key(Television &tv, uint32_t key, uint32_t value)
{
    const std::string name = key_name(key);
    const std::string request =
        "key " + name + " (" + std::to_string(key) + ", " + std::to_string(value) + ")";
    if (!tv.on && name != "power") {
        return in_standby(request);
    }
    tv.last_key = key;
    Outcome outcome = key_action(tv, name);
    outcome.words = outcome.words.empty() ? request : request + ": " + outcome.words;
    outcome.events.insert(outcome.events.begin(), {IPP_EVENT_KEY, key, name, {}});
    return outcome;
}

} // namespace sim
