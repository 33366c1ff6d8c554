/* SPDX-License-Identifier: MIT */
/* The keys that have a name, in the order in which `tvlink-ctl key --list` prints them. */
#ifndef TVLINK_TOOLS_KEY_NAMES_H
#define TVLINK_TOOLS_KEY_NAMES_H

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "tvlink/conventions.h"

namespace tools
{

struct KeyName {
    const char *name;
    uint32_t code;
};

inline constexpr KeyName key_names[] = {
    {"0", IPP_KEY_0},
    {"1", IPP_KEY_1},
    {"2", IPP_KEY_2},
    {"3", IPP_KEY_3},
    {"4", IPP_KEY_4},
    {"5", IPP_KEY_5},
    {"6", IPP_KEY_6},
    {"7", IPP_KEY_7},
    {"8", IPP_KEY_8},
    {"9", IPP_KEY_9},
    {"up", IPP_KEY_UP},
    {"down", IPP_KEY_DOWN},
    {"left", IPP_KEY_LEFT},
    {"right", IPP_KEY_RIGHT},
    {"ok", IPP_KEY_OK},
    {"back", IPP_KEY_BACK},
    {"home", IPP_KEY_HOME},
    {"menu", IPP_KEY_MENU},
    {"exit", IPP_KEY_EXIT},
    {"info", IPP_KEY_INFO},
    {"guide", IPP_KEY_GUIDE},
    {"power", IPP_KEY_POWER},
    {"mute", IPP_KEY_MUTE},
    {"volume-up", IPP_KEY_VOLUME_UP},
    {"volume-down", IPP_KEY_VOLUME_DOWN},
    {"channel-up", IPP_KEY_CHANNEL_UP},
    {"channel-down", IPP_KEY_CHANNEL_DOWN},
    {"play", IPP_KEY_PLAY},
    {"pause", IPP_KEY_PAUSE},
    {"stop", IPP_KEY_STOP},
    {"rewind", IPP_KEY_REWIND},
    {"forward", IPP_KEY_FORWARD},
    {"red", IPP_KEY_RED},
    {"green", IPP_KEY_GREEN},
    {"yellow", IPP_KEY_YELLOW},
    {"blue", IPP_KEY_BLUE},
};

/* The code of the key with this name. */
std::optional<uint32_t> find_key(std::string_view name);

/* The name of the key with this code, or "unknown". */
std::string key_name(uint32_t code);

} // namespace tools

#endif
