/* SPDX-License-Identifier: MIT */
#include "moment.h"

#include <gtest/gtest.h>

#include <cstdlib>

namespace
{

/* The zone of the process, for the time of a test. */
class Moment : public testing::Test
{
protected:
    ~Moment() override
    {
        unsetenv("TZ");
        tzset();
    }

    static void be_in(const char *zone)
    {
        setenv("TZ", zone, 1);
        tzset();
    }
};

TEST_F(Moment, HasMillisecondsThatAreRoundedDown)
{
    be_in("UTC0");
    EXPECT_EQ(sim::time_of_day({0, 0}), "00:00:00.000");
    EXPECT_EQ(sim::time_of_day({59, 999999999}), "00:00:59.999");
    EXPECT_EQ(sim::time_of_day({86399, 1000000}), "23:59:59.001");
}

TEST_F(Moment, HasTheDateAndTheZone)
{
    be_in("UTC0");
    EXPECT_EQ(sim::date_and_time({0, 5000000}), "1970-01-01T00:00:00.005+00:00");
    be_in("EAST-05:45");
    EXPECT_EQ(sim::date_and_time({0, 0}), "1970-01-01T05:45:00.000+05:45");
    be_in("WEST03:30");
    EXPECT_EQ(sim::date_and_time({0, 0}), "1969-12-31T20:30:00.000-03:30");
}

} // namespace
