/* SPDX-License-Identifier: MIT */
/* The state of a simulated television. Its operations are in one file for each subject: channels,
 * keys, remote, player, settings, applications, video_values, voice.
 *
 * No operation reads a clock, takes a lock or calls the library: times are arguments, and callers
 * that share a Television among threads lock it. */
#ifndef TVLINK_SIM_TELEVISION_H
#define TVLINK_SIM_TELEVISION_H

#include <cstdint>
#include <string>
#include <vector>

#include "applications.h"
#include "channels.h"
#include "events.h"
#include "guide.h"
#include "player.h"
#include "remote.h"
#include "settings.h"
#include "video_values.h"

namespace sim
{

struct Television {
    std::string name;
    bool on = true;
    int32_t volume = 20; /* 0 to 100 */
    bool muted = false;
    uint32_t picture_mode = 0;
    std::vector<Channel> channels; /* in the order of the channel keys */
    size_t current = 0;            /* index of the current channel */
    Guide guide;
    std::string text;       /* typed by a phone */
    std::string text_label; /* the second text of the same request */
    std::string phone;      /* the paired phone; empty for none */
    uint32_t last_key = 0;
    Player player;
    VideoValues video_values;
    std::vector<Application> applications;
    Settings settings;
    std::string nickname;
    std::string place;
};

/* `channels` must not be empty. */
Television make_television(const std::string &name, std::vector<Channel> channels, Guide guide);

/* The state in one line. */
std::string summary(const Television &tv);

} // namespace sim

#endif
