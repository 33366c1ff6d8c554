/* SPDX-License-Identifier: MIT */
#include "voice.h"

#include <gtest/gtest.h>

#include "unit/sim/sample_television.h"

using namespace sim;

namespace
{

TEST(Voice, DoesWhatIsSaid)
{
    Television tv = sample_television();
    open_stream(tv, "http://a");
    const struct {
        const char *spoken;
        const char *words;
    } rows[] = {
        {"channel 3", "channel 3 -> 3 (Films)"},
        {"Channel UP", "channel +1 -> 4 (Music)"},
        {"channel down", "channel -1 -> 3 (Films)"},
        {"volume up", "volume +1 -> 21"},
        {"volume down", "volume -1 -> 20"},
        {"volume 35", "volume +15 -> 35"},
        {"volume 0", "volume -35 -> 0"},
        {"mute", "mute on"},
        {"sound on", "mute off"},
        {"play", "play -> playing at 0 s"},
        {"pause", "pause -> paused at 0 s"},
        {"stop", "stop -> stopped at 0 s"},
        {"power off", "power -> standby"},
        {"power on", "power -> on"},
    };
    for (const auto &row : rows) {
        const Outcome outcome = obey_voice(tv, row.spoken, 0);
        EXPECT_EQ(outcome.status, 0) << row.spoken;
        EXPECT_EQ(outcome.words, std::string("voice \"") + row.spoken + "\": " + row.words);
    }
    EXPECT_EQ(codes(obey_voice(tv, "channel 1", 0)), Codes{IPP_EVENT_CHANNEL});
}

TEST(Voice, FailsOnEverythingElse)
{
    Television tv = sample_television();
    for (const char *spoken : {"", "channel", "channel ", "channel three", "channel 3 ",
                               "channel -1", "channel 65536", "volume", "play now", "\x1b[2J"}) {
        const Outcome outcome = obey_voice(tv, spoken, 0);
        EXPECT_EQ(outcome.status, -1) << spoken;
        EXPECT_TRUE(outcome.events.empty()) << spoken;
    }
    EXPECT_EQ(obey_voice(tv, "sing\n", 0).words, "voice \"sing\\x0a\": not understood");
    EXPECT_EQ(obey_voice(tv, "channel 9", 0).words,
              "voice \"channel 9\": channel 9 refused: no such channel");
    set_power(tv, false);
    EXPECT_EQ(obey_voice(tv, "channel 2", 0).words,
              "voice \"channel 2\": channel 2 refused: in standby");
}

} // namespace
