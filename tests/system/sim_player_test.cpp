/* SPDX-License-Identifier: MIT */
/* tvlink-sim plays. */
#include "system/sim_phone.h"

namespace
{

class SimPlayer : public SimAndPhone
{
};

const std::string LIGHTS = "http://films.example/harbour-lights"; /* 35 bytes, 6,120 seconds */

std::string player_event(uint8_t state)
{
    return hex(joined({bytes("0B 70 04 03"),
                       {state, 0},
                       bytes("08 23 00 00 00"),
                       Bytes(LIGHTS.begin(), LIGHTS.end()),
                       bytes("0C 00 00 00 00")}));
}

TEST_F(SimPlayer, OpensPlaysPausesAndStops)
{
    EXPECT_EQ(get(phone, "01 01 15 00"), "01 01 15 02 00");
    EXPECT_EQ(set(phone, "07 15"), "07 15 FF"); /* nothing to play */
    EXPECT_EQ(set(phone, "05 15 08 23 00 '" + LIGHTS + "'"), "05 15 00");
    EXPECT_EQ(get(phone, "01 03 15 00"), "01 03 15 06 E8 17 00 00");
    EXPECT_EQ(set(phone, "07 15"), "07 15 00");
    EXPECT_EQ(get(phone, "01 01 15 00"), "01 01 15 02 01");
    EXPECT_EQ(set(phone, "08 15"), "08 15 00");
    EXPECT_EQ(get(phone, "01 01 15 00"), "01 01 15 02 02");
    EXPECT_EQ(set(phone, "02 15 05 E8 03 00 00"), "02 15 00");
    EXPECT_EQ(get(phone, "01 02 15 00"), "01 02 15 06 E8 03 00 00");
    EXPECT_EQ(set(phone, "02 15 05 E9 17 00 00"), "02 15 FF");
    EXPECT_EQ(set(phone, "02 15 05 FF FF FF FF"), "02 15 FF");
    EXPECT_EQ(set(phone, "09 15"), "09 15 00");
    EXPECT_EQ(get(phone, "01 02 15 00"), "01 02 15 06 00 00 00 00");
}

TEST_F(SimPlayer, TellsThePhonesOfEveryChangeAndOfTheEnd)
{
    const Phone watcher;
    EXPECT_EQ(hex(watcher.exchange_heartbeat()), hex(answer_heartbeat()));
    EXPECT_EQ(set(phone, "05 15 08 23 00 '" + LIGHTS + "'"), "05 15 00");
    EXPECT_EQ(next_event(watcher), player_event(0));
    EXPECT_EQ(set(phone, "07 15"), "07 15 00");
    EXPECT_EQ(next_event(watcher), player_event(1));
    EXPECT_EQ(set(phone, "02 15 05 E7 17 00 00"), "02 15 00"); /* a second before the end */
    EXPECT_EQ(next_event(watcher),
              hex(joined({bytes("0C 70 04 03 E7 17 08 23 00 00 00"),
                          Bytes(LIGHTS.begin(), LIGHTS.end()), bytes("0C 00 00 00 00")})));
    EXPECT_EQ(next_event(watcher), player_event(0));
    EXPECT_EQ(get(phone, "01 01 15 00"), "01 01 15 02 00");
    EXPECT_TRUE(wait_for_calls(*sim, "  event 0x700B player 0 \"" + LIGHTS + "\"\n", 2))
        << sim->out();
}

TEST_F(SimPlayer, TakesAnAddressWithATitleAndPlaysAtOnce)
{
    EXPECT_EQ(set(phone, "17 15 03 08 08 00 'http://a' 0C 04 00 00 00 'Film' 02 01"), "17 15 00");
    EXPECT_EQ(get(phone, "01 01 15 00"), "01 01 15 02 01");
    EXPECT_EQ(set(phone, "09 15"), "09 15 00");
    EXPECT_EQ(get(phone, "01 0F 20 00"),
              hex(joined({bytes("01 0F 20 A4 18 01 00 00 00 00 00 00 00 00 00 00 18 15 00 00"
                                "00 00 00 00 'Film'"),
                          Bytes(124), bytes("'http://a'"), Bytes(128)})));
    EXPECT_TRUE(wait_for_calls(*sim,
                               "stream \"http://a\": play -> playing at 0 s, 4 bytes of data, "
                               "option 1\n"))
        << sim->out();
}

TEST_F(SimPlayer, StartsAFilmByItsTitle)
{
    EXPECT_EQ(get(phone, "01 20 40 00 00 0E 00 00 00 03 00 'harbour lights120'"),
              "01 20 40 06 00 00 00 00");
    EXPECT_EQ(get(phone, "01 18 20 00"), "01 18 20 06 01 00 00 00");
    EXPECT_EQ(get(phone, "01 1E 40 00 08 00 00"), "01 1E 40 06 01 00 00 00");
    EXPECT_EQ(set(phone, "08 15"), "08 15 00");
    const Bytes record = bytes(get(phone, "01 21 40 00 00 00"));
    ASSERT_EQ(record.size(), 288u);
    EXPECT_EQ(hex(Bytes(record.begin(), record.begin() + 12)),
              "01 0F 20 A4 18 01 00 00 02 00 00 00");
    EXPECT_EQ(hex(Bytes(record.begin() + 16, record.begin() + 38)),
              hex(bytes("E8 17 00 00 02 00 00 00 'Harbour Lights'")));
    EXPECT_EQ(get(phone, "01 20 40 00 00 01 00 00 00 01 00 'xy'"), "01 20 40");
}

TEST_F(SimPlayer, HasAShelfOfFilms)
{
    EXPECT_EQ(get(phone, "01 10 20 00"), hex(bytes("01 10 20 0C 0C 00 00 00 18 15 00 00"
                                                   "E8 17 00 00 74 13 00 00")));
    EXPECT_EQ(get(phone, "01 0E 20 00 02 01"), hex(bytes("01 0E 20 08 0E 00 'Harbour Lights'")));
    EXPECT_EQ(get(phone, "01 0E 20 00 02 03"), "01 0E 20");
    EXPECT_EQ(get(phone, "01 1B 40 00 05 00 'MARCH'"),
              hex(joined({bytes("01 1B 40 0C 00 01 00 00 'A Day in March'"), Bytes(242)})));
    EXPECT_EQ(get(phone, "01 1C 40 00 00 05 00 'march'"), "01 1C 40 0C 04 00 00 00 74 13 00 00");
    EXPECT_EQ(get(phone, "01 18 40 00 02 00 08 05 00 'march'"),
              hex(bytes("01 18 40 08 0E 00 'A Day in March'")));
}

TEST_F(SimPlayer, ObeysAVoiceAndSaysWhenItDoesNot)
{
    const Phone watcher;
    EXPECT_EQ(hex(watcher.exchange_heartbeat()), hex(answer_heartbeat()));
    phone.send(wire_frame(GET, bytes("01 1F 40 00 08 09 00 'Channel 3'")));
    EXPECT_EQ(next_event(watcher),
              hex(bytes("01 70 04 03 03 00 08 05 00 00 00 'Films' 0C 00 00 00 00")));
    EXPECT_EQ(get(phone, "01 1F 40 00 08 05 00 'hello'"), "01 1F 40");
    EXPECT_EQ(get(phone, "01 05 20 00"), "01 05 20 06 03 00 00 00");
}

} // namespace
