/* SPDX-License-Identifier: MIT */
#include "moment.h"

#include <cstdio>
#include <cstdlib>

namespace sim
{

namespace
{

tm local_time(const timespec &moment)
{
    tm local = {};
    localtime_r(&moment.tv_sec, &local);
    return local;
}

/* Rounded down, so that a moment never lies in the second that follows it. */
int milliseconds_of(const timespec &moment)
{
    return static_cast<int>(moment.tv_nsec / 1000000);
}

} // namespace

timespec moment_now()
{
    timespec now = {};
    clock_gettime(CLOCK_REALTIME, &now);
    return now;
}

std::string time_of_day(const timespec &moment)
{
    const tm local = local_time(moment);
    char text[64];
    snprintf(text, sizeof text, "%02d:%02d:%02d.%03d", local.tm_hour, local.tm_min, local.tm_sec,
             milliseconds_of(moment));
    return text;
}

std::string date_and_time(const timespec &moment)
{
    const tm local = local_time(moment);
    const long minutes = labs(local.tm_gmtoff) / 60;
    char date[32];
    char zone[32];
    strftime(date, sizeof date, "%Y-%m-%dT", &local);
    snprintf(zone, sizeof zone, "%c%02ld:%02ld", local.tm_gmtoff < 0 ? '-' : '+', minutes / 60,
             minutes % 60);
    return date + time_of_day(moment) + zone;
}

} // namespace sim
