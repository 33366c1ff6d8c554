/* SPDX-License-Identifier: MIT */
#include "television.h"

#include "printable.h"

namespace sim
{

Television make_television(const std::string &name, const std::vector<Channel> &channels,
                           const Guide &guide)
{
    Television tv;
    tv.name = name;
    tv.channels = channels;
    tv.guide = guide;
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
