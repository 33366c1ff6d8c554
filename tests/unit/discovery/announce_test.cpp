/* SPDX-License-Identifier: MIT */
#include "discovery/announce.h"

#include "base/flags.h"
#include "support/captured_lines.h"
#include "support/datagrams.h"
#include "support/own_network.h"
#include "support/service_facts.h"
#include "support/system_calls.h"
#include "support/taken_time.h"
#include "tvlink/flags.h"
#include "unit/discovery/discovery_steps.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstdlib>
#include <optional>

#include <sys/socket.h>
#include <unistd.h>

namespace
{

/* magic, length 12, 10.20.30.40, port 8801, device type 0x0102 */
const char *const PACKET = "A5 A5 0C 00 0A 14 1E 28 61 22 02 01";

const std::vector<uint64_t> ALL_PAUSES = {500000,  1000000,  2000000,  4000000,
                                          8000000, 16000000, 32000000, 64000000};

using Lines = std::vector<std::string>;

Lines begin_of_cycle(int running)
{
    return {"zqt===  notify_cp_multicast 149\n",
            "zqt===  notify_cp_multicast 158  " + std::to_string(running) + "  1\n"};
}

Lines rounds(int count)
{
    Lines lines;
    for (int i = 0; i < count; i++) {
        lines += Lines{"zqt===  notify_cp_multicast 160\n", "groupcast notfit 9988 \n"};
    }
    return lines;
}

Lines end_of_announcing()
{
    return {"zqt===  notify_cp_multicast 175\n", "zqt===  soc_close 351\n"};
}

/* The number that the next descriptor of this process will have. */
int next_descriptor()
{
    const int number = dup(STDIN_FILENO);
    close(number);
    return number;
}

class Announcing : public testing::Test
{
protected:
    void SetUp() override
    {
        flags_start_run();
        flags_set_device_type(0x0102);
    }

    void TearDown() override
    {
        flags_stop_running();
        flags_set_device_type(0);
    }

    /* Runs the body beside a phone that listens for announcements. */
    void with_phone(const std::function<void()> &body)
    {
        const std::vector<std::string> network = {"ip link set lo up",
                                                  "ip addr add 10.20.30.40/24 dev lo",
                                                  "ip route add 224.0.0.0/4 dev lo"};
        const auto with_listener = [&] {
            Descriptor listener = datagram_socket(9988);
            ASSERT_TRUE(join_group(listener.get(), ANNOUNCEMENT_GROUP, "127.0.0.1"));
            phone = listener.get();
            body();
        };
        if (!in_own_network(network, with_listener)) {
            GTEST_SKIP() << "this system allows no network of one's own";
        }
    }

    /* What the phone has heard up to now: a packet of the test's own marks the end. */
    std::vector<std::string> heard() const
    {
        const Descriptor marker = datagram_socket();
        EXPECT_TRUE(send_datagram(marker.get(), bytes("'end'"), "127.0.0.1", 9988));
        std::vector<std::string> packets;
        for (std::string packet = received(phone); packet != hex(bytes("'end'"));
             packet = received(phone)) {
            packets.push_back(packet);
            if (packets.size() > 20) {
                break;
            }
        }
        return packets;
    }

