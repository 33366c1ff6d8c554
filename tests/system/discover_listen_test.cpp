/* SPDX-License-Identifier: MIT */
/* What "tvlink-ctl discover --listen" hears from a television on another machine. */
#include "support/datagrams.h"
#include "support/network.h"
#include "support/program.h"
#include "support/service_facts.h"
#include "support/wait_until.h"

#include <gtest/gtest.h>

#include <csignal>
#include <cstdlib>

namespace
{

using Words = std::vector<std::string>;

class DiscoverListen : public testing::Test
{
protected:
    void SetUp() override
    {
        if (!television.made() || !phone.made()) {
            GTEST_SKIP() << "this system allows no networks of one's own";
        }
        television.link("tv0", phone, "phone0");
        television.ip("addr add 10.77.0.1/24 dev tv0");
        television.ip("link set tv0 up");
        television.ip("route add 224.0.0.0/4 dev tv0");
    }

    void bring_phone_up() const
    {
        phone.ip("addr add 10.77.0.2/24 dev phone0");
        phone.ip("link set phone0 up");
    }

    void wait_for_membership() const
    {
        phone.run(
            [] { ASSERT_TRUE(wait_until([] { return network_has_member(ANNOUNCEMENT_GROUP); })); });
    }

    std::unique_ptr<Program> start_listening(const Words &more = {}) const
    {
        Words words = {"discover", "--listen"};
        words.insert(words.end(), more.begin(), more.end());
        return std::make_unique<Program>(TVLINK_CTL_PATH, words, &phone);
    }

    /* As a television would, and without waiting for one to start. */
    void announce(const std::string &data) const
    {
        television.run([&] {
            const Descriptor fd = datagram_socket();
            ASSERT_TRUE(send_datagram(fd.get(), bytes(data), ANNOUNCEMENT_GROUP, 9988));
        });
    }

    Network television;
    Network phone;
};

TEST_F(DiscoverListen, ShowsAnnouncementsAsTheyArriveAlsoOfANetworkThatComesUpLater)
{
    const auto listening = start_listening();
    ASSERT_TRUE(wait_until([&] { return !listening->err().empty(); }));
    EXPECT_EQ(listening->err(), "tvlink-ctl: listening for announcements; Ctrl-C ends it\n");
    bring_phone_up();
    wait_for_membership();
    const Program sim(TVLINK_SIM_PATH, {"--device-type", "4660"}, &television);
    EXPECT_TRUE(listening->wait_for("\n", 2));
    listening->signal(SIGINT);
    EXPECT_EQ(listening->wait_for_exit(), 0);

    const std::string out = listening->out();
    const std::string line = " s  television at 10.77.0.1:8801, device type 4660\n";
    const std::string first = out.substr(0, out.find('\n') + 1);
    const std::string second = out.substr(first.size());
    ASSERT_EQ(first.size(), 8 + line.size());
    ASSERT_EQ(second.size(), 8 + line.size());
    EXPECT_EQ(first.substr(8), line);
    EXPECT_EQ(second.substr(8), line);
    EXPECT_LT(std::atof(first.c_str()), std::atof(second.c_str()));
}

TEST_F(DiscoverListen, ShowsObjectsWhenAsked)
{
    bring_phone_up();
    const auto listening = start_listening({"--json"});
    wait_for_membership();
    /* Joined does not yet mean that it has its port. */
    ASSERT_TRUE(wait_until([&] { return !listening->err().empty(); }));
    announce("A5 A5 0C 00 00 00 00 00 61 22 34 12");
    EXPECT_TRUE(listening->wait_for("\n"));
    listening->signal(SIGTERM);
    EXPECT_EQ(listening->wait_for_exit(), 0);
    const std::string out = listening->out();
    EXPECT_EQ(out.find("{\"elapsed\":"), 0U) << out;
    EXPECT_EQ(out.substr(out.find(',')),
              ",\"address\":\"10.77.0.1\",\"port\":8801,\"device_type\":4660,"
              "\"told_address\":\"0.0.0.0\",\"source\":\"10.77.0.1\"}\n");
}

TEST_F(DiscoverListen, EndsWithStatusThreeWhenNothingIsHeardInTime)
{
    bring_phone_up();
    const Finished all =
        run_program(TVLINK_CTL_PATH, {"discover", "--listen", "--timeout", "0.05"}, &phone);
    EXPECT_EQ(all.status, 3);
    EXPECT_EQ(all.out, "");
    EXPECT_EQ(all.err, "tvlink-ctl: listening for announcements\n"
                       "tvlink-ctl: no television announced itself\n"
                       "tvlink-ctl: hint: a television does so for about a minute after its start; "
                       "\"tvlink-ctl discover\" asks those that have been running for longer\n");
}

TEST_F(DiscoverListen, EndsAtOnceWhenItCannotListen)
{
    bring_phone_up();
    Descriptor taken;
    phone.run([&] { taken = datagram_socket(9988); });
    const Finished port =
        run_program(TVLINK_CTL_PATH, {"discover", "--listen", "--timeout", "0.05"}, &phone);
    EXPECT_EQ(port.status, 1);
    EXPECT_EQ(first_line(port.err), "tvlink-ctl: cannot search the network: UDP port 9988 is taken "
                                    "by another program");
    const Finished host = run_program(
        TVLINK_CTL_PATH, {"discover", "--listen", "--host", "no-such-host.invalid"}, &phone);
    EXPECT_EQ(host.status, 3);
    EXPECT_EQ(host.err, "tvlink-ctl: no-such-host.invalid is unknown\n");
}

TEST_F(DiscoverListen, DoesNotSearchAsWell)
{
    const Finished both =
        run_program(TVLINK_CTL_PATH, {"discover", "--listen", "--announcements"}, &phone);
    EXPECT_EQ(both.status, 2);
    EXPECT_EQ(first_line(both.err), "tvlink-ctl: --announcements excludes --listen");
}

} // namespace
