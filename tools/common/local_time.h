/* SPDX-License-Identifier: MIT */
/* Times in the zone of the system, or in that of the environment variable TZ. */
#ifndef TVLINK_TOOLS_LOCAL_TIME_H
#define TVLINK_TOOLS_LOCAL_TIME_H

#include <cstdint>
#include <string>

namespace tools
{

/* "2026-11-21 20:15", from seconds since 1970; "@" and the number when that is no date here. */
std::string day_and_time(uint64_t seconds);

/* "20:15", or the same "@" and number */
std::string time_of_day(uint64_t seconds);

} // namespace tools

#endif
