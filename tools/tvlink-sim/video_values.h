/* SPDX-License-Identifier: MIT */
/* Values that phones store in the video-on-demand application: each has a name, and is a number or
 * a text. */
#ifndef TVLINK_SIM_VIDEO_VALUES_H
#define TVLINK_SIM_VIDEO_VALUES_H

#include <cstdint>
#include <map>
#include <string>
#include <variant>

#include "events.h"

namespace sim
{

struct Television;

using VideoValue = std::variant<int64_t, std::string>;
using VideoValues = std::map<std::string, VideoValue>;

Outcome keep_video_value(Television &tv, const std::string &name, const VideoValue &value);

/* Parses a value: an optional minus sign and decimal digits are a number, anything else a text. */
VideoValue written_value(const std::string &text);

} // namespace sim

#endif
