/* SPDX-License-Identifier: MIT */
/* The settings that phones store in the television: a name, a value, and a kind. A setting of any
 * kind but 0 is secret: it is stored, but neither printed nor sent. */
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

/* The settings of a new television. */
Settings delivered_settings();

/* Stores the value under the name; an empty value changes nothing. */
Outcome keep_setting(Television &tv, const std::string &name, const std::string &value,
                     uint8_t kind);

/* The setting of this name, if any; all settings for an empty name. */
Settings settings_named(const Settings &settings, const std::string &name);

/* The number of settings whose name begins with the text. */
uint32_t count_settings(const Settings &settings, const std::string &beginning);

} // namespace sim

#endif
