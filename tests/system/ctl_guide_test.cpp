/* SPDX-License-Identifier: MIT */
/* tvlink-ctl guide and channels against a television from a script. */
#include "system/ctl_script.h"

namespace
{

/* In these tests it is as late as in Greenwich. */
class CtlGuide : public testing::Test
{
protected:
    void SetUp() override
    {
        setenv("TZ", "UTC0", 1);
    }
    void TearDown() override
    {
        unsetenv("TZ");
    }
};

Bytes programme(uint16_t channel, uint32_t start, uint32_t duration, const std::string &title,
                const std::string &category, const std::string &description)
{
    const Bytes rest = joined(
        {bytes(little(channel, 2) + " " + little(start, 4) + " " + little(duration, 4)),
         text_with_length(title), text_with_length(category), text_with_length(description)});
    return joined({bytes(little(static_cast<uint32_t>(rest.size() + 2), 2)), rest});
}

/* 2026-11-21 20:15, 105 minutes; then half an hour in a script of wide characters. */
const Bytes two_programmes = joined({programme(3, 1795292100, 6300, "Café", "Film", "Two cups."),
                                     programme(12, 1795298400, 1800, "夜のニュース", "", "")});

const Exchange names = {"05 01 02 30 00", list_reply("02 30", "A5", "02 00",
                                                     compressed(bytes("03 00 05 'Films'"
                                                                      "0C 00 04 'News'")))};

const char *const two_rows = "NO  CHANNEL  BEGINS            ENDS   TITLE         CATEGORY\n"
                             " 3  Films    2026-11-21 20:15  22:00  Café          Film\n"
                             "12  News     2026-11-21 22:00  22:30  夜のニュース\n";

std::string guide_reply(const std::string &code, const std::string &tag, const std::string &counts,
                        int max_bits = 12)
{
    return list_reply(code, tag, counts, compressed(two_programmes, max_bits));
}

TEST_F(CtlGuide, ShowsWhatIsOnNowAndNext)
{
    expect_script({"guide"}, {{"05 01 01 20 00", guide_reply("01 20", "A3", "02 00")}, names},
                  two_rows);
}

TEST_F(CtlGuide, IsOneObjectInJson)
{
    expect_script({"guide", "--json"},
                  {{"05 01 01 20 00", guide_reply("01 20", "A3", "02 00")}, names},
                  "{\"count\":2,\"programmes\":["
                  "{\"channel\":3,\"channel_name\":\"Films\",\"start\":1795292100,"
                  "\"duration\":6300,\"title\":\"Café\",\"category\":\"Film\","
                  "\"description\":\"Two cups.\"},"
                  "{\"channel\":12,\"channel_name\":\"News\",\"start\":1795298400,"
                  "\"duration\":1800,\"title\":\"夜のニュース\",\"category\":\"\","
                  "\"description\":\"\"}]}\n");
}

TEST_F(CtlGuide, DoesWithoutTheNamesOfChannels)
{
    for (const std::string &answer :
         {std::string("06 01 02 30 A3 00 00 00 00"), std::string("06 01 02 30 02 01"),
          list_reply("02 30", "A5", "01 00", bytes("01 02"))}) {
        expect_script(
            {"guide"},
            {{"05 01 01 20 00", guide_reply("01 20", "A3", "02 00")}, {"05 01 02 30 00", answer}},
            "NO  CHANNEL  BEGINS            ENDS   TITLE         CATEGORY\n"
            " 3           2026-11-21 20:15  22:00  Café          Film\n"
            "12           2026-11-21 22:00  22:30  夜のニュース\n");
    }
}

TEST_F(CtlGuide, AsksForWhatIsWanted)
{
    const std::string guide = guide_reply("00 20", "A1", "02 00 02 00");
    const std::string all = "05 01 00 20 03 02 00 06 00 00 00 00 06 ";
    const std::string one = "05 01 00 20 03 02 01 06 0C 00 00 00 06 ";
    expect_script({"guide", "--all"}, {{all + "00 00 00 00", guide}, names}, two_rows);
    expect_script({"guide", "--from", "2026-11-21 20:15"}, {{all + "C4 FB 01 6B", guide}, names},
                  two_rows);
    expect_script({"guide", "--channel", "12"}, {{one + "00 00 00 00", guide}, names}, two_rows);
    expect_script({"guide", "--channel", "12", "--from", "@4294967295"},
                  {{one + "FF FF FF FF", guide}, names}, two_rows);
    const std::string week = guide_reply("02 20", "A1", "02 00 00 00", 9);
    expect_script({"guide", "--week"}, {{"05 01 02 20 01 06 00 00 00 00", week}, names}, two_rows);
    expect_script({"guide", "--week", "--channel", "12"},
                  {{"05 01 02 20 01 06 0C 00 00 00", week}, names}, two_rows);
    expect_script(
        {"guide", "--search", "fé"},
        {{"05 01 03 20 01 08 03 00 'f' C3 A9", guide_reply("03 20", "A3", "02 00")}, names},
        two_rows);
}

TEST_F(CtlGuide, ShowsDescriptionsWhenTheyAreWanted)
{
    expect_script({"guide", "--descriptions"},
                  {{"05 01 01 20 00", guide_reply("01 20", "A3", "02 00")}, names},
                  "NO  CHANNEL  BEGINS            ENDS   TITLE         CATEGORY\n"
                  " 3  Films    2026-11-21 20:15  22:00  Café          Film\n"
                  "    Two cups.\n"
                  "12  News     2026-11-21 22:00  22:30  夜のニュース\n");
}

TEST_F(CtlGuide, MayBeEmpty)
{
    for (const char *reply : {"06 01 01 20 A3 00 00 00 00", "06 01 01 20"}) {
        expect_script({"guide"}, {{"05 01 01 20 00", reply}}, "no programmes\n");
        expect_script({"guide", "--json"}, {{"05 01 01 20 00", reply}},
                      "{\"count\":0,\"programmes\":[]}\n");
    }
}

TEST_F(CtlGuide, TellsTimesThatTheTelevisionInvents)
{
    const Bytes never = programme(1, 0, 0xFFFFFFFF, "a\x1b[2J", "", "");
    const Finished result = run_script(
        {"guide"}, {{"05 01 01 20 00", list_reply("01 20", "A3", "01 00", compressed(never))},
                    {"05 01 02 30 00", "06 01 02 30"}});
    EXPECT_EQ(result.status, 0);
    EXPECT_NE(result.out.find(" 1           1970-01-01 00:00  "), std::string::npos) << result.out;
    EXPECT_NE(result.out.find("  a\\x1b[2J\n"), std::string::npos) << result.out;
}

void expect_broken(const std::string &reply, const std::string &complaint)
{
    expect_script_failure({"guide"}, {{"05 01 01 20 00", reply}}, 6, " answered with " + complaint);
}

TEST_F(CtlGuide, IsRefusedWhenItIsBroken)
{
    expect_broken(list_reply("01 20", "A3", "01 00", bytes("FF FF FF FF")),
                  "a list that cannot be expanded");
    expect_broken(list_reply("01 20", "A3", "01 00", {}), "a list that cannot be expanded");
    expect_broken(guide_reply("01 20", "A3", "03 00"),
                  "a list that does not have as many entries as it tells");
    expect_broken(list_reply("01 20", "A3", "01 00", compressed(bytes("FF 00 01 00"))),
                  "a list with a broken entry");
    expect_broken(guide_reply("01 20", "A5", "02 00"), "a value of the wrong kind");
    expect_broken("06 01 01 20 02 05", "a value of the wrong kind");
}

TEST_F(CtlGuide, CountsModulo65536)
{
    Bytes many;
    for (int i = 0; i < 65537; i++) {
        many.insert(many.end(), {1, 0, 0});
    }
    const Finished result =
        run_script({"channels", "--short"},
                   {{"05 01 02 30 00", list_reply("02 30", "A5", "01 00", compressed(many))}});
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_EQ(result.out.size(), std::string("NO  NAME\n").size() + 65537 * 3);
}

TEST_F(CtlGuide, WrongWordsSendNothing)
{
    for (const Words &words :
         {Words{"guide", "--week", "--all"}, Words{"guide", "--week", "--from", "now"},
          Words{"guide", "--search", "x", "--channel", "1"}, Words{"guide", "--channel", "65536"},
          Words{"guide", "--from", "noon"}, Words{"guide", "--from", "2026-02-30"},
          Words{"channels", "--short", "--filter", "x"}}) {
        const Finished result = local_ctl(words);
        EXPECT_EQ(result.status, 2) << testing::PrintToString(words);
        EXPECT_EQ(result.out, "");
        EXPECT_NE(result.err, "");
    }
}

Bytes channel_cell(const std::string &number, const std::string &name, const std::string &group,
                   const std::string &guide_id, const std::string &address)
{
    return joined({bytes(number + " 00 00"), text_field(name, 64), text_field(group, 32),
                   text_field(guide_id, 32), text_field(address, 124)});
}

const Bytes two_channels =
    joined({channel_cell("01 00", "News", "Information", "news.example", "http://tv/news"),
            channel_cell("02 01", "Música", "", "", "udp://@239.0.0.1:1")});

const char *const two_channel_rows = " NO  NAME    GROUP        GUIDE ID      ADDRESS\n"
                                     "  1  News    Information  news.example  http://tv/news\n"
                                     "258  Música                             udp://@239.0.0.1:1\n";

TEST(CtlChannels, AreListed)
{
    const std::string reply = list_reply("00 30", "A5", "02 00", compressed(two_channels));
    expect_script({"channels"}, {{"05 01 00 30 00", reply}}, two_channel_rows);
    expect_script({"channels", "--json"}, {{"05 01 00 30 00", reply}},
                  "{\"count\":2,\"channels\":["
                  "{\"number\":1,\"name\":\"News\",\"group\":\"Information\","
                  "\"guide_id\":\"news.example\",\"address\":\"http://tv/news\"},"
                  "{\"number\":258,\"name\":\"Música\",\"group\":\"\",\"guide_id\":\"\","
                  "\"address\":\"udp://@239.0.0.1:1\"}]}\n");
}

TEST(CtlChannels, AreFilteredByTheTelevision)
{
    expect_script({"channels", "--filter", "ab"},
                  {{"05 01 16 40 01 02 00 'ab'",
                    list_reply("16 40", "A5", "02 00", compressed(two_channels))}},
                  two_channel_rows);
    expect_script({"channels", "--filter", ""},
                  {{"05 01 16 40 01 00 00", "06 01 16 40 A3 00 00 00 00"}}, "no channels\n");
}

TEST(CtlChannels, AreListedInShort)
{
    const Exchange exchange = {
        "05 01 02 30 00",
        list_reply("02 30", "A5", "02 00", compressed(bytes("01 00 02 'ab' 02 01 00")))};
    expect_script({"channels", "--short"}, {exchange}, " NO  NAME\n  1  ab\n258\n");
    expect_script({"channels", "--short", "--json"}, {exchange},
                  "{\"count\":2,\"channels\":[{\"number\":1,\"name\":\"ab\"},"
                  "{\"number\":258,\"name\":\"\"}]}\n");
}

} // namespace
