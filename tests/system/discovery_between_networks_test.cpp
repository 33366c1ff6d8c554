/* A television on one machine, phones on others: each has a network of its own, with cables between
 * them. */
#include "support/datagrams.h"
#include "support/network.h"
#include "support/program.h"
#include "support/wait_until.h"

#include <gtest/gtest.h>

#include <csignal>

#include <poll.h>

namespace
{

const char *const SEARCH = "A5 A5 08 00 41 49 49 50";
const char *const SEARCH_GROUP = "239.200.201.202";
const char *const ANNOUNCEMENT_GROUP = "239.201.202.203";

/* magic, length 12, 10.77.0.1, port 8801, device type 0x1234 */
const char *const ANSWER = "A5 A5 0C 00 0A 4D 00 01 61 22 34 12";

class DiscoveryBetweenNetworks : public testing::Test
{
protected:
    void SetUp() override
    {
        if (!television.made() || !phone.made()) {
            GTEST_SKIP() << "this system allows no networks of one's own";
        }
        television.link("tv0", phone, "phone0");
        bring_up(phone, "phone0", "10.77.0.2/24");
        phone.ip("route add 224.0.0.0/4 dev phone0");
    }

    static void bring_up(const Network &network, const std::string &interface,
                         const std::string &address)
    {
        network.ip("link set lo up");
        network.ip("addr add " + address + " dev " + interface);
        network.ip("link set " + interface + " up");
    }

    void bring_television_up() const
    {
        bring_up(television, "tv0", "10.77.0.1/24");
        television.ip("route add default via 10.77.0.2");
    }

    /* The program is there once it says who it is; the membership comes with its own threads. */
    std::unique_ptr<Program> start_television() const
    {
        auto program = std::make_unique<Program>(
            TVLINK_SIM_PATH, std::vector<std::string>{"--device-type", "4660", "--diagnostics"},
            &television);
        EXPECT_TRUE(program->wait_for("television \"tvlink-sim\"")) << program->err();
        return program;
    }

    static void wait_for_membership(const Program &program)
    {
        ASSERT_TRUE(wait_until([&] {
            return program.err().find(" IP_ADD_MEMBERSHIP g_thread_run 1  \n") != std::string::npos;
        })) << program.err();
    }

    Finished ctl(const std::vector<std::string> &arguments) const
    {
        return run_program(TVLINK_CTL_PATH, arguments, &phone);
    }

