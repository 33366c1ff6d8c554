/* SPDX-License-Identifier: MIT */
/* A television on one machine, phones on others: each has a network of its own, with cables between
 * them. */
#include "support/datagrams.h"
#include "support/long_form.h"
#include "support/network.h"
#include "support/program.h"
#include "support/service_facts.h"
#include "support/wait_until.h"

#include <gtest/gtest.h>

#include <csignal>
#include <cstring>
#include <filesystem>

#include <net/if.h>
#include <poll.h>
#include <sys/ioctl.h>

namespace
{

const char *const SEARCH = "A5 A5 08 00 41 49 49 50";

/* magic, length 12, 10.77.0.1, port 8801, device type 0x1234 */
const char *const ANSWER = "A5 A5 0C 00 0A 4D 00 01 61 22 34 12";

/* Lines of other threads may stand between. */
void expect_in_order(const std::string &text, const std::vector<std::string> &lines)
{
    size_t at = 0;
    for (const std::string &line : lines) {
        at = text.find(line, at);
        ASSERT_NE(at, std::string::npos) << line << "is missing in\n" << text;
        at += line.size();
    }
}

bool is_running(const Descriptor &socket, const std::string &interface)
{
    ifreq request = {};
    std::strncpy(request.ifr_name, interface.c_str(), IFNAMSIZ - 1);
    return ioctl(socket.get(), SIOCGIFFLAGS, &request) == 0 &&
           (request.ifr_flags & IFF_RUNNING) != 0;
}

/* An interface that is up takes packets only once the system has noticed its cable; until then it
 * loses them. */
void wait_for_cable(const Network &network, const std::string &interface)
{
    network.run([&] {
        const Descriptor any = datagram_socket();
        ASSERT_TRUE(wait_until([&] { return is_running(any, interface); })) << interface;
    });
}

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
        wait_for_cable(television, "tv0");
        wait_for_cable(phone, "phone0");
    }

    /* The program is there once it says who it is; the membership comes with its own threads. */
    std::unique_ptr<Program> start_television() const
    {
        auto program = std::make_unique<Program>(
            TVLINK_SIM_PATH,
            std::vector<std::string>{"--name", "TV", "--device-type", "4660", "--diagnostics"},
            &television);
        EXPECT_TRUE(program->wait_for("television \"TV\"")) << program->err();
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
    expect_in_order(program->err(),
                    {"UDP:recv from Control Point:ip=10.77.0.2,recv_len=8\n",
                     "check_search_packet true 10.77.0.2\n", "response_cp_search 10.77.0.2 \n"});
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
    EXPECT_EQ(name.out, "name: TV\n");
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
    wait_for_cable(television, "tv1");
    wait_for_cable(second_phone, "phone1");
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

/* ---- Announcements over time: five of them, in the long form all eight and the end */

/* After the start, at the earliest: a pause may last longer, but never less. */
const std::vector<int> ANNOUNCED_MS = {0, 500, 1500, 3500, 7500, 15500, 31500, 63500};
const int ENDED_MS = 127500;

class AnnouncementSchedule : public DiscoveryBetweenNetworks
{
protected:
    /* A phone that listens, and then the television. */
    void start()
    {
        bring_television_up();
        phone.run([&] {
            ear = datagram_socket(9988);
            ASSERT_TRUE(join_group(ear.get(), ANNOUNCEMENT_GROUP, "10.77.0.2"));
        });
        started = std::chrono::steady_clock::now();
        program = start_television();
    }

    int milliseconds() const
    {
        const auto passed = std::chrono::steady_clock::now() - started;
        return static_cast<int>(
            std::chrono::duration_cast<std::chrono::milliseconds>(passed).count());
    }

    Datagram next_announcement() const
    {
        pollfd entry = {ear.get(), POLLIN, 0};
        EXPECT_TRUE(wait_until([&] { return poll(&entry, 1, 100) > 0; }, LONGEST_PAUSE + PATIENCE));
        return receive_datagram(ear.get()).value_or(Datagram{"nothing", "nobody", 0});
    }

    void expect_announcements(size_t count) const
    {
        uint16_t port = 0;
        for (size_t i = 0; i < count; i++) {
            const Datagram announcement = next_announcement();
            EXPECT_GE(milliseconds(), ANNOUNCED_MS[i]) << i;
            EXPECT_EQ(announcement.data, ANSWER);
            EXPECT_EQ(announcement.from, "10.77.0.1");
            EXPECT_TRUE(i == 0 || announcement.from_port == port) << "another socket";
            port = announcement.from_port;
        }
        EXPECT_TRUE(nothing_received(ear.get()));
    }

    size_t threads() const
    {
        const std::string path = "/proc/" + std::to_string(program->id()) + "/task";
        size_t count = 0;
        for (const auto &task : std::filesystem::directory_iterator(path)) {
            count += task.is_directory() ? 1 : 0;
        }
        return count;
    }

    void expect_end_of_the_thread() const
    {
        const size_t threads_before = threads();
        const auto ended = [&] {
            return program->err().find("zqt===  notify_cp_multicast 175\n"
                                       "zqt===  soc_close 351\n") != std::string::npos;
        };
        EXPECT_TRUE(wait_until(ended, LONGEST_PAUSE + PATIENCE)) << program->err();
        EXPECT_GE(milliseconds(), ENDED_MS);
        EXPECT_TRUE(wait_until([&] { return threads() == threads_before - 1; }));
        EXPECT_TRUE(nothing_received(ear.get()));
    }

    Descriptor ear;
    std::chrono::steady_clock::time_point started;
    std::unique_ptr<Program> program;
};

TEST_F(AnnouncementSchedule, IsKeptByATelevision)
{
    start();
    if (in_long_form()) {
        expect_announcements(ANNOUNCED_MS.size());
        expect_end_of_the_thread();
    } else {
        expect_announcements(5);
    }
}

} // namespace
