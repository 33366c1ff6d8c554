/* SPDX-License-Identifier: MIT */
/* What tvlink-ctl tells of a television's states, settings and applications. */
#include "system/ctl_script.h"

namespace
{

TEST(CtlSettings, AreShown)
{
    const std::string all = text_reply("0B 40", R"({"language":"fr","pin":null,"sleep":30})");
    expect_script({"settings"}, {{"05 01 0B 40 01 00 08 00 00", all}},
                  "language: fr\npin: null\nsleep: 30\n");
    expect_script({"settings", "--json"}, {{"05 01 0B 40 01 00 08 00 00", all}},
                  "{\"settings\":{\"language\":\"fr\",\"pin\":null,\"sleep\":30}}\n");
    expect_script({"settings", "pin"},
                  {{"05 01 0B 40 01 00 08 03 00 'pin'", text_reply("0B 40", R"({"pin":null})")}},
                  "pin: null\n");
}

TEST(CtlSettings, AreChanged)
{
    const Exchange exchange = {"07 08 40 03 00 08 08 00 'language' 02 00 'fr' 02 00",
                               text_reply("08 40", R"({"name":"language","value":"fr"})")};
    expect_script({"settings", "language", "fr"}, {exchange}, "name: language\nvalue: fr\n");
    expect_script({"settings", "language", "fr", "--json"}, {exchange},
                  "{\"setting\":{\"name\":\"language\",\"value\":\"fr\"}}\n");
}

TEST(CtlSettings, AreNotChangedWhenTheTelevisionSaysSo)
{
    const std::string request = "07 08 40 03 00 08 01 00 'a' 01 00 'b' 02 00";
    expect_script_failure({"settings", "a", "b"}, {{request, "06 01 08 40"}}, 7,
                          "the television answered that it failed: its setting a");
    expect_script_failure({"settings", "a", "b"}, {{request, "08 08 40 00"}}, 6,
                          " answered with a value of the wrong kind");
    expect_script_failure({"settings", "a", "b"}, {{request, "06 01 08 40 02 01"}}, 6,
                          " answered with a value of the wrong kind");
}

TEST(CtlSettings, AreCounted)
{
    expect_script({"settings", "--count"},
                  {{"05 01 0A 40 01 00 08 00 00", "06 01 0A 40 06 40 00 00 00"}}, "count: 64\n");
    expect_script({"settings", "la", "--count", "--json"},
                  {{"05 01 0A 40 01 00 08 02 00 'la'", "06 01 0A 40 06 01 00 00 00"}},
                  "{\"count\":1}\n");
}

void expect_state_text(const std::string &answer, const std::string &out)
{
    expect_script({"state", "--all"}, {{"05 01 15 40 01 00 08 00 00", text_reply("15 40", answer)}},
                  out);
}

TEST(CtlSettings, AreWhateverTheTelevisionWrites)
{
    expect_state_text(R"([{"a":1,"b":"ü"},{"a":22,"c_d":[1]}])", " A  B  C D\n"
                                                                 " 1  ü\n"
                                                                 "22     [1]\n");
    expect_state_text(R"(["x",2])", "x\n2\n");
    expect_state_text("[]", "");
    expect_state_text("\"two\\nlines\"", "two\\x0alines\n");
    expect_state_text("not json", "state: not json\n");
    expect_state_text("", "state: \n");
    expect_state_text(R"({"a_b":{"b":[1,2]}})", "a b: {\"b\":[1,2]}\n");
}

TEST(CtlSettings, AreNotFollowedDeeperThanAnybodyMeans)
{
    const std::string deep = std::string(30000, '[') + std::string(30000, ']');
    expect_state_text(deep, "state: " + deep + "\n");
    const std::string allowed = std::string(16, '[') + std::string(16, ']');
    expect_state_text(allowed, allowed.substr(1, 30) + "\n");
    expect_state_text(std::string(40000, '['), "state: " + std::string(40000, '[') + "\n");
}

const std::vector<Exchange> state_exchanges = {
    {"05 01 01 00 00", "06 01 01 00 02 01"},          {"05 01 05 01 00", "06 01 05 01 02 00"},
    {"05 01 0E 01 01 02 00", "06 01 0E 01 02 19"},    {"05 01 0E 01 01 02 01", "06 01 0E 01 02 02"},
    {"05 01 05 20 00", "06 01 05 20 06 03 00 00 00"},
};

TEST(CtlState, IsAskedForOneValueAtATime)
{
    expect_script({"state"}, state_exchanges,
                  "on: yes\nmuted: no\nvolume: 25\npicture mode: 2\nchannel: 3\n");
    expect_script({"state", "--json"}, state_exchanges,
                  "{\"on\":true,\"muted\":false,\"volume\":25,\"picture_mode\":2,"
                  "\"channel\":3}\n");
}

TEST(CtlState, HasPlaceAndVersion)
{
    expect_script({"place"}, {{"05 01 02 40 01 00", text_reply("02 40", "Basel")}},
                  "place: Basel\n");
    expect_script({"version", "--json"}, {{"05 01 24 40 01 00", text_reply("24 40", "1.2")}},
                  "{\"version\":\"1.2\"}\n");
    expect_script({"version", "--all"},
                  {{"05 01 0C 40 01 00 08 00 00", text_reply("0C 40", R"({"os":"5.1"})")}},
                  "os: 5.1\n");
    expect_script_failure({"place"}, {{"05 01 02 40 01 00", "06 01 02 40"}}, 7,
                          "the television answered that it failed: its place");
}

TEST(CtlState, HasApplications)
{
    const Exchange exchange = {
        "05 01 01 40 01 06 00 00 00 00",
        text_reply("01 40", R"([{"name":"Weather","package":"app.weather","version":"2.1"},)"
                            R"({"name":"Zürich","package":"app.z","version":"1"}])")};
    expect_script({"apps"}, {exchange},
                  "NAME     PACKAGE      VERSION\n"
                  "Weather  app.weather  2.1\n"
                  "Zürich   app.z        1\n");
    expect_script({"apps", "--json"}, {exchange},
                  "{\"applications\":["
                  "{\"name\":\"Weather\",\"package\":\"app.weather\",\"version\":\"2.1\"},"
                  "{\"name\":\"Zürich\",\"package\":\"app.z\",\"version\":\"1\"}]}\n");
}

TEST(CtlState, HasMetadata)
{
    const std::string reply = text_reply("03 40", R"({"title":"Café","year":1999})");
    expect_script({"metadata"}, {{"05 01 03 40 03 02 00 08 00 00 00 00", reply}},
                  "title: Café\nyear: 1999\n");
    expect_script({"metadata", "Café", "--film", "--json"},
                  {{"05 01 03 40 03 02 01 08 05 00 'Caf' C3 A9 00 00", reply}},
                  "{\"metadata\":{\"title\":\"Café\",\"year\":1999}}\n");
}

const std::string voice_request = "05 01 1F 40 01 08 09 00 'channel 3'";
const Exchange name_exchange = {"05 01 01 0B 00", text_reply("01 0B", "TV")};

TEST(CtlVoice, IsUnderstoodUnlessTheTelevisionSaysOtherwise)
{
    expect_script({"voice", "channel 3"}, {{voice_request, ""}, name_exchange},
                  "voice: understood\n");
    expect_script_failure({"voice", "channel 3"}, {{voice_request, "06 01 1F 40"}, name_exchange},
                          7, "the television answered that it failed: \"channel 3\"");
    expect_script_failure({"voice", "channel 3", "--timeout", "0.1"},
                          {{voice_request, ""}, {name_exchange.request, ""}}, 5,
                          " did not answer within 0.1 s when asked for what was said");
}

TEST(CtlVoice, SurvivesWhatIsPushedMeanwhile)
{
    const Exchange pushed = {voice_request, list_reply("01 20", "A3", "01 00", bytes("AA"))};
    expect_script({"voice", "channel 3", "--json"}, {pushed, name_exchange},
                  "{\"voice\":\"understood\"}\n");
}

} // namespace
