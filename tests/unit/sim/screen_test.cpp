/* SPDX-License-Identifier: MIT */
/* The picture of the screen, read back by another hand than the one that wrote it. */
#include "screen.h"
#include "support/project_text.h"

#include <gtest/gtest.h>

#include <algorithm>

#include <stb/stb_image.h>

#include "unit/sim/sample_television.h"

using namespace sim;

namespace
{

constexpr uint32_t quarter_past_eight = 1795292100;

Guide evening_guide()
{
    Guide guide;
    guide.schedules["news"] = {{quarter_past_eight - 600, 1200, "Journal", "", ""},
                               {quarter_past_eight + 600, 60, "Later", "", ""}};
    return guide;
}

const Font &font()
{
    static const std::shared_ptr<const Font> &loaded =
        *new std::shared_ptr<const Font>(load_font(TVLINK_SIM_FONT));
    return *loaded;
}

Canvas drawn(const Television &tv, const ScreenSize &size = {320, 180}, uint32_t now = 0)
{
    return draw_screen(screen_of(tv, quarter_past_eight, now), font(), size);
}

struct Picture {
    int width = 0;
    int height = 0;
    std::vector<uint8_t> pixels;
};

Picture read_png(const std::vector<uint8_t> &png)
{
    Picture picture;
    int channels = 0;
    stbi_uc *pixels = stbi_load_from_memory(png.data(), static_cast<int>(png.size()),
                                            &picture.width, &picture.height, &channels, 3);
    EXPECT_NE(pixels, nullptr) << stbi_failure_reason();
    EXPECT_EQ(channels, 3);
    if (pixels != nullptr) {
        const int size = picture.width * picture.height * 3;
        picture.pixels.assign(pixels, pixels + size);
        stbi_image_free(pixels);
    }
    return picture;
}

TEST(ScreenPicture, IsAPngOfItsPixels)
{
    const Canvas canvas = drawn(sample_television(evening_guide()));
    const std::vector<uint8_t> png = png_of(canvas);
    ASSERT_GT(png.size(), 8u);
    EXPECT_EQ(std::string(png.begin(), png.begin() + 8), "\x89PNG\r\n\x1a\n");
    const Picture picture = read_png(png);
    EXPECT_EQ(picture.width, 320);
    EXPECT_EQ(picture.height, 180);
    EXPECT_TRUE(picture.pixels == canvas.pixels);
}

TEST(ScreenPicture, HasTheSizeAskedForWithinBounds)
{
    const struct {
        int asked_width;
        int asked_height;
        int width;
        int height;
    } rows[] = {
        {0, 0, 1280, 720},     {640, 360, 640, 360},       {159, 89, 160, 90},
        {1, 1, 160, 90},       {-32768, 65535, 160, 1080}, {1921, 1081, 1920, 1080},
        {32767, 0, 1920, 720}, {0, 90, 1280, 90},
    };
    for (const auto &row : rows) {
        const ScreenSize size = screen_size(row.asked_width, row.asked_height);
        EXPECT_EQ(size.width, row.width);
        EXPECT_EQ(size.height, row.height);
    }
}

TEST(ScreenPicture, CanBeDrawnInEverySizeOfTheBounds)
{
    Television tv = sample_television(evening_guide());
    tv.text = std::string(2000, 'W');
    for (const ScreenSize &size : {ScreenSize{160, 90}, ScreenSize{160, 1080}, ScreenSize{1920, 90},
                                   ScreenSize{1920, 1080}, ScreenSize{161, 91}}) {
        const Canvas canvas = drawn(tv, size);
        EXPECT_EQ(canvas.pixels.size(),
                  static_cast<size_t>(size.width) * static_cast<size_t>(size.height) * 3);
    }
}

TEST(ScreenPicture, IsBlackInStandby)
{
    Television tv = sample_television(evening_guide());
    const Canvas on = drawn(tv);
    EXPECT_GT(*std::max_element(on.pixels.begin(), on.pixels.end()), 0);
    set_power(tv, false);
    const Canvas canvas = drawn(tv);
    EXPECT_EQ(std::count(canvas.pixels.begin(), canvas.pixels.end(), 0), 320 * 180 * 3);
}

/* Each change of the state is to be seen, and its reversal brings the old picture back. */
TEST(ScreenPicture, ShowsEveryPartOfTheState)
{
    const Television before = sample_television(evening_guide());
    const std::vector<uint8_t> old = drawn(before).pixels;
    const struct {
        const char *what;
        void (*change)(Television &tv);
    } changes[] = {
        {"name", [](Television &tv) { tv.name = "Kitchen"; }},
        {"channel", [](Television &tv) { step_channel(tv, 1); }},
        {"channel's name", [](Television &tv) { tv.channels[0].name = "Olds"; }},
        {"volume", [](Television &tv) { step_volume(tv, 10); }},
        {"mute", [](Television &tv) { set_mute(tv, true); }},
        {"picture mode", [](Television &tv) { set_picture_mode(tv, 2); }},
        {"text", [](Television &tv) { type_text(tv, "Hello", ""); }},
        {"phone", [](Television &tv) { pair_phone(tv, "Ann's"); }},
        {"programme", [](Television &tv) { tv.guide.schedules["news"][0].title = "Other"; }},
        {"next programme", [](Television &tv) { tv.guide.schedules["news"].pop_back(); }},
        {"no guide", [](Television &tv) { tv.guide.schedules.clear(); }},
        {"player", [](Television &tv) { start_player(tv, "http://a", "", "", 0); }},
    };
    for (const auto &change : changes) {
        Television tv = before;
        change.change(tv);
        EXPECT_FALSE(drawn(tv).pixels == old) << change.what;
    }
    EXPECT_TRUE(drawn(before).pixels == old);
}

TEST(ScreenPicture, ShowsWhereThePlayerIs)
{
    Television tv = sample_television(evening_guide());
    start_player(tv, "Harbour Lights", "", "", 0);
    const std::vector<uint8_t> begin = drawn(tv).pixels;
    EXPECT_FALSE(drawn(tv, {320, 180}, 3000).pixels == begin);
    pause_player(tv, 0);
    EXPECT_FALSE(drawn(tv).pixels == begin);
}

TEST(ScreenPicture, ShowsLettersThatAreNotAscii)
{
    Television tv = sample_television();
    tv.channels[0].name = "\xC3\x89";
    const std::vector<uint8_t> accent = drawn(tv).pixels;
    tv.channels[0].name = "E";
    EXPECT_FALSE(drawn(tv).pixels == accent);
}

TEST(ScreenPicture, SurvivesTextsThatAreNoText)
{
    Television tv = sample_television();
    tv.channels[0].name = "\xFF\xC3\x00\xF0\x9F";
    tv.name = std::string("\0\x01\x7F\xED\xA0\x80", 6);
    EXPECT_EQ(drawn(tv).width, 320);
}

TEST(ScreenFont, IsNoneWithoutAFontInTheFile)
{
    EXPECT_NE(load_font(TVLINK_SIM_FONT), nullptr);
    EXPECT_EQ(load_font("/nowhere/font.ttf"), nullptr);
    EXPECT_EQ(load_font("/"), nullptr);
    EXPECT_EQ(load_font("/dev/null"), nullptr);
    EXPECT_EQ(load_font(project_path("examples/guide.xml")), nullptr);
}

} // namespace