    Network television;
    Network phone;
};

TEST_F(DiscoveryBetweenNetworks, ASearchIsAnsweredWithTheTelevisionsAddress)
{
    bring_television_up();
    const auto program = start_television();
    wait_for_membership(*program);
    phone.run([] {
        const Descriptor ear = datagram_socket(9988);
        const Descriptor searcher = datagram_socket();
        ASSERT_TRUE(send_datagram(searcher.get(), bytes(SEARCH), SEARCH_GROUP, 12426));
        const std::optional<Datagram> answer = receive_datagram(ear.get());
        ASSERT_TRUE(answer.has_value());
        EXPECT_EQ(answer->data, ANSWER);
        EXPECT_EQ(answer->from, "10.77.0.1");
        EXPECT_EQ(answer->from_port, 12426);
    });
    EXPECT_NE(program->err().find("UDP:recv from Control Point:ip=10.77.0.2,recv_len=8\n"
                                  "check_search_packet true 10.77.0.2\n"
                                  "response_cp_search 10.77.0.2 \n"),
              std::string::npos)
        << program->err();
}

TEST_F(DiscoveryBetweenNetworks, AnAnnouncementIsHeard)
{
    bring_television_up();
    Descriptor ear;
    phone.run([&] {
        ear = datagram_socket(9988);
        ASSERT_TRUE(join_group(ear.get(), ANNOUNCEMENT_GROUP, "10.77.0.2"));
    });
    const auto program = start_television();
    for (int i = 0; i < 2; i++) {
        const std::optional<Datagram> announcement = receive_datagram(ear.get());
        ASSERT_TRUE(announcement.has_value());
        EXPECT_EQ(announcement->data, ANSWER);
        EXPECT_EQ(announcement->from, "10.77.0.1");
        EXPECT_NE(announcement->from_port, 12426);
    }
}

TEST_F(DiscoveryBetweenNetworks, AControlPointFindsTheTelevisionAndTalksToIt)
{
    bring_television_up();
    const auto program = start_television();
    wait_for_membership(*program);
    const Finished list = ctl({"discover", "--timeout", "1.5"});
    EXPECT_EQ(list.status, 0) << list.err;
    EXPECT_EQ(list.out, "television at 10.77.0.1:8801, device type 4660\n");
    const Finished json = ctl({"discover", "--timeout", "1.5", "--json"});
    EXPECT_EQ(json.status, 0) << json.err;
    EXPECT_EQ(json.out, "{\"address\":\"10.77.0.1\",\"port\":8801,\"device_type\":4660,"
                        "\"told_address\":\"10.77.0.1\",\"source\":\"10.77.0.1\"}\n");
    const Finished name = ctl({"name"});
    EXPECT_EQ(name.status, 0) << name.err;
    EXPECT_EQ(name.out, "name: tvlink-sim\n");
}

TEST_F(DiscoveryBetweenNetworks, ATelevisionThatStartsBeforeItsNetworkIsFoundOnceThatIsUp)
{
    const auto program = start_television();
    bring_television_up();
    const auto begin = std::chrono::steady_clock::now();
    phone.run([] {
        const Descriptor ear = datagram_socket(9988);
        const auto answered = [&] {
            EXPECT_TRUE(send_datagram(ear.get(), bytes(SEARCH), SEARCH_GROUP, 12426));
            pollfd entry = {ear.get(), POLLIN, 0};
            return poll(&entry, 1, 500) > 0;
        };
        ASSERT_TRUE(wait_until(answered));
        EXPECT_EQ(received(ear.get()), ANSWER);
    });
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(15));
    EXPECT_NE(program->err().find("No such device IP_ADD_MEMBERSHIP g_thread_run 1  \n"),
              std::string::npos)
        << program->err();
}

TEST_F(DiscoveryBetweenNetworks, ATelevisionWithTwoInterfacesTellsTheAddressOfTheFirst)
{
    const Network second_phone;
    ASSERT_TRUE(second_phone.made());
    bring_television_up();
    television.link("tv1", second_phone, "phone1");
    bring_up(television, "tv1", "10.78.0.1/24");
    bring_up(second_phone, "phone1", "10.78.0.2/24");
    const auto program = start_television();
    wait_for_membership(*program);
    second_phone.run([] {
        const Descriptor ear = datagram_socket(9988);
        ASSERT_TRUE(send_datagram(ear.get(), bytes(SEARCH), "10.78.0.1", 12426));
        const std::optional<Datagram> answer = receive_datagram(ear.get());
        ASSERT_TRUE(answer.has_value());
        EXPECT_EQ(answer->data, ANSWER);
        EXPECT_EQ(answer->from, "10.78.0.1");
    });
    const Finished list = ctl({"discover", "--timeout", "1.5"});
    EXPECT_EQ(list.out, "television at 10.77.0.1:8801, device type 4660\n");
}

TEST_F(DiscoveryBetweenNetworks, ATelevisionThatHasStoppedIsNotFound)
{
    bring_television_up();
    const auto program = start_television();
    wait_for_membership(*program);
    program->signal(SIGTERM);
    ASSERT_EQ(program->wait_for_exit(), 0);
    const Finished list = ctl({"discover", "--timeout", "1"});
    EXPECT_EQ(list.status, 3);
    EXPECT_EQ(list.out, "");
    EXPECT_EQ(first_line(list.err), "tvlink-ctl: no television answered the search within 1 s");
}

} // namespace
