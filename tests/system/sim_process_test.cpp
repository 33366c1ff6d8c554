/* SPDX-License-Identifier: MIT */
/* tvlink-sim as a program: how it starts, what it prints, how it ends. */
#include "system/sim_and_ctl.h"

#include "support/phone.h"

#include <algorithm>
#include <csignal>

namespace
{

using Clock = std::chrono::steady_clock;

const char *const LAST_STATE = "on, channel 1 (News), volume 20, picture standard, text \"\", no "
                               "phone paired, player stopped";

TEST(SimProcess, SaysWhoItIsAndHowItIsReached)
{
    const auto sim = start_sim({"--name", "TV", "--serial", "S"});
    ASSERT_NE(sim, nullptr);
    EXPECT_EQ(sim->out(),
              "television \"TV\", serial \"S\", device type 1\n"
              "  control points connect to 127.0.0.1 port 8801 (lo)\n"
              "  8 channels, 190 programmes\n"
              "  try: tvlink-ctl discover, or tvlink-ctl --host 127.0.0.1 info; Ctrl-C stops\n");
    EXPECT_EQ(sim->err(), "");
}

TEST(SimProcess, HasANameAndASerialNumberOfItsOwnThatStayTheSame)
{
    std::string first;
    for (int i = 0; i < 2; i++) {
        const auto sim = start_sim();
        ASSERT_NE(sim, nullptr);
        const std::string line = first_line(sim->out());
        EXPECT_TRUE(
            std::regex_match(line, std::regex("television \"tvlink-sim-[0-9a-f]{4}\", serial "
                                              "\"SIM-[0-9A-F]{8}\", device type 1")))
            << line;
        EXPECT_EQ(i == 0 ? line : first, line);
        first = line;
        sim->signal(SIGTERM);
        ASSERT_EQ(sim->wait_for_exit(), 0);
    }
}

TEST(SimProcess, EndsWithStatusZeroOnASignal)
{
    for (const int number : {SIGINT, SIGTERM}) {
        const auto sim = start_sim();
        ASSERT_NE(sim, nullptr);
        sim->signal(number);
        EXPECT_EQ(sim->wait_for_exit(), 0) << sim->err();
        EXPECT_EQ(timed_lines(sim->out()).back(), "stopped: " + std::string(LAST_STATE));
    }
}

TEST(SimProcess, EndsItsConnectionsWhenItStops)
{
    const auto sim = start_sim();
    ASSERT_NE(sim, nullptr);
    const Phone phone;
    EXPECT_EQ(hex(phone.exchange_heartbeat()), hex(answer_heartbeat()));
    sim->signal(SIGTERM);
    EXPECT_TRUE(phone.is_dropped());
    EXPECT_EQ(sim->wait_for_exit(), 0);
}

TEST(SimProcess, StartsAgainAtOnceWhereAnotherHasStopped)
{
    for (int i = 0; i < 3; i++) {
        const auto sim = start_sim();
        ASSERT_NE(sim, nullptr);
        const Phone phone;
        EXPECT_EQ(hex(phone.exchange_heartbeat()), hex(answer_heartbeat()));
        sim->signal(SIGTERM);
        ASSERT_EQ(sim->wait_for_exit(), 0);
    }
}

TEST(SimProcess, SaysThatItsPortIsTakenAndFails)
{
    const Descriptor holder = listening_on(8801);
    const Clock::time_point begin = Clock::now();
    Program sim(TVLINK_SIM_PATH, {});
    EXPECT_EQ(sim.wait_for_exit(std::chrono::seconds(10)), 1);
    EXPECT_LT(Clock::now() - begin, std::chrono::seconds(10));
    EXPECT_EQ(sim.out(), "");
    EXPECT_EQ(sim.err(), "tvlink-sim: port 8801 is taken by another program on this machine\n");
}

TEST(SimProcess, SaysSoInJsonWhenAnotherTelevisionHasThePort)
{
    const auto first = start_sim();
    ASSERT_NE(first, nullptr);
    Program second(TVLINK_SIM_PATH, {"--json"});
    EXPECT_EQ(second.wait_for_exit(std::chrono::seconds(10)), 1);
    EXPECT_EQ(with_one_time(second.out()),
              "{\"kind\":\"failure\",\"reason\":\"port 8801 is taken by another program on this "
              "machine\",\"time\":\"T\"}\n");
    EXPECT_EQ(second.err(), "tvlink-sim: port 8801 is taken by another program on this machine\n");
    const Phone phone; /* the first goes on */
    EXPECT_EQ(hex(phone.exchange_heartbeat()), hex(answer_heartbeat()));
}

TEST(SimProcess, EndsOnASignalWhileItWaitsForItsPort)
{
    const Descriptor holder = listening_on(8801);
    Program sim(TVLINK_SIM_PATH, {});
    sim.signal(SIGTERM);
    EXPECT_TRUE(sim.wait_for_exit(std::chrono::seconds(10)).has_value());
}

TEST(SimProcess, TakesNamesAsLongAsTheServiceKeepsThem)
{
    const auto sim =
        start_sim({"--name", std::string(255, 'n'), "--serial", std::string(255, 's')});
    ASSERT_NE(sim, nullptr);
    const Finished name = local_ctl({"name"});
    EXPECT_EQ(name.out, "name: " + std::string(255, 'n') + "\n");
    sim->signal(SIGTERM);
    EXPECT_EQ(sim->wait_for_exit(), 0);
    EXPECT_EQ(run_program(TVLINK_SIM_PATH, {"--name", std::string(256, 'n')}).status, 2);
}

TEST(SimProcess, RefusesOptionsThatItDoesNotKnow)
{
    for (const Words &arguments :
         {Words{"--loud"}, Words{"--device-type", "65536"}, Words{"--event-every", "0"}}) {
        const Finished result = run_program(TVLINK_SIM_PATH, arguments);
        EXPECT_EQ(result.status, 2);
        EXPECT_EQ(result.out, "");
        EXPECT_EQ(result.err.find("tvlink-sim: "), 0u) << result.err;
    }
}

TEST(SimProcess, ListsTheSlots)
{
    const Finished list = run_program(TVLINK_SIM_PATH, {"--slots"});
    EXPECT_EQ(list.status, 0);
    EXPECT_EQ(std::count(list.out.begin(), list.out.end(), '\n'), 87);
    for (const char *line : {
             "\n 5   get_tv_epg                  get 0x2000         guide\n",
             "\n27   set_tv_key                  set 0x0109         key\n",
             "\n29   set_tv_channel              set 0x0101-0x0102  channel up, down\n",
             "\n35   reserved_35                 never\n",
             "\n66   get_device_info             device information ",
         }) {
        EXPECT_NE(list.out.find(line), std::string::npos) << line << list.out;
    }
    EXPECT_EQ(list.out.find('*'), std::string::npos) << "the simulator fills every slot";
    EXPECT_EQ(list.err, "");
}

TEST(SimProcess, TellsItsVersionAndItsOptions)
{
    const Finished version = run_program(TVLINK_SIM_PATH, {"--version"});
    EXPECT_EQ(version.status, 0);
    EXPECT_EQ(version.out, "tvlink-sim " TVLINK_VERSION "\n");
    const Finished help = run_program(TVLINK_SIM_PATH, {"--help"});
    EXPECT_EQ(help.status, 0);
    for (const char *part : {"--name", "--serial", "--device-type", "--channels", "--guide FILE",
                             "--guide-starts-today", "--font", "--json", "--trace",
                             "--report-url URL", "0x700B  player", "0x7013  nickname",
                             "3  a channel list or a guide cannot be read, or is wrong"}) {
        EXPECT_NE(help.out.find(part), std::string::npos) << part;
    }
}

/* A tag that the operation does not have ends a plain host; this one refuses it and lives on. */
TEST(SimProcess, SurvivesARequestWithABadTag)
{
    const auto sim = start_sim({"--diagnostics"});
    ASSERT_NE(sim, nullptr);
    const Finished result = local_ctl({"raw", "set", "0x0101", "u16:3"});
    EXPECT_EQ(result.status, 7) << result.out << result.err;
    EXPECT_EQ(local_ctl({"channel", "+1"}).status, 0);
}

} // namespace
