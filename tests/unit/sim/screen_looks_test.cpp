/* SPDX-License-Identifier: MIT */
/* Screens as they are to look, kept as pictures that were looked at. With TVLINK_RENEW_PICTURES in
 * the environment the drawn ones replace them. */
#include "unit/sim/drawn_screen.h"
#include "unit/sim/picture_difference.h"
#include "unit/sim/picture_files.h"

using namespace sim;

namespace
{

Television playing_channel()
{
    Television tv = sample_television(evening_guide());
    tv.name = "Living room";
    tv.phone = "Ann's phone";
    tv.text = "Good evening";
    return tv;
}

Television seven_scripts()
{
    Television tv = sample_television(evening_guide());
    tv.name = "海港新闻";
    tv.phone = "푸른 언덕";
    tv.text = "เรือน้ำที่นี่";
    tv.channels[0].name = "夜のラジオ灯台";
    Schedule &schedule = tv.guide.schedules["news"];
    schedule[0].title = "नदी की शक्ति";
    schedule[1].title = "أخبار المساء / חדשות הערב";
    return tv;
}

Television right_to_left()
{
    Television tv = sample_television(evening_guide());
    tv.name = "غرفة Lina 3";
    tv.phone = "سلمى";
    tv.text = "كتاب 12 صفحة";
    tv.channels[0].name = "بيت البحر";
    Schedule &schedule = tv.guide.schedules["news"];
    schedule[0].title = "הרכבת של 7 בבוקר (חלק 2)";
    schedule[1].title = "حكاية طويلة جدا عن قارب صغير وميناء بعيد وريح لا تهدأ في ليالي الشتاء "
                        "ومنارة قديمة على صخرة بيضاء";
    return tv;
}

Television without_a_guide()
{
    Television tv = sample_television();
    set_mute(tv, true);
    set_picture_mode(tv, 2);
    return tv;
}

Television playing_stream()
{
    Television tv = playing_channel();
    start_player(tv, "http://streams.example/harbour", "Harbour 港の灯", "", 0);
    return tv;
}

std::string kept(const std::string &name)
{
    return project_path("tests/unit/sim/pictures/" + name + ".png");
}

class ScreenLooks : public DrawnScreen
{
protected:
    static PictureDifference from_kept(const std::string &name, const Picture &picture)
    {
        return difference_of(read_png_file(kept(name)), picture);
    }

    static void expect_kept(const std::string &name, const Picture &picture)
    {
        if (getenv("TVLINK_RENEW_PICTURES") != nullptr) {
            write_png_file(kept(name), picture);
            GTEST_SKIP() << "renewed " << kept(name);
        }
        const PictureDifference difference = from_kept(name, picture);
        const std::string seen = testing::TempDir() + "tvlink-" + name + ".png";
        if (!look_the_same(difference)) {
            write_png_file(seen, picture);
            ADD_FAILURE() << name << ": " << difference << "; what was drawn is in " << seen;
        }
    }
};

TEST_F(ScreenLooks, AsAChannel)
{
    expect_kept("channel", drawn(playing_channel(), {1280, 720}));
}

TEST_F(ScreenLooks, AsNamesInSevenScripts)
{
    expect_kept("seven_scripts", drawn(seven_scripts(), {1280, 720}));
}

TEST_F(ScreenLooks, AsNamesFromRightToLeft)
{
    expect_kept("right_to_left", drawn(right_to_left(), {1280, 720}));
}

TEST_F(ScreenLooks, AsAChannelWithoutAGuide)
{
    expect_kept("without_a_guide", drawn(without_a_guide(), {1280, 720}));
}

TEST_F(ScreenLooks, AsAStreamOnALargerScreen)
{
    expect_kept("stream_1920x1080", drawn(playing_stream(), {1920, 1080}, 1234));
}

/* A letter less or another one, wherever it stands, is seen. */
TEST_F(ScreenLooks, OtherwiseWhenALetterIsMissing)
{
    const struct {
        const char *what;
        void (*change)(Television &tv);
    } changes[] = {
        {"Chinese", [](Television &tv) { tv.name = "海港新"; }},
        {"Korean", [](Television &tv) { tv.phone = "푸른 언"; }},
        {"Thai tone", [](Television &tv) { tv.text = "เรือนำที่นี่"; }},
        {"Japanese", [](Television &tv) { tv.channels[0].name = "夜のラシオ灯台"; }},
        {"Hindi", [](Television &tv) { tv.guide.schedules["news"][0].title = "नदी की शक्त"; }},
        {"Arabic",
         [](Television &tv) { tv.guide.schedules["news"][1].title = "أخبار المسا / חדשות הערב"; }},
        {"Hebrew",
         [](Television &tv) { tv.guide.schedules["news"][1].title = "أخبار المساء / חדשות הער"; }},
    };
    for (const auto &change : changes) {
        Television tv = seven_scripts();
        change.change(tv);
        const PictureDifference difference = from_kept("seven_scripts", drawn(tv, {1280, 720}));
        EXPECT_FALSE(look_the_same(difference)) << change.what << ": " << difference;
    }
}

/* Letters in isolated forms, in the order of memory: what a program draws that shapes nothing. */
TEST_F(ScreenLooks, OtherwiseWhenLettersAreNotShapedOrRunTheOtherWay)
{
    const std::string override_to_the_right = "\u202D";
    const std::string non_joiner = "\u200C";
    const struct {
        const char *what;
        std::string channel;
    } changes[] = {
        {"order", override_to_the_right + "بيت البحر"},
        {"shapes", "ب" + non_joiner + "ي" + non_joiner + "ت البحر"},
    };
    for (const auto &change : changes) {
        Television tv = right_to_left();
        tv.channels[0].name = change.channel;
        const PictureDifference difference = from_kept("right_to_left", drawn(tv, {1280, 720}));
        EXPECT_FALSE(look_the_same(difference)) << change.what << ": " << difference;
    }
}

/* Exchanges the columns of an area, left for right. */
void mirror(Picture &picture, int left, int top, int width, int height)
{
    for (int y = top; y < top + height; y++) {
        for (int x = 0; x < width / 2; x++) {
            const auto at = [&](int column) {
                return picture.pixels.begin() +
                       (static_cast<ptrdiff_t>(y) * picture.width + column) * 3;
            };
            std::swap_ranges(at(left + x), at(left + x) + 3, at(left + width - 1 - x));
        }
    }
}

TEST_F(ScreenLooks, OtherwiseWhenANameIsMirrored)
{
    Picture picture = drawn(playing_channel(), {1280, 720});
    mirror(picture, 40, 28, 200, 34);
    const PictureDifference difference = from_kept("channel", picture);
    EXPECT_FALSE(look_the_same(difference)) << difference;
}

/* A quarter of each pixel moves to the next one. */
void soften(Picture &picture)
{
    for (size_t at = picture.pixels.size() - 1; at >= 3; at--) {
        picture.pixels[at] =
            static_cast<uint8_t>((picture.pixels[at] * 3 + picture.pixels[at - 3]) / 4);
    }
}

/* As the edges of letters may be with another release of a font or of its rasteriser. */
TEST_F(ScreenLooks, TheSameWithSofterEdges)
{
    Picture picture = drawn(seven_scripts(), {1280, 720});
    soften(picture);
    const PictureDifference difference = from_kept("seven_scripts", picture);
    EXPECT_TRUE(look_the_same(difference)) << difference;
    EXPECT_GT(difference.mean, 0);
}

} // namespace
