/* SPDX-License-Identifier: MIT */
#include "discovery/membership.h"

#include "base/flags.h"
#include "discovery/discovery.h"
#include "discovery/discovery_socket.h"
#include "support/captured_lines.h"
#include "support/datagrams.h"
#include "support/emulator.h"
#include "support/libc_texts.h"
#include "support/own_network.h"
#include "support/process_state.h"
#include "support/service_facts.h"
#include "support/system_calls.h"
#include "support/taken_time.h"
#include "support/wait_until.h"
#include "tvlink/discovery.h"
#include "tvlink/flags.h"
#include "unit/discovery/discovery_steps.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstdlib>

#include <netinet/in.h>
#include <sys/socket.h>

namespace
{

const uint64_t SECOND = 1000000;

using Lines = std::vector<std::string>;

const std::vector<std::string> NO_INTERFACE = {};
const std::vector<std::string> LOOPBACK = {"ip link set lo up", "ip route add 224.0.0.0/4 dev lo"};

void bring_network_up()
{
    for (const std::string &command : LOOPBACK) {
        EXPECT_EQ(std::system(command.c_str()), 0);
    }
}

/* The discovery thread's whole life: it also closes a socket that was left open. The membership
 * thread that it starts finds that its run is over. */
void end_discovery_and_run_again()
{
    const TakenSleeps sleeps;
    flags_stop_running();
    EXPECT_EQ(udp_thread(nullptr), nullptr);
    flags_start_run();
}

class Membership : public testing::Test
{
protected:
    void SetUp() override
    {
        threads_before = thread_count();
        flags_start_run();
    }

    /* The threads that nobody joins must not reach into the next test. */
    void TearDown() override
    {
        flags_stop_running();
        EXPECT_TRUE(wait_until([&] { return thread_count() <= threads_before; }));
        g_udp_sock = -1;
    }

    /* Runs the body in a network of its own with the discovery socket open. */
    void with_socket(const std::vector<std::string> &network, const std::function<void()> &body)
    {
        const auto opened = [&] {
            open_discovery_socket();
            lines.clear();
            body();
            end_discovery_and_run_again();
        };
        if (!in_own_network(network, opened)) {
            GTEST_SKIP() << "this system allows no network of one's own";
        }
    }

