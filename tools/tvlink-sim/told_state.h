/* What the television tells of itself as JSON. */
#ifndef TVLINK_SIM_TOLD_STATE_H
#define TVLINK_SIM_TOLD_STATE_H

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
nlohmann::json told_state(const Television &tv, uint32_t time, uint32_t now);

nlohmann::json told_applications(const std::vector<Application> &applications);

/* Each name with its value; null for a secret one. */
nlohmann::json told_settings(const Settings &settings);
/* One setting, {"name":...,"value":...}; null for one that is not there. */
nlohmann::json told_setting(const Settings &settings, const std::string &name);

nlohmann::json told_video_values(const VideoValues &values);

/* The programme of this title that is on now, on whatever channel; for an empty title what is on
 * on the channel that is shown. The first of films() with this title; for an empty title the one
 * that the player has. Null when there is none. */
nlohmann::json told_programme(const Television &tv, const std::string &title, uint32_t time);
nlohmann::json told_film(const Television &tv, const std::string &title);

} // namespace sim

#endif
