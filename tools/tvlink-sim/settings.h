/* The settings that phones keep in the television: a name, a value, and a kind. What is of another
 * kind than 0 is secret: it is kept, but neither printed nor told. */
#ifndef TVLINK_SIM_SETTINGS_H
#define TVLINK_SIM_SETTINGS_H

#include <cstdint>
#include <map>
#include <string>

#include "events.h"

namespace sim
{

struct Television;

struct Setting {
    std::string value;
    uint8_t kind = 0;
};

using Settings = std::map<std::string, Setting>;

/* What a new television has. */
Settings delivered_settings();

/* Keeps the value under the name; an empty value only reads. */
Outcome keep_setting(Television &tv, const std::string &name, const std::string &value,
                     uint8_t kind);

/* The settings whose name is this; all for an empty one. */
Settings settings_named(const Settings &settings, const std::string &name);

/* How many names begin with the text. */
uint32_t count_settings(const Settings &settings, const std::string &beginning);

} // namespace sim

#endif
