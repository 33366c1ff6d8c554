/* What the television tells of itself as JSON. */
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

/* Each name with its value; null for a secret one. */
nlohmann::json settings_json(const Settings &settings);
/* One setting, {"name":...,"value":...}; null for one that is not there. */
nlohmann::json setting_json(const Settings &settings, const std::string &name);

nlohmann::json video_values_json(const VideoValues &values);

/* The programme of this title that is on now, on whatever channel; for an empty title what is on
 * on the channel that is shown. The first of films() with this title; for an empty title the one
 * that the player has. Null when there is none. */
nlohmann::json programme_json(const Television &tv, const std::string &title, uint32_t time);
nlohmann::json film_json(const Television &tv, const std::string &title);

} // namespace sim

#endif
