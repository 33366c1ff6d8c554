/* SPDX-License-Identifier: MIT */
/* Dates and times of day. */
#ifndef TVLINK_SIM_CALENDAR_H
#define TVLINK_SIM_CALENDAR_H

#include <cstdint>
#include <optional>
#include <string>

namespace sim
{

/* The Unix time of "20261121201500 +0100": year, month, day, hour, minute, optional second, then an
 * optional offset from UTC, "+01:00" and the name of a zone such as CET, too. Empty for any other
 * text. */
std::optional<int64_t> guide_time(const std::string &text);

} // namespace sim

#endif
