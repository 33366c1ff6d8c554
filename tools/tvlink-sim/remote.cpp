/* SPDX-License-Identifier: MIT */
#include "remote.h"

#include <algorithm>

#include "numbers.h"
#include "printable.h"
#include "television.h"

namespace sim
{

namespace
{

constexpr int32_t max_volume = 100;

const char *const picture_modes[] = {"standard", "vivid", "cinema", "game"};

std::string on_off(bool on)
{
    return on ? "on" : "off";
}

Event mute_event(const Television &tv)
{
    return {IPP_EVENT_MUTE, tv.muted ? 1U : 0U, on_off(tv.muted), {}};
}

/* Replaces a text; reports an event when it changes. */
Outcome replace_text(std::string &kept, const std::string &text, const std::string &words,
                     int32_t code)
{
    Outcome outcome{0, words + quoted(text), {}};
    if (text != kept) {
        kept = text;
        outcome.events.push_back({code, 0, text, {}});
    }
    return outcome;
}

} // namespace

Outcome step_volume(Television &tv, int32_t step)
{
    const std::string request = "volume " + signed_number(step);
    if (!tv.on) {
        return in_standby(request);
    }
    const int64_t wanted = static_cast<int64_t>(tv.volume) + step;
    const int32_t volume = static_cast<int32_t>(std::clamp<int64_t>(wanted, 0, max_volume));
    Outcome outcome{0, request + " -> " + std::to_string(volume), {}};
    if (volume != tv.volume) {
        tv.volume = volume;
        outcome.events.push_back({IPP_EVENT_VOLUME, static_cast<uint32_t>(volume), "", {}});
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
        outcome.events.push_back({IPP_EVENT_POWER, on ? 1U : 0U, word, {}});
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
        outcome.events.push_back({IPP_EVENT_PICTURE, mode, picture_mode_name(mode), {}});
    }
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
        outcome.events.push_back({IPP_EVENT_TEXT, static_cast<uint32_t>(text.size()), text, {}});
    }
    return outcome;
}

Outcome pair_phone(Television &tv, const std::string &phone)
{
    Outcome outcome{0, "paired with " + quoted(phone), {}};
    if (phone != tv.phone) {
        tv.phone = phone;
        outcome.events.push_back({IPP_EVENT_PHONE, phone.empty() ? 0U : 1U, phone, {}});
    }
    return outcome;
}

Outcome rename_television(Television &tv, const std::string &name)
{
    return replace_text(tv.name, name, "name -> ", IPP_EVENT_NAME);
}

Outcome set_nickname(Television &tv, const std::string &nickname)
{
    return replace_text(tv.nickname, nickname, "nickname -> ", IPP_EVENT_NICKNAME);
}

Outcome set_place(Television &tv, const std::string &place)
{
    return replace_text(tv.place, place, "place -> ", IPP_EVENT_PLACE);
}

const char *picture_mode_name(uint32_t mode)
{
    return mode < std::size(picture_modes) ? picture_modes[mode] : "unknown";
}

} // namespace sim
