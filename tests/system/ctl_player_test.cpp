/* SPDX-License-Identifier: MIT */
/* tvlink-ctl play and vod against a television from a script. */
#include "system/ctl_script.h"

namespace
{

TEST(CtlPlayer, PlaysAnAddressWithTwoRequests)
{
    expect_script(
        {"play", "http://tv/film"},
        {{"07 05 15 08 0E 00 'http://tv/film'", "08 05 15 00"}, {"07 07 15", "08 07 15 00"}},
        "result: 0\n");
}

TEST(CtlPlayer, DoesNotStartAnAddressThatIsRefused)
{
    const Finished result =
        run_script({"play", "a:b"}, {{"07 05 15 08 03 00 'a:b'", "08 05 15 FF"}});
    expect_failure(result, 7, "result: -1\n",
                   "tvlink-ctl: the television answered that it failed: the address to play");
}

TEST(CtlPlayer, ObeysWords)
{
    const struct {
        Words words;
        std::string request;
    } cases[] = {
        {{"start"}, "07 07 15"},
        {{"pause"}, "07 08 15"},
        {{"stop"}, "07 09 15"},
        {{"seek", "90"}, "07 02 15 05 5A 00 00 00"},
        {{"seek", "1:02:03"}, "07 02 15 05 8B 0E 00 00"},
        {{"volume", "255"}, "07 04 15 02 FF"},
        {{"operation", "0", "5"}, "07 10 15 05 05 00 00 00"},
        {{"operation", "6", "-2"}, "07 16 15 05 FE FF FF FF"},
    };
    for (const auto &one : cases) {
        Words arguments = {"play"};
        arguments.insert(arguments.end(), one.words.begin(), one.words.end());
        const std::string code = one.request.substr(3, 5);
        expect_script(arguments, {{one.request, "08 " + code + " 00"}}, "result: 0\n");
    }
    expect_script({"play", "stop", "--json"}, {{"07 09 15", "08 09 15 02"}}, "{\"result\":2}\n");
    expect_failure(run_script({"play", "pause"}, {{"07 08 15", "08 08 15 FF"}}), 7, "result: -1\n",
                   "tvlink-ctl: the television answered that it failed: play pause");
}

const std::vector<Exchange> status_exchanges = {
    {"05 01 01 15 00", "06 01 01 15 02 01"},
    {"05 01 02 15 00", "06 01 02 15 06 8B 0E 00 00"},
    {"05 01 03 15 00", "06 01 03 15 06 20 1C 00 00"},
};

TEST(CtlPlayer, TellsItsStatus)
{
    expect_script({"play", "status"}, status_exchanges,
                  "player: playing\nposition: 1:02:03\nduration: 2:00:00\n");
    expect_script({"play", "status", "--json"}, status_exchanges,
                  "{\"player\":\"playing\",\"player_state\":1,\"position\":3723,"
                  "\"duration\":7200}\n");
}

TEST(CtlPlayer, WrongWordsSendNothing)
{
    for (const Words &words :
         {Words{"play"}, Words{"play", "puase"}, Words{"play", "a:b", "stop"},
          Words{"play", "seek", "1:60"}, Words{"play", "seek", "-1"},
          Words{"play", "volume", "256"}, Words{"play", "operation", "7", "0"},
          Words{"play", "operation", "1"}, Words{"vod"}, Words{"vod", "title", "0"},
          Words{"vod", "title", "257"}, Words{"vod", "start", "x", "--at", "soon"}}) {
        const Finished result = local_ctl(words);
        EXPECT_EQ(result.status, 2) << testing::PrintToString(words);
        EXPECT_EQ(result.out, "");
        EXPECT_NE(result.err, "");
    }
}

std::string blob_reply(const std::string &code, const Bytes &data)
{
    return "06 01 " + code + " 0C " + little(static_cast<uint32_t>(data.size()), 4) + " " +
           hex(data);
}

const Bytes two_titles = joined({text_field("The Lighthouse", 256), text_field("Märchen", 256)});

TEST(CtlFilms, AreListedWithTheirLengths)
{
    const std::vector<Exchange> script = {
        {"05 01 11 20 00", blob_reply("11 20", two_titles)},
        {"05 01 10 20 00", blob_reply("10 20", bytes("18 15 00 00 3B 00 00 00"))},
    };
    expect_script({"vod", "list"}, script,
                  "NO  TITLE            LENGTH\n"
                  " 1  The Lighthouse  1:30:00\n"
                  " 2  Märchen         0:00:59\n");
    expect_script({"vod", "list", "--json"}, script,
                  "{\"count\":2,\"films\":["
                  "{\"number\":1,\"title\":\"The Lighthouse\",\"length\":5400},"
                  "{\"number\":2,\"title\":\"Märchen\",\"length\":59}]}\n");
}

TEST(CtlFilms, AreListedByAText)
{
    expect_script({"vod", "list", "--of", "x"},
                  {{"05 01 1B 40 01 01 00 'x'", blob_reply("1B 40", {})},
                   {"05 01 1C 40 01 08 01 00 'x'", blob_reply("1C 40", {})}},
                  "no films\n");
    expect_script({"vod", "list", "--of", "", "--json"},
                  {{"05 01 1B 40 01 00 00", blob_reply("1B 40", {})},
                   {"05 01 1C 40 01 08 00 00", blob_reply("1C 40", {})}},
                  "{\"count\":0,\"films\":[]}\n");
}

TEST(CtlFilms, AreRefusedWhenTheirListIsBroken)
{
    expect_script_failure({"vod", "list"}, {{"05 01 11 20 00", blob_reply("11 20", bytes("01"))}},
                          6, " answered with a broken list of films");
    expect_script_failure({"vod", "list"},
                          {{"05 01 11 20 00", blob_reply("11 20", two_titles)},
                           {"05 01 10 20 00", blob_reply("10 20", bytes("01 02 03 04 05"))}},
                          6, " answered with a broken list of films' lengths");
    expect_script_failure({"vod", "list"},
                          {{"05 01 11 20 00", blob_reply("11 20", two_titles)},
                           {"05 01 10 20 00", blob_reply("10 20", bytes("01 02 03 04"))}},
                          6, " answered with 2 films and 1 lengths");
}

TEST(CtlFilms, HaveTitles)
{
    expect_script({"vod", "title", "1"}, {{"05 01 0E 20 01 02 00", text_reply("0E 20", "One")}},
                  "title: One\n");
    expect_script({"vod", "title", "256", "--of", "ab"},
                  {{"05 01 18 40 02 02 FF 08 02 00 'ab'", text_reply("18 40", "Last")}},
                  "title: Last\n");
    expect_script_failure({"vod", "title", "9"}, {{"05 01 0E 20 01 02 08", "06 01 0E 20"}}, 7,
                          "the television answered that it failed: film 9");
}

const Bytes status_record = joined({bytes("02 00 00 00 8B 0E 00 00 20 1C 00 00 03 00 00 00"),
                                    text_field("A Day", 128), text_field("http://tv/3", 136)});

std::string status_reply(const Bytes &record)
{
    return "06 01 0F 20 A4 " + little(static_cast<uint32_t>(record.size()), 4) + " " + hex(record);
}

TEST(CtlFilms, TellWhatPlays)
{
    const std::string out = "player: paused\nposition: 1:02:03\nduration: 2:00:00\nfilm: 3\n"
                            "title: A Day\naddress: http://tv/3\n";
    expect_script({"vod", "status"}, {{"05 01 0F 20 00", status_reply(status_record)}}, out);
    expect_script({"vod", "status", "--of", "me"},
                  {{"05 01 21 40 01 02 00 'me'", status_reply(status_record)}}, out);
    expect_script({"vod", "status", "--json"}, {{"05 01 0F 20 00", status_reply(status_record)}},
                  "{\"player\":\"paused\",\"player_state\":2,\"position\":3723,\"duration\":7200,"
                  "\"film\":3,\"title\":\"A Day\",\"address\":\"http://tv/3\"}\n");
    expect_script_failure({"vod", "status", "--of", "me"},
                          {{"05 01 21 40 01 02 00 'me'", "06 01 21 40"}}, 7,
                          "the television answered that it failed: the film's status");
    const Bytes short_record(status_record.begin(), status_record.end() - 1);
    expect_script_failure({"vod", "status"}, {{"05 01 0F 20 00", status_reply(short_record)}}, 6,
                          " answered with a broken status record");
}

TEST(CtlFilms, TellTheStateOfTheirPlayer)
{
    expect_script({"vod", "player"}, {{"05 01 18 20 00", "06 01 18 20 06 00 00 00 00"}},
                  "player: stopped\n");
    expect_script({"vod", "player", "--of", "me", "--json"},
                  {{"05 01 1E 40 01 08 02 00 'me'", "06 01 1E 40 06 07 00 00 00"}},
                  "{\"player\":\"7\",\"player_state\":7}\n");
}

TEST(CtlFilms, AreStarted)
{
    expect_script(
        {"vod", "start", "A Day", "--title", "Day", "--at", "2:00"},
        {{"05 01 20 40 03 08 05 00 03 00 03 00 'A DayDay120'", "06 01 20 40 06 00 00 00 00"}},
        "result: 0\n");
    expect_script({"vod", "start", "A", "--json"},
                  {{"05 01 20 40 03 08 01 00 00 00 00 00 'A'", "06 01 20 40 06 01 00 00 00"}},
                  "{\"result\":1}\n");
    expect_script_failure({"vod", "start", "None"},
                          {{"05 01 20 40 03 08 04 00 00 00 00 00 'None'", "06 01 20 40"}}, 7,
                          "the television answered that it failed: the film \"None\"");
}

} // namespace
