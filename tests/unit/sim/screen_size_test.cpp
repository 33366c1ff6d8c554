/* SPDX-License-Identifier: MIT */
#include "screen_size.h"

#include <gtest/gtest.h>

using namespace sim;

namespace
{

TEST(ScreenSize, IsReadWithinItsBounds)
{
    for (const char *text : {"160x90", "1280x720", "1920x1080", "3840x2160", "160x2160"}) {
        const std::optional<ScreenSize> size = read_screen_size(text);
        ASSERT_TRUE(size) << text;
        EXPECT_EQ(std::to_string(size->width) + "x" + std::to_string(size->height), text);
    }
    for (const char *text :
         {"", "x", "1280", "1280x", "x720", "159x90", "160x89", "3841x2160", "3840x2161", "-1x720",
          "1280x720x", "1280X720", "1280 x 720", "+1280x720", "0x0", "99999999999x720"}) {
        EXPECT_FALSE(read_screen_size(text)) << text;
    }
}

TEST(ScreenSize, OfACaptureIsTheOneAskedForWithinBounds)
{
    const struct {
        ScreenSize screen;
        int asked_width;
        int asked_height;
        int width;
        int height;
    } rows[] = {
        {{1280, 720}, 0, 0, 1280, 720},          {{1280, 720}, 640, 360, 640, 360},
        {{1280, 720}, 159, 89, 160, 90},         {{1280, 720}, 1, 1, 160, 90},
        {{1280, 720}, -32768, 65535, 160, 1080}, {{1280, 720}, 1921, 1081, 1920, 1080},
        {{1280, 720}, 32767, 0, 1920, 720},      {{1280, 720}, 0, 90, 1280, 90},
        {{3840, 2160}, 0, 0, 3840, 2160},        {{3840, 2160}, 32767, 65535, 3840, 2160},
        {{3840, 2160}, 640, 360, 640, 360},      {{160, 90}, 0, 0, 160, 90},
        {{160, 90}, 1921, 1081, 1920, 1080},
    };
    for (const auto &row : rows) {
        const ScreenSize size = capture_size(row.screen, row.asked_width, row.asked_height);
        EXPECT_EQ(size.width, row.width);
        EXPECT_EQ(size.height, row.height);
    }
}

} // namespace
