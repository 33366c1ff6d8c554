/* The keys that have a name, in the order in which `tvlink-ctl key --list` prints them. */
#ifndef TVLINK_TOOLS_KEY_NAMES_H
#define TVLINK_TOOLS_KEY_NAMES_H

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace tools
{

struct KeyName {
    const char *name;
    uint32_t code;
};

/* The codes are those of the Linux input subsystem. */
inline constexpr KeyName key_names[] = {
    {"0", 11},
    {"1", 2},
    {"2", 3},
    {"3", 4},
    {"4", 5},
    {"5", 6},
    {"6", 7},
    {"7", 8},
    {"8", 9},
    {"9", 10},
    {"up", 103},
    {"down", 108},
    {"left", 105},
    {"right", 106},
    {"ok", 28},
    {"back", 158},
    {"home", 102},
    {"menu", 139},
    {"exit", 174},
    {"info", 358},
    {"guide", 362},
    {"power", 116},
    {"mute", 113},
    {"volume-up", 115},
    {"volume-down", 114},
    {"channel-up", 402},
    {"channel-down", 403},
    {"play", 207},
    {"pause", 119},
    {"stop", 128},
    {"rewind", 168},
    {"forward", 208},
    {"red", 398},
    {"green", 399},
    {"yellow", 400},
    {"blue", 401},
};

/* The code of the key with this name. */
std::optional<uint32_t> find_key(std::string_view name);

/* The name of the key with this code, or "unknown". */
std::string key_name(uint32_t code);

} // namespace tools

#endif