    int phone = -1;
    CapturedLines lines;
};

TEST_F(Announcing, SendsEightPacketsAndDoublesThePauseAfterEach)
{
    with_phone([&] {
        const TakenSleeps pauses;
        EXPECT_EQ(notify_cp_multicast(), 1);
        EXPECT_EQ(pauses.all(), ALL_PAUSES);
        EXPECT_EQ(heard(), std::vector<std::string>(8, PACKET));
        Lines expected = begin_of_cycle(1);
        expected += rounds(8);
        expected += end_of_announcing();
        EXPECT_EQ(lines.out(), expected);
    });
}

TEST_F(Announcing, SendsEachPacketBeforeItsPause)
{
    with_phone([&] {
        std::vector<size_t> packets_before_pause;
        const TakenSleeps pauses([&](uint64_t) { packets_before_pause.push_back(heard().size()); });
        notify_cp_multicast();
        EXPECT_EQ(packets_before_pause, std::vector<size_t>(8, 1));
    });
}

TEST_F(Announcing, UsesOneSocketForAllPacketsAndClosesIt)
{
    with_phone([&] {
        const int expected_descriptor = next_descriptor();
        const TakenSleeps pauses;
        notify_cp_multicast();
        EXPECT_EQ(next_descriptor(), expected_descriptor);
        const std::optional<Datagram> first = receive_datagram(phone);
        ASSERT_TRUE(first.has_value());
        for (int i = 1; i < 8; i++) {
            const std::optional<Datagram> next = receive_datagram(phone);
            ASSERT_TRUE(next.has_value());
            EXPECT_EQ(next->from_port, first->from_port);
        }
    });
}

TEST_F(Announcing, BuildsThePacketOnceWhenItStarts)
{
    with_phone([&] {
        const TakenSleeps pauses([](uint64_t microseconds) {
            if (microseconds == 500000) {
                flags_set_device_type(0x7777);
                EXPECT_EQ(std::system("ip addr del 10.20.30.40/24 dev lo"), 0);
                EXPECT_EQ(std::system("ip addr add 10.20.30.41/24 dev lo"), 0);
            }
        });
        notify_cp_multicast();
        EXPECT_EQ(heard(), std::vector<std::string>(8, PACKET));
    });
}

TEST_F(Announcing, EndsAtOnceWhenTheServiceDoesNotRun)
{
    flags_stop_running();
    with_phone([&] {
        const TakenSleeps pauses;
        EXPECT_EQ(notify_cp_multicast(), 1);
        EXPECT_TRUE(pauses.all().empty());
        EXPECT_TRUE(heard().empty());
        Lines expected = begin_of_cycle(0);
        expected += end_of_announcing();
        EXPECT_EQ(lines.out(), expected);
    });
}

TEST_F(Announcing, EndsAfterThePauseInWhichTheServiceStops)
{
    with_phone([&] {
        const TakenSleeps pauses([](uint64_t microseconds) {
            if (microseconds == 64000000) {
                flags_stop_running();
            }
        });
        EXPECT_EQ(notify_cp_multicast(), 1);
        EXPECT_EQ(pauses.all(), ALL_PAUSES);
        EXPECT_EQ(heard().size(), 8u);
        flags_start_run();
        lines.clear();
        const TakenSleeps fewer([](uint64_t) { flags_stop_running(); });
        EXPECT_EQ(notify_cp_multicast(), 1);
        EXPECT_EQ(heard().size(), 1u);
        Lines expected = begin_of_cycle(1);
        expected += rounds(1);
        expected += end_of_announcing();
        EXPECT_EQ(lines.out(), expected);
    });
}

TEST_F(Announcing, GoesOnWhileTheHostsFlagIsAnythingButZero)
{
    with_phone([&] {
        const std::vector<uint8_t> flags = {2, 3, 4, 8, 0x10, 0x7F, 0x80, 0xFF};
        size_t pause = 0;
        const TakenSleeps pauses([&](uint64_t) { g_thread_run = flags[pause++]; });
        g_thread_run = 200;
        EXPECT_EQ(notify_cp_multicast(), 1);
        EXPECT_EQ(lines.count("zqt===  notify_cp_multicast 158  200  1\n"), 1u);
        EXPECT_EQ(pauses.all(), ALL_PAUSES);
        EXPECT_EQ(heard(), std::vector<std::string>(8, PACKET));
    });
}

TEST_F(Announcing, OfAnEndedRunAnnouncesNothingIntoTheNextOne)
{
    const uintptr_t earlier = flags_run_number();
    flags_stop_running();
    flags_start_run();
    with_phone([&] {
        const TakenSleeps pauses;
        EXPECT_EQ(announcing_thread(reinterpret_cast<void *>(earlier)), nullptr);
        EXPECT_TRUE(pauses.all().empty());
        EXPECT_TRUE(heard().empty());
        Lines expected = begin_of_cycle(1);
        expected += end_of_announcing();
        EXPECT_EQ(lines.out(), expected);
    });
}

TEST_F(Announcing, NoticesInAPauseThatItsRunWasFollowedByAnother)
{
    with_phone([&] {
        const TakenSleeps pauses([](uint64_t) {
            flags_stop_running();
            flags_start_run();
        });
        const uintptr_t own = flags_run_number();
        EXPECT_EQ(announcing_thread(reinterpret_cast<void *>(own)), nullptr);
        EXPECT_EQ(pauses.all(), std::vector<uint64_t>{500000});
        EXPECT_EQ(heard().size(), 1u);
    });
}

TEST_F(Announcing, CalledByHandBelongsToThePresentRunWithAnyArgument)
{
    int argument = 0;
    for (void *given : {static_cast<void *>(nullptr), static_cast<void *>(&argument)}) {
        flags_start_run();
        with_phone([&] {
            const TakenSleeps pauses([](uint64_t) { flags_stop_running(); });
            EXPECT_EQ(udp_multicastthread(given), nullptr);
            EXPECT_EQ(heard(), std::vector<std::string>{PACKET});
        });
    }
}

TEST_F(Announcing, IgnoresABrokenPipeFromBeforeItsStart)
{
    with_phone([&] {
        const TakenSleeps pauses;
        errno = EPIPE;
        EXPECT_EQ(notify_cp_multicast(), 1);
        EXPECT_EQ(pauses.all(), ALL_PAUSES);
        EXPECT_EQ(heard().size(), 8u);
    });
}

TEST_F(Announcing, StartsOverWithAFreshSocketAfterABrokenPipe)
{
    with_phone([&] {
        const int socket_number = next_descriptor();
        int pause = 0;
        const TakenSleeps pauses([&](uint64_t) {
            if (++pause == 1) {
                shutdown(socket_number, SHUT_RDWR); /* the second packet meets a broken pipe */
            }
        });
        EXPECT_EQ(notify_cp_multicast(), 1);
        std::vector<uint64_t> expected_pauses = {500000, 1000000};
        expected_pauses.insert(expected_pauses.end(), ALL_PAUSES.begin(), ALL_PAUSES.end());
        EXPECT_EQ(pauses.all(), expected_pauses);
        EXPECT_EQ(heard(), std::vector<std::string>(9, PACKET));

        Lines expected = begin_of_cycle(1);
        expected += rounds(2);
        expected += Lines{"zqt===  notify_cp_multicast 160\n", "groupcast port VOTA8801 \n",
                          "zqt===  notify_cp_multicast 166\n", "zqt===  soc_close 351\n"};
        expected += begin_of_cycle(1);
        expected += rounds(8);
        expected += end_of_announcing();
        EXPECT_EQ(lines.out(), expected);
        EXPECT_EQ(next_descriptor(), socket_number) << "a socket was left open";
    });
}

TEST_F(Announcing, StartsOverThoughASignalEndsThePauseAfterABrokenPipe)
{
    with_phone([&] {
        const int socket_number = next_descriptor();
        int pauses = 0;
        const Replaced interrupted(system_usleep, [&](useconds_t) {
            if (++pauses == 1) {
                shutdown(socket_number, SHUT_RDWR);
            }
            errno = EINTR;
            return -1;
        });
        EXPECT_EQ(notify_cp_multicast(), 1);
        EXPECT_EQ(pauses, 10);
        EXPECT_EQ(lines.count("groupcast port VOTA8801 \n"), 1u);
    });
}

TEST_F(Announcing, KeepsToItsScheduleWithoutASocket)
{
    const TakenSleeps pauses;
    WatchedCall sockets(system_socket);
    sockets.fail(EMFILE, 1, 100);
    EXPECT_EQ(notify_cp_multicast(), -1);
    EXPECT_EQ(pauses.all(), ALL_PAUSES);
    Lines expected = begin_of_cycle(1);
    expected += rounds(8);
    expected += end_of_announcing();
    EXPECT_EQ(lines.out(), expected);
}

TEST_F(Announcing, KeepsToItsScheduleWithoutANetwork)
{
    const auto body = [&] {
        const TakenSleeps pauses;
        EXPECT_EQ(notify_cp_multicast(), 1);
        EXPECT_EQ(pauses.all(), ALL_PAUSES);
    };
    if (!in_own_network({}, body)) {
        GTEST_SKIP() << "this system allows no network of one's own";
    }
}

} // namespace
