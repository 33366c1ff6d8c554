/* SPDX-License-Identifier: MIT */
#include "xmltv.h"

#include <gtest/gtest.h>

#include "input_error.h"

using namespace sim;

namespace
{

std::vector<Channel> two_channels()
{
    return {{1, "A", "", "a.ex", ""}, {2, "B", "", "b.ex", ""}, {3, "C", "", "", ""}};
}

ReadGuide read(const std::string &text)
{
    const std::vector<Channel> channels = two_channels();
    return parse_guide(block_of(text), {&channels, false, "", Strictness::STRICT});
}

std::string refused_guide(const std::string &text)
{
    try {
        read(text);
    } catch (const InputError &error) {
        return std::to_string(error.line) + ": " + error.what();
    }
    return "accepted";
}

std::string programme(const std::string &attributes, const std::string &content)
{
    return "<programme " + attributes + ">" + content + "</programme>\n";
}

/* A good programme with this title. */
std::string titled(const std::string &title, const std::string &hour = "10")
{
    return programme("start=\"20260101" + hour + "0000\" stop=\"20260101235900\" channel=\"a.ex\"",
                     "<title>" + title + "</title>");
}

std::string tv(const std::string &content)
{
    return "<?xml version=\"1.0\"?>\n<!DOCTYPE tv SYSTEM \"xmltv.dtd\">\n<tv>\n" + content +
           "</tv>\n";
}

TEST(XmltvGuide, ReadsEveryFieldOfAProgramme)
{
    const ReadGuide result =
        read(tv("<channel id=\"a.ex\"><display-name>A</display-name></channel>" +
                programme("start=\"20261121211500 +0100\" "
                          "stop=\"20261121220000 +0000\" channel=\"a.ex\"",
                          "<title lang=\"en\">Café &amp; Tea</title>"
                          "<title lang=\"fr\">Autre</title>"
                          "<sub-title>No</sub-title>"
                          "<desc>Two\n   cups &#x2014; <![CDATA[<hot>]]></desc>"
                          "<category>Film</category><category>Old</category>")));
    ASSERT_EQ(result.guide.schedules.size(), 1u);
    const Schedule &schedule = result.guide.schedules.at("a.ex");
    ASSERT_EQ(schedule.size(), 1u);
    EXPECT_EQ(schedule[0].start, 1795292100u);
    EXPECT_EQ(schedule[0].duration, 6300u);
    EXPECT_EQ(schedule[0].title, "Café & Tea");
    EXPECT_EQ(schedule[0].category, "Film");
    EXPECT_EQ(schedule[0].description, "Two cups \xE2\x80\x94 <hot>");
    EXPECT_EQ(result.of_other_channels, 0u);
    EXPECT_EQ(result.left_out, 0u);
}

TEST(XmltvGuide, OrdersTheProgrammesOfAChannelByTheirStart)
{
    const ReadGuide result =
        read(tv(titled("C", "12") + titled("A", "08") + titled("B", "10") + titled("B2", "10")));
    std::string titles;
    for (const Programme &entry : result.guide.schedules.at("a.ex")) {
        titles += entry.title + " ";
    }
    EXPECT_EQ(titles, "A B B2 C ");
}

TEST(XmltvGuide, KeepsTheOrderOfProgrammesThatStartTogether)
{
    std::string content;
    for (int i = 100; i < 200; i++) {
        content += titled(std::to_string(i));
    }
    const ReadGuide result = read(tv(content + titled("first", "08")));
    const Schedule &schedule = result.guide.schedules.at("a.ex");
    ASSERT_EQ(schedule.size(), 101u);
    for (size_t i = 1; i < schedule.size(); i++) {
        EXPECT_EQ(schedule[i].title, std::to_string(99 + i));
    }
}

TEST(XmltvGuide, EndsAProgrammeWithoutStopWhereTheNextOneStarts)
{
    const ReadGuide result =
        read(tv(programme("start=\"20260101100000\" channel=\"a.ex\"", "<title>A</title>") +
                programme("start=\"20260101104500\" channel=\"a.ex\"", "<title>B</title>")));
    const Schedule &schedule = result.guide.schedules.at("a.ex");
    EXPECT_EQ(schedule[0].duration, 2700u);
    EXPECT_EQ(schedule[1].duration, 1800u);
}

TEST(XmltvGuide, CountsTheProgrammesOfChannelsThatAreNotThere)
{
    const ReadGuide result = read(tv(
        titled("A") + programme("start=\"20260101100000\" channel=\"z.ex\"", "<title>Z</title>")));
    EXPECT_EQ(result.guide.schedules.size(), 1u);
    EXPECT_EQ(result.of_other_channels, 1u);
}

TEST(XmltvGuide, LeavesOutWhatIsMoreThanACountCanTell)
{
    std::string content;
    for (int i = 0; i < 65537; i++) {
        content +=
            "<programme start=\"20260101100000\" channel=\"a.ex\"><title>T</title></programme>";
    }
    const ReadGuide result = read(tv(content));
    EXPECT_EQ(result.guide.schedules.at("a.ex").size(), 65535u);
    EXPECT_EQ(result.left_out, 2u);
}

TEST(XmltvGuide, MayBeEmpty)
{
    EXPECT_TRUE(read("<tv/>").guide.schedules.empty());
    EXPECT_TRUE(read("\xEF\xBB\xBF<tv></tv>").guide.schedules.empty());
}

/* The fault is in line 5 of each: three lines come before the content, one good programme is there.
 */
TEST(XmltvGuide, IsRefusedWithTheLineAndTheReason)
{
    const std::string times = "start=\"20260101100000\" stop=\"20260101110000\" ";
    const std::string title = "<title>T</title>";
    const struct {
        std::string programme;
        std::string complaint;
    } rows[] = {
        {programme(times, title), "a programme without a channel"},
        {programme(times + "channel=\"\"", title), "a programme without a channel"},
        {programme(times + "channel=\"a.ex\"", ""), "a programme without a title"},
        {programme(times + "channel=\"a.ex\"", "<title> \n </title>"),
         "a programme without a title"},
        {programme("channel=\"a.ex\"", title),
         "start is no time such as 20261121201500 +0100: \"\""},
        {programme("channel=\"a.ex\" start=\"soon\"", title),
         "start is no time such as 20261121201500 +0100: \"soon\""},
        {programme("channel=\"a.ex\" start=\"19700101000000 +0100\"", title),
         "start is no time such as 20261121201500 +0100: \"19700101000000 +0100\""},
        {programme("channel=\"a.ex\" start=\"21060207062816\"", title),
         "start is no time such as 20261121201500 +0100: \"21060207062816\""},
        {programme("channel=\"a.ex\" start=\"20260101100000\" stop=\"\"", title),
         "stop is no time such as 20261121201500 +0100: \"\""},
        {programme("channel=\"a.ex\" start=\"20260101100000\" stop=\"20260101095959\"", title),
         "a programme stops before it starts"},
        {programme("channel=\"a.ex\" start=\"20260101100000\" stop=\"20260101100000\"", title),
         "a programme stops before it starts"},
        {programme(times + "channel=\"a.ex\"", "<title>&#xD800;</title>"),
         "this is no XML: reference to invalid character number"},
        {programme(times + "channel=\"zz\"", ""), "a programme without a title"},
    };
    for (const auto &row : rows) {
        EXPECT_EQ(refused_guide(tv(titled("Good") + row.programme)), "5: " + row.complaint);
    }
}

TEST(XmltvGuide, RefusesWhatIsNoXmlWithTheLine)
{
    EXPECT_EQ(refused_guide(""), "1: a guide is one element <tv>");
    EXPECT_EQ(refused_guide("<html></html>"), "1: a guide is one element <tv>");
    EXPECT_EQ(refused_guide("#EXTM3U\n"), "1: this is no XML: syntax error");
    EXPECT_EQ(refused_guide("<tv>\n\n</vt>\n"), "3: this is no XML: mismatched tag");
    EXPECT_EQ(refused_guide("<tv>\n<programme\n"), "2: this is no XML: unclosed token");
    EXPECT_EQ(refused_guide("<tv>\n<programme start=x>"),
              "2: this is no XML: not well-formed (invalid token)");
    EXPECT_EQ(refused_guide("<tv>\n"), "2: this is no XML: no element found");
    EXPECT_EQ(refused_guide("<tv>\n<a>\n\xFF</a></tv>"), "3: this is no UTF-8 text");
    EXPECT_EQ(refused_guide(std::string("<tv>\n\0</tv>", 11)), "2: this is no UTF-8 text");
}

TEST(XmltvGuide, RefusesElementsThatLieTooDeep)
{
    std::string deep = "<tv>\n";
    for (int i = 0; i < 63; i++) {
        deep += "<a>";
    }
    std::string ends;
    for (int i = 0; i < 63; i++) {
        ends += "</a>";
    }
    EXPECT_EQ(refused_guide(deep + ends + "</tv>"), "accepted");
    EXPECT_EQ(refused_guide(deep + "\n<b></b>" + ends + "</tv>"),
              "3: elements inside each other more than 64 deep");
    std::string hostile = "<tv>";
    for (int i = 0; i < 1000000; i++) {
        hostile += "<a>";
    }
    EXPECT_EQ(refused_guide(hostile), "1: elements inside each other more than 64 deep");
}

TEST(XmltvGuide, SurvivesBeingCutAnywhere)
{
    const std::string whole = tv(titled("A &lt; <![CDATA[B]]>") + "<!-- no > -->" + titled("C"));
    const size_t end = whole.rfind('>');
    for (size_t size = 0; size < whole.size(); size++) {
        const std::string answer = refused_guide(whole.substr(0, size));
        EXPECT_EQ(answer == "accepted", size > end) << size << " " << answer;
    }
}

/* Whatever stands in the place of a byte, the guide is read or refused_guide with one of its lines.
 */
TEST(XmltvGuide, SurvivesEveryWrongByte)
{
    const std::string whole = tv(titled("A &lt; &#65;<![CDATA[B]]>") + "<!-- no > -->");
    const std::string wrong("<>&\"'/=!?[]; \n0\0\xFF\xC3", 18);
    size_t accepted = 0;
    for (size_t at = 0; at < whole.size(); at++) {
        for (const char letter : wrong) {
            std::string damaged = whole;
            damaged[at] = letter;
            const std::string answer = refused_guide(damaged);
            accepted += answer == "accepted" ? 1 : 0;
            EXPECT_TRUE(answer == "accepted" || (answer[0] >= '1' && answer[0] <= '7')) << answer;
        }
    }
    EXPECT_GT(accepted, 0u);
    EXPECT_LT(accepted, whole.size() * wrong.size() / 2);
}

} // namespace
