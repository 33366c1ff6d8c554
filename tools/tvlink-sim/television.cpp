/* SPDX-License-Identifier: MIT */
#include "television.h"

#include <utility>

#include "printable.h"

namespace sim
{

Television make_television(const std::string &name, std::vector<Channel> channels, Guide guide)
{
    Television tv;
    tv.name = name;
    tv.channels = std::move(channels);
    tv.guide = std::move(guide);
    tv.applications = delivered_applications();
    tv.settings = delivered_settings();
    return tv;
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

} // namespace sim
