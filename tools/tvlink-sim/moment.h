/* SPDX-License-Identifier: MIT */
/* Moments of the time of day, in the local zone, as lines of output begin with them. */
#ifndef TVLINK_SIM_MOMENT_H
#define TVLINK_SIM_MOMENT_H

#include <ctime>
#include <string>

namespace sim
{

timespec moment_now();

/* "20:15:00.250" */
std::string time_of_day(const timespec &moment);

/* As RFC 3339 has it: "2026-11-22T20:15:00.250+01:00". */
std::string date_and_time(const timespec &moment);

} // namespace sim

#endif
