/* SPDX-License-Identifier: MIT */
#include "voice.h"

#include <optional>

#include "numbers.h"
#include "printable.h"
#include "television.h"
#include "utf8.h"

namespace sim
{

namespace
{

struct Phrase {
    const char *words;
    Outcome (*action)(Television &tv, uint32_t now);
};

const Phrase phrases[] = {
    {"channel up", [](Television &tv, uint32_t) { return step_channel(tv, 1); }},
    {"channel down", [](Television &tv, uint32_t) { return step_channel(tv, -1); }},
    {"volume up", [](Television &tv, uint32_t) { return step_volume(tv, 1); }},
    {"volume down", [](Television &tv, uint32_t) { return step_volume(tv, -1); }},
    {"mute", [](Television &tv, uint32_t) { return set_mute(tv, true); }},
    {"sound on", [](Television &tv, uint32_t) { return set_mute(tv, false); }},
    {"power on", [](Television &tv, uint32_t) { return set_power(tv, true); }},
    {"power off", [](Television &tv, uint32_t) { return set_power(tv, false); }},
    {"play", play},
    {"pause", pause_player},
    {"stop", stop_player},
};

/* The number in "channel 3" and "volume 30", whose first word is `word`. */
std::optional<uint32_t> number_after(const std::string &word, const std::string &spoken)
{
    if (!equal_words(spoken.substr(0, word.size()), word)) {
        return std::nullopt;
    }
    return decimal(spoken.substr(word.size()), UINT16_MAX);
}

Outcome understood(Television &tv, const std::string &spoken, uint32_t now)
{
    for (const Phrase &phrase : phrases) {
        if (equal_words(spoken, phrase.words)) {
            return phrase.action(tv, now);
        }
    }
    if (const auto number = number_after("channel ", spoken)) {
        return choose_channel(tv, *number);
    }
    if (const auto volume = number_after("volume ", spoken)) {
        return step_volume(tv, static_cast<int32_t>(*volume) - tv.volume);
    }
    return {-1, "not understood", {}};
}

} // namespace

Outcome obey_voice(Television &tv, const std::string &spoken, uint32_t now)
{
    Outcome outcome = understood(tv, spoken, now);
    outcome.words = "voice " + quoted(spoken) + ": " + outcome.words;
    return outcome;
}

} // namespace sim
