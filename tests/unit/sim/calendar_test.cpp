/* SPDX-License-Identifier: MIT */
#include "calendar.h"

#include <gtest/gtest.h>

using namespace sim;

namespace
{

TEST(GuideTime, ReadsAStampInUtc)
{
    EXPECT_EQ(guide_time("19700101000000 +0000"), 0);
    EXPECT_EQ(guide_time("20261121201500"), 1795292100);
    EXPECT_EQ(guide_time("20261121201500 +0000"), 1795292100);
    EXPECT_EQ(guide_time("20261121201500 Z"), 1795292100);
    EXPECT_EQ(guide_time("20261121201500 UTC"), 1795292100);
    EXPECT_EQ(guide_time("202611212015"), 1795292100);
    EXPECT_EQ(guide_time("20261121201559"), 1795292159);
}

TEST(GuideTime, TakesTheOffsetAway)
{
    EXPECT_EQ(guide_time("20261121211500 +0100"), 1795292100);
    EXPECT_EQ(guide_time("20261121144500 -0530"), 1795292100);
    EXPECT_EQ(guide_time("20261122101500 +1400"), 1795292100);
    EXPECT_EQ(guide_time("202611212115 +0100"), 1795292100);
    EXPECT_EQ(guide_time("19700101000000 +0001"), -60);
}

TEST(GuideTime, KnowsTheNamesOfZones)
{
    EXPECT_EQ(guide_time("20261121211500 CET"), 1795292100);
    EXPECT_EQ(guide_time("20261121211500 bst"), 1795292100);
    EXPECT_EQ(guide_time("20261121221500 CEST"), 1795292100);
    EXPECT_EQ(guide_time("20261121201500 GMT"), 1795292100);
    EXPECT_EQ(guide_time("20261121151500 EST"), 1795292100);
    EXPECT_EQ(guide_time("20261121121500 PST"), 1795292100);
    EXPECT_EQ(guide_time("20261122064500 ACDT"), 1795292100);
    EXPECT_EQ(guide_time("20261121211500 +01:00"), 1795292100);
}

TEST(GuideTime, KnowsTheCalendar)
{
    EXPECT_EQ(guide_time("20000229000000"), 951782400);
    EXPECT_EQ(guide_time("20240229000000"), 1709164800);
    EXPECT_EQ(guide_time("20240301000000"), 1709251200);
    EXPECT_EQ(guide_time("21060207062815"), 4294967295);
    for (const char *text :
         {"20230229000000", "21000229000000", "20260431000000", "20261301000000", "20260001000000",
          "20260100000000", "20260132000000", "19691231235959"}) {
        EXPECT_FALSE(guide_time(text)) << text;
    }
}

TEST(GuideTime, RefusesEverythingElse)
{
    for (const char *text : {"",
                             "2026",
                             "20261121",
                             "2026112120",
                             "20261121240000",
                             "20261121206000",
                             "20261121201561",
                             "2026112120150",
                             "20261121201500 +",
                             "20261121201500 +01",
                             "20261121201500 0100",
                             "20261121201500 +1500",
                             "20261121201500 +0060",
                             "20261121201500 XYZ",
                             "20261121201500 +01-00",
                             "2026-11-21 20:15",
                             "20261121201500 +01000",
                             "2026112120150x",
                             "+0261121201500",
                             "tomorrow"}) {
        EXPECT_FALSE(guide_time(text)) << text;
    }
}

} // namespace
