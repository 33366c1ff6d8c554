/* SPDX-License-Identifier: MIT */
/* Times as people write and read them, in the time zone of the system. */
#ifndef TVLINK_CTL_TIMES_H
#define TVLINK_CTL_TIMES_H

#include <cstdint>
#include <ctime>
#include <string>

#include "local_time.h"

namespace ctl
{

using tools::day_and_time;
using tools::time_of_day;

/* "1:02:03" */
std::string duration_text(uint32_t seconds);

/* A number of seconds, "MM:SS" or "H:MM:SS". Throws a usage Failure for anything else. */
uint32_t parse_duration(const std::string &text);

/* The seconds since 1970 of "now", "20:15" (today), "2026-11-21" (at midnight), "2026-11-21 20:15"
 * or "@1795000000". Throws a usage Failure for anything else. */
uint32_t parse_time(const std::string &text, time_t now);

} // namespace ctl

#endif
