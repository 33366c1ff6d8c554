/* SPDX-License-Identifier: MIT */
/* The picture of the screen, read back by another hand than the one that wrote it. */
#include "unit/sim/drawn_screen.h"
#include "unit/sim/picture_files.h"

#include <algorithm>
#include <thread>

using namespace sim;

namespace
{

class ScreenPicture : public DrawnScreen
{
};

TEST_F(ScreenPicture, IsAPngOfItsPixels)
{
    const Picture canvas = drawn(sample_television(evening_guide()));
    const std::vector<uint8_t> png = png_of(canvas);
    ASSERT_GT(png.size(), 8u);
    EXPECT_EQ(std::string(png.begin(), png.begin() + 8), "\x89PNG\r\n\x1a\n");
    const Picture picture = read_png(png);
    EXPECT_EQ(picture.width, 320);
    EXPECT_EQ(picture.height, 180);
    EXPECT_TRUE(picture.pixels == canvas.pixels);
}

TEST_F(ScreenPicture, CanBeDrawnInEverySizeOfTheBounds)
{
    Television tv = sample_television(evening_guide());
    tv.text = std::string(2000, 'W');
    for (const ScreenSize &size :
         {ScreenSize{160, 90}, ScreenSize{160, 1080}, ScreenSize{1920, 90}, ScreenSize{1920, 1080},
          ScreenSize{161, 91}, ScreenSize{3840, 2160}}) {
        const Picture canvas = drawn(tv, size);
        EXPECT_EQ(canvas.pixels.size(),
                  static_cast<size_t>(size.width) * static_cast<size_t>(size.height) * 3);
    }
}

TEST_F(ScreenPicture, IsBlackInStandby)
{
    Television tv = sample_television(evening_guide());
    const Picture on = drawn(tv);
    EXPECT_GT(*std::max_element(on.pixels.begin(), on.pixels.end()), 0);
    set_power(tv, false);
    const Picture canvas = drawn(tv);
    EXPECT_EQ(std::count(canvas.pixels.begin(), canvas.pixels.end(), 0), 320 * 180 * 3);
}

/* Each change of the state is to be seen, and its reversal brings the old picture back. */
TEST_F(ScreenPicture, ShowsEveryPartOfTheState)
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

TEST_F(ScreenPicture, ShowsWhereThePlayerIs)
{
    Television tv = sample_television(evening_guide());
    start_player(tv, "Harbour Lights", "", "", 0);
    const std::vector<uint8_t> begin = drawn(tv).pixels;
    EXPECT_FALSE(drawn(tv, {320, 180}, 3000).pixels == begin);
    pause_player(tv, 0);
    EXPECT_FALSE(drawn(tv).pixels == begin);
}

TEST_F(ScreenPicture, ShowsLettersThatAreNotAscii)
{
    Television tv = sample_television();
    tv.channels[0].name = "\xC3\x89";
    const std::vector<uint8_t> accent = drawn(tv).pixels;
    tv.channels[0].name = "E";
    EXPECT_FALSE(drawn(tv).pixels == accent);
}

TEST_F(ScreenPicture, SurvivesTextsThatAreNoText)
{
    Television tv = sample_television();
    tv.channels[0].name = "\xFF\xC3\x00\xF0\x9F";
    tv.name = std::string("\0\x01\x7F\xED\xA0\x80", 6);
    EXPECT_EQ(drawn(tv).width, 320);
}

/* A picture drawn while others are drawn is the same. */
TEST_F(ScreenPicture, IsDrawnOnSeveralThreads)
{
    Television tv = sample_television(evening_guide());
    tv.channels[0].name = "أخبار";
    const Picture alone = drawn(tv);
    Picture pictures[4];
    {
        std::vector<std::thread> threads;
        for (Picture &picture : pictures) {
            threads.emplace_back([&] { picture = drawn(tv); });
        }
        for (std::thread &thread : threads) {
            thread.join();
        }
    }
    for (const Picture &picture : pictures) {
        EXPECT_TRUE(picture.pixels == alone.pixels);
    }
}

TEST_F(ScreenPicture, HasTheTimeOfItsZone)
{
    const Television tv = sample_television();
    const Picture greenwich = drawn(tv);
    const TimeZone zone("IST-5:30");
    EXPECT_FALSE(drawn(tv).pixels == greenwich.pixels);
}

/* A name cannot turn around what is drawn beside it. */
TEST_F(ScreenPicture, IsolatesTheDirectionOfNames)
{
    Television tv = sample_television(evening_guide());
    const Picture before = drawn(tv);
    tv.name = "tv\u202E";
    EXPECT_TRUE(drawn(tv).pixels == before.pixels);
    tv.name = "\u2069\u2067tv";
    EXPECT_TRUE(drawn(tv).pixels == before.pixels);
}

constexpr char dejavu[] = "/usr/share/fonts/truetype/dejavu/DejaVuSans.ttf";

TEST(ScreenFonts, AreThoseOfTheSystemAndOneFromAFile)
{
    use_fonts_of("tests/unit/sim/fonts.conf");
    EXPECT_NE(load_fonts(""), nullptr);
    EXPECT_NE(load_fonts(dejavu), nullptr);
}

TEST(ScreenFonts, AreNoneWithoutAFontInTheFile)
{
    use_fonts_of("tests/unit/sim/fonts.conf");
    EXPECT_EQ(load_fonts("/nowhere/font.ttf"), nullptr);
    EXPECT_EQ(load_fonts("/"), nullptr);
    EXPECT_EQ(load_fonts("/dev/null"), nullptr);
    EXPECT_EQ(load_fonts(project_path("examples/guide.xml")), nullptr);
}

TEST(ScreenFonts, AreNoneOnASystemWithout)
{
    use_fonts_of("tests/unit/sim/no_fonts.conf");
    EXPECT_EQ(load_fonts(""), nullptr);
    const std::shared_ptr<Fonts> one = load_fonts(dejavu);
    ASSERT_NE(one, nullptr);
    Television tv = sample_television();
    tv.channels[0].name = "漢字"; /* of which it has none */
    EXPECT_EQ(draw_screen(screen_of(tv, 0, 0), *one, {320, 180}).width, 320);
}

/* It is preferred to the system's. */
TEST(ScreenFonts, MayBeAnotherForTheSameText)
{
    use_fonts_of("tests/unit/sim/fonts.conf");
    const Screen screen = screen_of(sample_television(), 0, 0);
    const Picture usual = draw_screen(screen, *load_fonts(""), {320, 180});
    const Picture other = draw_screen(
        screen, *load_fonts("/usr/share/fonts/truetype/dejavu/DejaVuSansMono.ttf"), {320, 180});
    EXPECT_FALSE(usual.pixels == other.pixels);
}

} // namespace
