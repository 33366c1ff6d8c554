/* SPDX-License-Identifier: MIT */
/* The state that tvlink-sim --state keeps across restarts. */
#include "system/sim_phone.h"

#include <csignal>

#include <sys/stat.h>

namespace
{

/* A path at which there is no file; what is made there goes at the end. */
class StatePath
{
public:
    StatePath()
    {
        char name[] = "/tmp/tvlink-state-XXXXXX";
        EXPECT_NE(mkdtemp(name), nullptr);
        folder_ = name;
    }
    ~StatePath()
    {
        for (const char *name : {"/state", "/state.broken", "/state.new"}) {
            unlink((folder_ + name).c_str());
        }
        rmdir(folder_.c_str());
    }
    StatePath(const StatePath &) = delete;
    StatePath &operator=(const StatePath &) = delete;

    std::string path(const std::string &ending = "") const
    {
        return folder_ + "/state" + ending;
    }

    std::string content(const std::string &ending = "") const
    {
        std::ifstream file(path(ending), std::ios::binary);
        std::stringstream content;
        content << file.rdbuf();
        return content.str();
    }

private:
    std::string folder_;
};

void stop(Program &sim)
{
    sim.signal(SIGTERM);
    EXPECT_EQ(sim.wait_for_exit(), 0) << sim.err();
}

TEST(SimState, GoesOnWhereItStopped)
{
    const StatePath file;
    const auto first = start_sim({"--state", file.path()});
    ASSERT_NE(first, nullptr);
    for (const Words &command : {Words{"channel", "+2"}, Words{"volume", "+5"},
                                 Words{"text", "set", "Good evening", "label"}}) {
        EXPECT_EQ(local_ctl(command).status, 0);
    }
    stop(*first);
    EXPECT_EQ(first->err(), "");
    const auto second = start_sim({"--state", file.path()});
    ASSERT_NE(second, nullptr);
    expect_output({"text", "get"}, "text: Good evening\n");
    stop(*second);
    EXPECT_EQ(timed_lines(second->out()).back(),
              "stopped: on, channel 3 (Films), volume 25, picture standard, text \"Good evening\", "
              "no phone paired, player stopped");
}

/* A television that is killed has kept all that it had time to write. */
TEST(SimState, IsKeptWithoutAnOrderlyEnd)
{
    const StatePath file;
    {
        const auto sim = start_sim({"--state", file.path()});
        ASSERT_NE(sim, nullptr);
        EXPECT_EQ(local_ctl({"volume", "+5"}).status, 0);
        EXPECT_TRUE(
            wait_until([&] { return file.content().find("\"volume\":25") != std::string::npos; }));
        sim->signal(SIGKILL);
        EXPECT_EQ(sim->wait_for_exit(), 1000 + SIGKILL);
    }
    struct stat status = {};
    ASSERT_EQ(stat(file.path().c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777u, 0600u);
    const auto sim = start_sim({"--state", file.path()});
    ASSERT_NE(sim, nullptr);
    expect_output({"volume", "+1"}, "result: 0\n");
    EXPECT_TRUE(wait_for_calls(*sim, "volume +1 -> 26\n")) << sim->out();
}

TEST(SimState, GivesWayToANameThatIsGiven)
{
    const StatePath file;
    stop(*start_sim({"--state", file.path(), "--name", "Kitchen"}));
    const auto kept = start_sim({"--state", file.path()});
    ASSERT_NE(kept, nullptr);
    expect_output({"name"}, "name: Kitchen\n");
    stop(*kept);
    const auto given = start_sim({"--state", file.path(), "--name", "Garden"});
    ASSERT_NE(given, nullptr);
    expect_output({"name"}, "name: Garden\n");
}

TEST(SimState, SetsABrokenFileAsideAndSaysSo)
{
    const StatePath file;
    std::ofstream(file.path()) << "no state";
    const auto sim = start_sim({"--state", file.path(), "--json"});
    ASSERT_NE(sim, nullptr);
    EXPECT_EQ(file.content(".broken"), "no state");
    EXPECT_EQ(sim->err().find("tvlink-sim: " + file.path() + ": "), 0u) << sim->err();
    EXPECT_NE(sim->err().find("; kept aside as " + file.path(".broken") + "\n"), std::string::npos)
        << sim->err();
    EXPECT_EQ(sim->out().find("{\"kind\":\"failure\",\"reason\":\"" + file.path() + ": "), 0u)
        << sim->out();
    EXPECT_TRUE(
        wait_until([&] { return file.content().find("\"volume\":20") != std::string::npos; }));
}

TEST(SimState, SaysWhenItCannotBeKept)
{
    const std::string path = "/nowhere/state";
    const auto sim = start_sim({"--state", path, "--json"});
    ASSERT_NE(sim, nullptr);
    EXPECT_TRUE(wait_for_json(*sim, "{\"failure\":\"No such file or directory\",\"file\":\"" +
                                        path + "\",\"kind\":\"state\",\"time\":\"T\"}"))
        << sim->out();
    EXPECT_EQ(first_line(sim->err()),
              "tvlink-sim: state in /nowhere/state is not kept: No such file or directory");
}

TEST(SimState, DoesNotStartWhenItCannotBeRead)
{
    const Finished result = run_program(TVLINK_SIM_PATH, {"--state", "/proc/self"});
    expect_failure(result, 3, "", "tvlink-sim: /proc/self: Is a directory");
}

} // namespace
