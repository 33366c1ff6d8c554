/* SPDX-License-Identifier: MIT */
/* What tvlink-sim keeps for its phones. */
#include "system/sim_phone.h"

namespace
{

class SimSettings : public SimAndPhone
{
};

std::string text_reply(const std::string &code, const std::string &text)
{
    return hex(joined({bytes("01 " + code + " 08"),
                       {static_cast<uint8_t>(text.size()), 0},
                       Bytes(text.begin(), text.end())}));
}

TEST_F(SimSettings, AreKeptAndAnsweredInJson)
{
    EXPECT_EQ(set(phone, "08 40 03 08 08 08 00 'language' 02 00 'fr' 02 00"),
              text_reply("08 40", "{\"name\":\"language\",\"value\":\"fr\"}"));
    EXPECT_EQ(set(phone, "08 40 03 08 08 08 00 'language' 00 00 02 00"),
              text_reply("08 40", "{\"name\":\"language\",\"value\":\"fr\"}"));
    EXPECT_EQ(get(phone, "01 0B 40 01 08 08 08 00 'language'"),
              text_reply("0B 40", "{\"language\":\"fr\"}"));
    EXPECT_EQ(get(phone, "01 0A 40 01 08 08 02 00 'la'"), "01 0A 40 06 01 00 00 00");
    EXPECT_EQ(get(phone, "01 0A 40 01 08 08 00 00"), "01 0A 40 06 04 00 00 00");
    EXPECT_TRUE(wait_for_calls(*sim, "setting \"language\" -> \"fr\"\n"
                                     "  event 0x7010 setting 0 \"language\"\n"
                                     "setting \"language\"?\n"))
        << sim->out();
}

TEST_F(SimSettings, AreNeverShownWhenTheyAreSecret)
{
    EXPECT_EQ(set(phone, "08 40 03 08 08 04 00 'wifi' 07 00 'hunter2' 02 01"),
              text_reply("08 40", "{\"name\":\"wifi\",\"value\":null}"));
    EXPECT_EQ(get(phone, "01 0B 40 01 08 08 00 00"),
              text_reply("0B 40", "{\"brightness\":\"50\",\"contrast\":\"50\",\"language\":\"en\","
                                  "\"sleep-timer\":\"off\",\"wifi\":null}"));
    EXPECT_TRUE(wait_for_calls(*sim, "setting \"wifi\" -> a secret of 7 bytes\n")) << sim->out();
    sim->signal(SIGTERM);
    EXPECT_EQ(sim->wait_for_exit(), 0);
    EXPECT_EQ((sim->out() + sim->err()).find("hunter2"), std::string::npos);
}

TEST_F(SimSettings, ComeWithVersionEchoAndState)
{
    EXPECT_EQ(get(phone, "01 0C 40 01 08 08 00 00"),
              text_reply("0C 40", "{\"name\":\"tvlink-sim\",\"version\":\"" TVLINK_VERSION "\"}"));
    EXPECT_EQ(get(phone, "01 0D 40 01 08 08 02 00 'hi'"), text_reply("0D 40", "hi"));
    const Bytes state = bytes(get(phone, "01 15 40 01 08 08 00 00"));
    ASSERT_GT(state.size(), 6u);
    EXPECT_EQ(std::string(state.begin() + 6, state.end()), call(phone, "state"));
    EXPECT_EQ(std::string(state.begin() + 6, state.begin() + 39),
              "{\"channel\":1,\"channel_name\":\"News");
    EXPECT_EQ(get(phone, "01 24 40 00"), text_reply("24 40", TVLINK_VERSION));
    EXPECT_EQ(get(phone, "01 02 40 00 00"), "01 02 40 08 00 00");
}

TEST_F(SimSettings, StandBesideTheApplications)
{
    EXPECT_EQ(get(phone, "01 01 40 01 06 00 00 00 00"),
              text_reply("01 40", "[{\"name\":\"Weather\",\"package\":\"app.weather\",\"version\":"
                                  "\"2.1\"},{\"name\":\"Radio\",\"package\":\"app.radio\","
                                  "\"version\":\"1.4.2\"},{\"name\":\"Photos\",\"package\":"
                                  "\"app.photos\",\"version\":\"3.0\"}]"));
}

TEST_F(SimSettings, KnowProgrammesAndFilmsByTitle)
{
    EXPECT_EQ(get(phone, "01 03 40 02 02 01 08 0E 00 'HARBOUR LIGHTS' 00 00"),
              text_reply("03 40",
                         "{\"address\":\"http://films.example/harbour-lights\",\"description\":"
                         "\"Two sisters inherit a ferry that nobody wants to take.\","
                         "\"duration\":6120,\"film\":2,\"title\":\"Harbour Lights\"}"));
    EXPECT_EQ(get(phone, "01 03 40 02 02 00 08 04 00 'none' 00 00"), "01 03 40");
    EXPECT_EQ(get(phone, "01 03 40 02 02 02 08 00 00 00 00"), "01 03 40");
    const Bytes present = bytes(get(phone, "01 03 40 02 02 00 08 00 00 00 00"));
    const std::string told(present.begin(), present.end());
    EXPECT_NE(told.find("\"channel\":1,\"channel_name\":\"News\""), std::string::npos) << told;
}

TEST_F(SimSettings, KeepVideoValuesByStringCall)
{
    EXPECT_EQ(call(phone, "vod"), "{}");
    EXPECT_EQ(call(phone, "vod rate 5"), "{\"rate\":5}");
    EXPECT_EQ(call(phone, "vod genre film noir"), "{\"genre\":\"film noir\"}");
    EXPECT_EQ(call(phone, "vod"), "{\"genre\":\"film noir\",\"rate\":5}");
    EXPECT_EQ(call(phone, "vod rate"), "{\"error\":\"vod NAME VALUE, or vod alone\"}");
    EXPECT_EQ(call(phone, "vod  5"), "{\"error\":\"the value was refused\"}");
    EXPECT_EQ(call(phone, "ping 1"), "{\"error\":\"unknown request, try help\"}");
    EXPECT_TRUE(
        wait_for_calls(*sim, "video value \"rate\" -> 5\n  event 0x700E video 1 \"rate\"\n"))
        << sim->out();
}

} // namespace
