/* SPDX-License-Identifier: MIT */
#include "applications.h"

#include <gtest/gtest.h>

#include "state_json.h"
#include "unit/sim/sample_television.h"

using namespace sim;

namespace
{

TEST(Applications, AreToldAsJson)
{
    Television tv = sample_television();
    EXPECT_EQ(applications_json(tv.applications).dump(),
              "[{\"name\":\"Weather\",\"package\":\"app.weather\",\"version\":\"2.1\"},"
              "{\"name\":\"Radio\",\"package\":\"app.radio\",\"version\":\"1.4.2\"},"
              "{\"name\":\"Photos\",\"package\":\"app.photos\",\"version\":\"3.0\"}]");
}

TEST(Applications, AreInstalledOnce)
{
    Television tv = sample_television();
    const Outcome outcome = install_application(tv, "Chess 2 \xC3\xA9");
    EXPECT_EQ(outcome.status, 0);
    ASSERT_EQ(codes(outcome), Codes{IPP_EVENT_APPLICATION});
    EXPECT_EQ(outcome.events[0].value, 4u);
    EXPECT_EQ(tv.applications.back().package, "app.chess2");
    EXPECT_EQ(install_application(tv, "chess 2 \xC3\xA9").words,
              "install \"chess 2 \xC3\xA9\" -> is installed");
    EXPECT_EQ(tv.applications.size(), 4u);
}

TEST(Applications, AreRefusedWithoutANameAndBeyondTheRoom)
{
    Television tv = sample_television();
    EXPECT_EQ(install_application(tv, "").status, -1);
    EXPECT_EQ(install_application(tv, std::string(65, 'a')).status, -1);
    while (tv.applications.size() < 32) {
        ASSERT_EQ(install_application(tv, std::to_string(tv.applications.size())).status, 0);
    }
    EXPECT_EQ(install_application(tv, "app").words, "install \"app\" refused: no room");
}

} // namespace
