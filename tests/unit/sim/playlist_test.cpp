/* SPDX-License-Identifier: MIT */
#include "playlist.h"

#include <gtest/gtest.h>

#include "input_error.h"

using namespace sim;

namespace
{

std::vector<Channel> strictly_read(const std::string &text)
{
    return parse_playlist(block_of(text), Strictness::STRICT).channels;
}

/* "LINE: reason" of a playlist that is refused_playlist. */
std::string refused_playlist(const std::string &text)
{
    try {
        strictly_read(text);
    } catch (const InputError &error) {
        return std::to_string(error.line) + ": " + error.what();
    }
    return "accepted";
}

std::vector<int> numbers(const std::vector<Channel> &channels)
{
    std::vector<int> result;
    for (const Channel &channel : channels) {
        result.push_back(channel.number);
    }
    return result;
}

std::string channel(const std::string &attributes)
{
    return "#EXTINF:-1" + attributes + ",Name\nhttp://a\n";
}

TEST(Playlist, ReadsEveryFieldOfAChannel)
{
    const std::vector<Channel> channels =
        strictly_read("#EXTM3U url-tvg=\"x\"\n"
                      "#EXTINF:-1 tvg-id=\"n.ex\" tvg-chno=\"12\" tvg-logo=\"a,b\" "
                      "group-title=\"The, News\", Evening: News, late \n"
                      "#EXTVLCOPT:x=y\n"
                      "\n"
                      "http://streams.example/n?a=b\n");
    ASSERT_EQ(channels.size(), 1u);
    EXPECT_EQ(channels[0].number, 12);
    EXPECT_EQ(channels[0].name, "Evening: News, late");
    EXPECT_EQ(channels[0].group, "The, News");
    EXPECT_EQ(channels[0].guide_id, "n.ex");
    EXPECT_EQ(channels[0].address, "http://streams.example/n?a=b");
}

TEST(Playlist, TakesTheLineEndsAndTheByteOrderMarkOfOtherSystems)
{
    const std::vector<Channel> channels =
        strictly_read("\xEF\xBB\xBF#EXTM3U\r\n#EXTINF:0,A\r\nhttp://a\r\n#EXTINF:0,B\r\nhttp://b");
    ASSERT_EQ(channels.size(), 2u);
    EXPECT_EQ(channels[0].name, "A");
    EXPECT_EQ(channels[1].address, "http://b");
}

TEST(Playlist, NumbersChannelsThatHaveNone)
{
    const auto channels =
        strictly_read("#EXTM3U\n" + channel("") + channel(" tvg-chno=\"2\"") + channel("") +
                      channel(" tvg-chno=\"65535\"") + channel(" tvg-chno=\"4\"") + channel(""));
    EXPECT_EQ(numbers(channels), (std::vector<int>{1, 2, 3, 65535, 4, 5}));
}

TEST(Playlist, GivesNoNumberTwice)
{
    const auto channels =
        strictly_read("#EXTM3U\n" + channel("") + channel("") + channel(" tvg-chno=\"1\""));
    EXPECT_EQ(numbers(channels), (std::vector<int>{2, 3, 1}));
}

TEST(Playlist, IsRefusedWithTheLineAndTheReason)
{
    const std::string good = "#EXTM3U\n#EXTINF:-1,A\nhttp://a\n";
    EXPECT_EQ(refused_playlist(good), "accepted");
    EXPECT_EQ(refused_playlist(""), "1: no channels");
    EXPECT_EQ(refused_playlist("#EXTM3U\n\n"), "2: no channels");
    EXPECT_EQ(refused_playlist("#EXTINF:-1,A\nhttp://a\n"), "1: a playlist begins with #EXTM3U");
    EXPECT_EQ(refused_playlist("http://a\n"), "1: a playlist begins with #EXTM3U");
    EXPECT_EQ(refused_playlist("#EXTM3U\nhttp://a\n"), "2: an address without #EXTINF before it");
    EXPECT_EQ(refused_playlist(good + "http://b\n"), "4: an address without #EXTINF before it");
    EXPECT_EQ(refused_playlist(good + "#EXTINF:-1,B\n"), "4: a channel without an address");
    EXPECT_EQ(refused_playlist(good + "#EXTINF:-1,B\n#EXTINF:-1,C\nhttp://c\n"),
              "4: a channel without an address");
    EXPECT_EQ(refused_playlist(good + "#EXTINF:-1\nhttp://b\n"),
              "4: no comma and no name in #EXTINF");
    EXPECT_EQ(refused_playlist(good + "#EXTINF:\nhttp://b\n"),
              "4: no comma and no name in #EXTINF");
    EXPECT_EQ(refused_playlist(good + "#EXTINF:-1, \nhttp://b\n"), "4: a channel without a name");
    EXPECT_EQ(refused_playlist(good + "#EXTINF:-1 tvg-id=\"b,B\nhttp://b\n"),
              "4: a quotation mark is missing in #EXTINF");
    EXPECT_EQ(refused_playlist(good + "#EXTINF:-1 tvg-id=b,B\nhttp://b\n"),
              "4: no name=\"value\" in #EXTINF: \"tvg-id=b,B\"");
    EXPECT_EQ(refused_playlist(good + "#EXTINF:-1 tvg-id=\"b\" B\nhttp://b\n"),
              "4: no name=\"value\" in #EXTINF: \"B\"");
    EXPECT_EQ(refused_playlist(good + "#EXTINF:-1 tvg-id="),
              "4: no name=\"value\" in #EXTINF: \"tvg-id=\"");
}

TEST(Playlist, RefusesNumbersThatNoChannelCanHave)
{
    for (const char *number :
         {"", "0", "65536", "-1", "+1", "1.0", "1a", "0x10", " 1", "99999999999999999999"}) {
        EXPECT_EQ(
            refused_playlist("#EXTM3U\n" + channel(std::string(" tvg-chno=\"") + number + "\"")),
            std::string("2: tvg-chno is no number from 1 to 65535: \"") + number + "\"");
    }
    EXPECT_EQ(
        refused_playlist("#EXTM3U\n" + channel(" tvg-chno=\"7\"") + channel(" tvg-chno=\"007\"")),
        "4: channel number 007 is there already");
}

TEST(Playlist, RefusesWhatIsNoText)
{
    EXPECT_EQ(refused_playlist("#EXTM3U\n#EXTINF:-1,A\xFF\nhttp://a\n"),
              "2: this is no UTF-8 text");
    EXPECT_EQ(refused_playlist(std::string("#EXTM3U\n\n#EXTINF:-1,A\0B\nhttp://a\n", 34)),
              "3: this is no UTF-8 text");
    EXPECT_EQ(refused_playlist("\x1F\x8B\x08"), "1: this is no UTF-8 text");
}

TEST(Playlist, RefusesMoreChannelsThanThereAreNumbers)
{
    std::string text = "#EXTM3U\n";
    for (int i = 0; i < 65535; i++) {
        text += "#EXTINF:-1,A\na\n";
    }
    EXPECT_EQ(strictly_read(text).back().number, 65535);
    EXPECT_EQ(refused_playlist(text + "#EXTINF:-1,A\na\n"), "131073: too many channels");
}

TEST(Playlist, SurvivesEveryWrongByte)
{
    const std::string whole =
        "#EXTM3U\n#EXTINF:-1 tvg-id=\"n\" tvg-chno=\"12\" group-title=\"G\",N\nhttp://a\n";
    const std::string wrong("#\",=: \n\r0\0\xFF\xC3", 12);
    for (size_t at = 0; at < whole.size(); at++) {
        for (const char letter : wrong) {
            std::string damaged = whole;
            damaged[at] = letter;
            const std::string answer = refused_playlist(damaged);
            EXPECT_TRUE(answer == "accepted" || (answer[0] >= '1' && answer[0] <= '4')) << answer;
            EXPECT_TRUE(at >= 7 || damaged == whole || answer[0] == '1') << answer;
        }
    }
}

/* Whatever is cut off a playlist, it is read or refused_playlist, and nothing else happens. */
TEST(Playlist, SurvivesBeingCutAnywhere)
{
    const std::string whole =
        "#EXTM3U\n#EXTINF:-1 tvg-id=\"n\" tvg-chno=\"12\" group-title=\"G\",N\xC3\xA9\nhttp://a\n";
    for (size_t size = 0; size < whole.size(); size++) {
        const std::string answer = refused_playlist(whole.substr(0, size));
        EXPECT_EQ(answer == "accepted", size > whole.find("http")) << size << answer;
    }
}

} // namespace
