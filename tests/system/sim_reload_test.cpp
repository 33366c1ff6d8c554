/* SPDX-License-Identifier: MIT */
/* tvlink-sim loads its files again while it runs. */
#include "support/temporary_file.h"
#include "system/sim_and_ctl.h"

#include <csignal>

namespace
{

const char *const GARDEN =
    "#EXTM3U\n#EXTINF:-1 tvg-chno=\"4\",Garden\nhttp://stream.example.org/4\n";
const char *const HARBOUR_AND_MEADOW =
    "#EXTM3U\n#EXTINF:-1 tvg-chno=\"7\",Harbour\nhttp://stream.example.org/7\n"
    "#EXTINF:-1 tvg-chno=\"9\",Meadow\nhttp://stream.example.org/9\n";

/* A phone that has been told of events so far. */
std::unique_ptr<Program> watcher()
{
    auto watch = std::make_unique<Program>(TVLINK_CTL_PATH, Words{"watch", "--host", "127.0.0.1"});
    EXPECT_TRUE(watch->wait_for("heartbeat")) << watch->err();
    return watch;
}

class SimReload : public testing::Test
{
protected:
    SimReload() : channels(GARDEN)
    {
    }

    /* In one step, as an editor does it. */
    void replace(const std::string &text) const
    {
        const TemporaryFile other(text);
        ASSERT_EQ(std::rename(other.path.c_str(), channels.path.c_str()), 0);
    }

    const TemporaryFile channels;
};

TEST_F(SimReload, HappensOnSighup)
{
    const auto sim = start_sim({"--channels", channels.path});
    ASSERT_NE(sim, nullptr);
    const auto watch = watcher();
    replace(HARBOUR_AND_MEADOW);
    sim->signal(SIGHUP);
    EXPECT_TRUE(watch->wait_for("event 0x7001 value 7 text \"Harbour\"\n")) << watch->out();
    EXPECT_NE(watch->out().find("event 0x7007 value 2 text \"\" data 07 00 09 00\n"),
              std::string::npos)
        << watch->out();
    EXPECT_NE(sim->out().find(" lists loaded again\n  2 channels, 0 programmes\n"),
              std::string::npos)
        << sim->out();
    sim->signal(SIGTERM);
    EXPECT_EQ(sim->wait_for_exit(), 0);
}

TEST_F(SimReload, HappensWhenAWatchedFileChanges)
{
    const auto sim = start_sim({"--channels", channels.path, "--watch-files"});
    ASSERT_NE(sim, nullptr);
    const auto watch = watcher();
    replace(HARBOUR_AND_MEADOW);
    EXPECT_TRUE(watch->wait_for("event 0x7001 value 7 text \"Harbour\"\n")) << watch->out();
}

TEST_F(SimReload, KeepsTheOldListsWhenTheNewFileIsBroken)
{
    const auto sim = start_sim({"--channels", channels.path, "--json"});
    ASSERT_NE(sim, nullptr);
    replace("");
    sim->signal(SIGHUP);
    EXPECT_TRUE(
        wait_until([&] { return sim->err().find("; the old lists stay\n") != std::string::npos; }));
    EXPECT_EQ(local_ctl({"channels"}).out,
              "NO  NAME    GROUP  GUIDE ID  ADDRESS\n"
              " 4  Garden                   http://stream.example.org/4\n");
}

TEST_F(SimReload, KeepsTheOldListsWhenTheFileIsGone)
{
    const auto sim = start_sim({"--channels", channels.path});
    ASSERT_NE(sim, nullptr);
    ASSERT_EQ(std::rename(channels.path.c_str(), (channels.path + ".away").c_str()), 0);
    sim->signal(SIGHUP);
    EXPECT_TRUE(wait_until([&] {
        return sim->err() ==
               "tvlink-sim: " + channels.path + ": No such file or directory; the old lists stay\n";
    })) << sim->err();
    ASSERT_EQ(std::rename((channels.path + ".away").c_str(), channels.path.c_str()), 0);
}

} // namespace
