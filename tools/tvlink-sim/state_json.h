/* SPDX-License-Identifier: MIT */
/* The television's state as JSON. */
#ifndef TVLINK_SIM_STATE_JSON_H
#define TVLINK_SIM_STATE_JSON_H

#include <cstdint>
#include <string>

#include <nlohmann/json.hpp>

#include "applications.h"
#include "settings.h"
#include "video_values.h"

namespace sim
{

struct Television;

/* `time` is Unix time, for the guide; `now` is the player's clock. */
nlohmann::json state_json(const Television &tv, uint32_t time, uint32_t now);

nlohmann::json applications_json(const std::vector<Application> &applications);

/* An object with each value under its name; null for a secret value. */
nlohmann::json settings_json(const Settings &settings);
/* One setting, {"name":...,"value":...}; the value is null when secret or missing. */
nlohmann::json setting_json(const Settings &settings, const std::string &name);

nlohmann::json video_values_json(const VideoValues &values);

/* The present programme of this title on any channel, or for an empty title that of the current
 * channel; null when there is none. */
nlohmann::json programme_json(const Television &tv, const std::string &title, uint32_t time);
/* The first of films() with this title, or for an empty title that of the player; null when there
 * is none. */
nlohmann::json film_json(const Television &tv, const std::string &title);

} // namespace sim

#endif