    size_t threads_before = 0;
    CapturedLines lines;
};

TEST_F(Membership, LetsSearchesOfTheGroupArrive)
{
    if (EMULATED) {
        GTEST_SKIP() << "the emulator does not know the option IP_MULTICAST_ALL";
    }
    with_socket(LOOPBACK, [&] {
        const int off = 0;
        ASSERT_EQ(setsockopt(g_udp_sock, IPPROTO_IP, IP_MULTICAST_ALL, &off, sizeof off), 0);
        const Descriptor phone = datagram_socket();
        ASSERT_TRUE(send_datagram(phone.get(), bytes("'before'"), SEARCH_GROUP, 12426));
        EXPECT_EQ(udp_addgroupthread(nullptr), nullptr);
        ASSERT_TRUE(send_datagram(phone.get(), bytes("'after'"), SEARCH_GROUP, 12426));
        EXPECT_EQ(received(g_udp_sock), hex(bytes("'after'")));
    });
}

TEST_F(Membership, IsHadAtOnceWhenTheNetworkIsUp)
{
    with_socket(LOOPBACK, [&] {
        const TakenSleeps sleeps;
        errno = ENOENT; /* of before, and no reason to say so */
        udp_addgroupthread(nullptr);
        EXPECT_TRUE(network_has_member(SEARCH_GROUP));
        EXPECT_TRUE(sleeps.all().empty());
        EXPECT_EQ(lines.out(), Lines{JOINED});
    });
}

TEST_F(Membership, IsHadByAHostsThreadWithAnyArgument)
{
    with_socket(LOOPBACK, [&] {
        int argument = 0;
        EXPECT_EQ(udp_addgroupthread(&argument), nullptr);
        EXPECT_TRUE(network_has_member(SEARCH_GROUP));
    });
}

TEST_F(Membership, IsTriedForEverySecondUntilTheNetworkComesUp)
{
    with_socket(NO_INTERFACE, [&] {
        int tries = 0;
        const TakenSleeps sleeps([&](uint64_t) {
            EXPECT_FALSE(network_has_member(SEARCH_GROUP));
            if (++tries == 3) {
                bring_network_up();
            }
        });
        udp_addgroupthread(nullptr);
        EXPECT_TRUE(network_has_member(SEARCH_GROUP));
        EXPECT_EQ(sleeps.all(), std::vector<uint64_t>(3, SECOND));
        EXPECT_EQ(lines.out(), Lines{"No such device IP_ADD_MEMBERSHIP g_thread_run 1  \n"});
    });
}

TEST_F(Membership, IsTriedForWhileTheHostsFlagIsAnythingButZero)
{
    with_socket(NO_INTERFACE, [&] {
        const std::vector<uint8_t> flags = {2, 0x80, 0xFF};
        size_t tries = 0;
        const TakenSleeps sleeps([&](uint64_t) {
            if (tries < flags.size()) {
                g_thread_run = flags[tries++];
            } else {
                bring_network_up();
            }
        });
        udp_addgroupthread(nullptr);
        EXPECT_TRUE(network_has_member(SEARCH_GROUP));
        EXPECT_EQ(sleeps.all(), std::vector<uint64_t>(4, SECOND));
        EXPECT_EQ(lines.out(), Lines{"No such device IP_ADD_MEMBERSHIP g_thread_run 255  \n"});
    });
}

TEST_F(Membership, IsNoLongerTriedForWhenTheServiceStops)
{
    with_socket(NO_INTERFACE, [&] {
        const TakenSleeps sleeps([&](uint64_t) { flags_stop_running(); });
        udp_addgroupthread(nullptr);
        EXPECT_EQ(sleeps.all(), std::vector<uint64_t>{SECOND});
        EXPECT_EQ(lines.out(), Lines{"No such device IP_ADD_MEMBERSHIP g_thread_run 0  \n"});
    });
}

TEST_F(Membership, IsNotTriedForAtAllWhenTheServiceDoesNotRun)
{
    with_socket(LOOPBACK, [&] {
        flags_stop_running();
        udp_addgroupthread(nullptr);
        EXPECT_FALSE(network_has_member(SEARCH_GROUP));
        EXPECT_EQ(lines.out(), Lines{NO_ERROR + " IP_ADD_MEMBERSHIP g_thread_run 0  \n"});
    });
}

TEST_F(Membership, IsNotTriedForByAThreadOfAnEndedRun)
{
    with_socket(LOOPBACK, [&] {
        const uintptr_t earlier = flags_run_number();
        flags_stop_running();
        flags_start_run();
        membership_thread(reinterpret_cast<void *>(earlier));
        EXPECT_FALSE(network_has_member(SEARCH_GROUP));
    });
}

TEST_F(Membership, IsNoLongerTriedForWhenAnotherRunHasBegun)
{
    with_socket(NO_INTERFACE, [&] {
        const TakenSleeps sleeps([&](uint64_t) {
            flags_stop_running();
            flags_start_run();
            bring_network_up();
        });
        const uintptr_t own = flags_run_number();
        membership_thread(reinterpret_cast<void *>(own));
        EXPECT_EQ(sleeps.all().size(), 1u);
        EXPECT_FALSE(network_has_member(SEARCH_GROUP));
    });
}

TEST_F(Membership, IsNotGivenToAnotherSocketWithTheNumberOfTheClosedOne)
{
    const auto body = [&] {
        end_discovery_and_run_again();
        const Descriptor of_the_host = datagram_socket();
        ASSERT_EQ(of_the_host.get(), g_udp_sock) << "the number has not come back";
        EXPECT_FALSE(discovery_join_group(SEARCH_GROUP, flags_run_number()));
        EXPECT_EQ(errno, EBADF);
        const TakenSleeps sleeps([](uint64_t) { flags_stop_running(); });
        udp_addgroupthread(nullptr);
        EXPECT_FALSE(network_has_member(SEARCH_GROUP));
    };
    if (!in_own_network(LOOPBACK, body)) {
        GTEST_SKIP() << "this system allows no network of one's own";
    }
}

TEST_F(Membership, IsNotTakenByARunThatEndsAtThatMoment)
{
    with_socket(LOOPBACK, [&] {
        const uint32_t own = flags_run_number();
        flags_stop_running();
        EXPECT_FALSE(discovery_join_group(SEARCH_GROUP, own));
        flags_start_run();
        EXPECT_FALSE(discovery_join_group(SEARCH_GROUP, own));
        EXPECT_FALSE(network_has_member(SEARCH_GROUP));
    });
}

TEST_F(Membership, IsHadAgainByTheSocketOfTheNextRun)
{
    with_socket(LOOPBACK, [&] {
        end_discovery_and_run_again();
        open_discovery_socket();
        EXPECT_TRUE(discovery_join_group(SEARCH_GROUP, flags_run_number()));
        EXPECT_TRUE(network_has_member(SEARCH_GROUP));
    });
}

} // namespace
