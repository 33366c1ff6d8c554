/* SPDX-License-Identifier: MIT */
/* A time zone for the time of a test. */
#pragma once

#include <cstdlib>
#include <ctime>

class TimeZone
{
public:
    explicit TimeZone(const char *zone)
    {
        setenv("TZ", zone, 1);
        tzset();
    }
    ~TimeZone()
    {
        unsetenv("TZ");
        tzset();
    }
    TimeZone(const TimeZone &) = delete;
    TimeZone &operator=(const TimeZone &) = delete;
};
