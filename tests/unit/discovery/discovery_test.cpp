/* SPDX-License-Identifier: MIT */
#include "tvlink/discovery.h"

#include "base/flags.h"
#include "base/log.h"
#include "discovery/discovery.h"
#include "support/captured_lines.h"
#include "support/datagrams.h"
#include "support/libc_texts.h"
#include "support/own_network.h"
#include "support/process_state.h"
#include "support/service_facts.h"
#include "support/system_calls.h"
#include "support/taken_time.h"
#include "support/wait_until.h"
#include "tvlink.h"
#include "tvlink/flags.h"
#include "unit/discovery/discovery_steps.h"
#include "unit/discovery/search_steps.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <functional>
#include <set>
#include <thread>

#include <arpa/inet.h>
#include <fcntl.h>
#include <sys/socket.h>

namespace
{

using Clock = std::chrono::steady_clock;
using Lines = std::vector<std::string>;

const uint64_t SHORTEST_DELAY_US = 100000;

const std::vector<std::string> LOOPBACK_ALONE = {"ip link set lo up",
                                                 "ip route add 224.0.0.0/4 dev lo"};
const char *const DELAYED = "the answer is delayed\n";

/* The whole line of an answered search of 8 bytes. */
Lines answered(const std::string &phone = "127.0.0.1")
{
    return {receipt(8, phone), recognition(phone), DELAYED, response(phone)};
}

Bytes search_with(size_t place, uint8_t value)
{
    Bytes packet = bytes(SEARCH);
    packet[place] = value;
    return packet;
}

Bytes search_and(size_t more)
{
    Bytes packet = bytes(SEARCH);
    packet.resize(packet.size() + more, 0x5A);
    return packet;
}

sockaddr_in phone_at(const char *address)
{
    sockaddr_in phone = {};
    phone.sin_family = AF_INET;
    phone.sin_port = htons(4711);
    phone.sin_addr.s_addr = inet_addr(address);
    return phone;
}

/* The discovery thread at work. Its delays before an answer are taken away and stand in the log as
 * lines instead, except when `patient` is set. */
class Television
{
public:
    explicit Television(const CapturedLines &lines, bool patient = false)
    {
        thread_ = std::thread([this, patient] {
            std::optional<TakenSleeps> sleeps;
            if (!patient) {
                sleeps.emplace([this](uint64_t time) { take(time); });
            }
            result_ = udp_thread(nullptr);
        });
        EXPECT_TRUE(lines.wait_for(JOINED));
    }

    ~Television()
    {
        stop();
    }

    void *stop()
    {
        flags_stop_running();
        if (thread_.joinable()) {
            thread_.join();
        }
        return result_;
    }

    /* Runs on the discovery thread while the next answer is delayed. */
    void during_next_delay(std::function<void()> what)
    {
        errand_.set(std::move(what));
    }

private:
    void take(uint64_t microseconds)
    {
        if (microseconds < SHORTEST_DELAY_US) {
            return; /* between two looks at an empty socket */
        }
        log_out("%s", DELAYED);
        errand_.run();
    }

    std::thread thread_;
    void *result_ = nullptr;
    Errand errand_;
};

class Discovery : public SearchTest
{
protected:
    /* Runs the body beside a discovery thread and a phone that listens for answers. */
    void with_television(const std::vector<std::string> &network,
                         const std::function<void(Television &tv, int phone)> &body)
    {
        in_network(network, [&] {
            const Descriptor phone = datagram_socket(ANSWER_PORT);
            Television tv(lines);
            lines.clear();
            body(tv, phone.get());
        });
    }
};

TEST_F(Discovery, AnswersASearchWithAddressPortAndDeviceType)
{
    with_television(NETWORK, [&](Television &, int phone) {
        ASSERT_TRUE(send_datagram(phone, bytes(SEARCH), "127.0.0.1", SEARCH_PORT));
        const std::optional<Datagram> answer = receive_datagram(phone);
        ASSERT_TRUE(answer.has_value());
        EXPECT_EQ(answer->data, ANSWER);
        EXPECT_EQ(answer->from, "127.0.0.1");
        EXPECT_EQ(answer->from_port, SEARCH_PORT);
        EXPECT_EQ(lines.out(), answered());
        EXPECT_TRUE(lines.err().empty());
    });
}

TEST_F(Discovery, AnswersASearchThatWasSentToTheGroup)
{
    with_television(NETWORK, [&](Television &, int phone) {
        ASSERT_TRUE(send_datagram(phone, bytes(SEARCH), SEARCH_GROUP, SEARCH_PORT));
        EXPECT_EQ(received(phone), ANSWER);
    });
}

TEST_F(Discovery, AnswersWithAZeroAddressWithTheLoopbackInterfaceAlone)
{
    with_television(LOOPBACK_ALONE, [&](Television &, int phone) {
        ASSERT_TRUE(send_datagram(phone, bytes(SEARCH), "127.0.0.1", SEARCH_PORT));
        EXPECT_EQ(received(phone), "A5 A5 0C 00 00 00 00 00 61 22 34 12");
    });
}

TEST_F(Discovery, AnswersWithTheAddressOfTheMoment)
{
    with_television(LOOPBACK_ALONE, [&](Television &, int phone) {
        ASSERT_EQ(std::system("ip addr add 10.20.30.40/24 dev lo"), 0);
        ASSERT_TRUE(send_datagram(phone, bytes(SEARCH), "127.0.0.1", SEARCH_PORT));
        EXPECT_EQ(received(phone), ANSWER);
    });
}

TEST_F(Discovery, AnswersOnPort9988WhateverPortASearchComesFrom)
{
    with_television(NETWORK, [&](Television &, int phone) {
        const Descriptor searcher = datagram_socket();
        ASSERT_TRUE(send_datagram(searcher.get(), bytes(SEARCH), "127.0.0.1", SEARCH_PORT));
        EXPECT_EQ(received(phone), ANSWER);
        EXPECT_TRUE(nothing_received(searcher.get()));
    });
}

TEST_F(Discovery, IgnoresWhatFollowsASearch)
{
    with_television(NETWORK, [&](Television &, int phone) {
        Lines expected;
        for (const size_t more : {size_t{1}, size_t{4}, size_t{248}, size_t{300}}) {
            ASSERT_TRUE(send_datagram(phone, search_and(more), "127.0.0.1", SEARCH_PORT));
            EXPECT_EQ(received(phone), ANSWER) << more << " more bytes";
            const size_t taken = more == 300 ? 256 : 8 + more; /* longer ones arrive cut */
            expected += {receipt(taken), recognition(), DELAYED, response()};
        }
        EXPECT_EQ(lines.out(), expected);
    });
}

/* Each packet is followed by a search: its answer shows that the packet was dealt with, and that
 * nothing was sent for it. */
void expect_ignored(int phone, CapturedLines &lines, const Bytes &packet)
{
    lines.clear();
    ASSERT_TRUE(send_datagram(phone, packet, "127.0.0.1", SEARCH_PORT));
    ASSERT_TRUE(send_datagram(phone, bytes(SEARCH), "127.0.0.1", SEARCH_PORT));
    EXPECT_EQ(received(phone), ANSWER);
    Lines expected = {receipt(packet.size())};
    expected += answered();
    EXPECT_EQ(lines.out(), expected) << hex(packet);
    EXPECT_TRUE(nothing_received(phone)) << hex(packet);
}

TEST_F(Discovery, IgnoresAPacketThatIsShorterThanASearch)
{
    with_television(NETWORK, [&](Television &, int phone) {
        for (size_t size = 1; size < 8; size++) {
            Bytes packet = bytes(SEARCH);
            packet.resize(size);
            expect_ignored(phone, lines, packet);
        }
    });
}

TEST_F(Discovery, IgnoresASearchWithOneWrongByte)
{
    with_television(NETWORK, [&](Television &, int phone) {
        for (size_t place = 0; place < 8; place++) {
            const uint8_t right = bytes(SEARCH)[place];
            expect_ignored(phone, lines, search_with(place, static_cast<uint8_t>(right + 1)));
            expect_ignored(phone, lines, search_with(place, static_cast<uint8_t>(right - 1)));
        }
    });
}

TEST_F(Discovery, IgnoresASearchWithABigEndianLength)
{
    with_television(NETWORK, [&](Television &, int phone) {
        expect_ignored(phone, lines, bytes("A5 A5 00 08 41 49 49 50"));
    });
}

TEST_F(Discovery, TakesAnEmptyPacketForNone)
{
    with_television(NETWORK, [&](Television &, int phone) {
        ASSERT_TRUE(send_datagram(phone, {}, "127.0.0.1", SEARCH_PORT));
        ASSERT_TRUE(send_datagram(phone, bytes(SEARCH), "127.0.0.1", SEARCH_PORT));
        EXPECT_EQ(received(phone), ANSWER);
        EXPECT_EQ(lines.out(), answered());
    });
}

TEST_F(Discovery, AnswersTwoSearchesOneAfterTheOther)
{
    with_television(NETWORK, [&](Television &tv, int phone) {
        const Descriptor second = datagram_socket(0, "127.0.0.2");
        tv.during_next_delay([&] {
            ASSERT_TRUE(send_datagram(second.get(), bytes(SEARCH), "127.0.0.1", SEARCH_PORT));
        });
        ASSERT_TRUE(send_datagram(phone, bytes(SEARCH), "127.0.0.1", SEARCH_PORT));
        EXPECT_EQ(received(phone), ANSWER);
        EXPECT_EQ(received(phone), ANSWER);
        Lines expected = answered("127.0.0.1");
        expected += answered("127.0.0.2");
        EXPECT_EQ(lines.out(), expected);
    });
}

TEST_F(Discovery, AnswersNoSoonerThanATenthOfASecondAfterEachSearch)
{
    in_network(NETWORK, [&] {
        const Descriptor phone = datagram_socket(ANSWER_PORT);
        const Television tv(lines, true);
        const Clock::time_point begin = Clock::now();
        for (int i = 0; i < 2; i++) {
            ASSERT_TRUE(send_datagram(phone.get(), bytes(SEARCH), "127.0.0.1", SEARCH_PORT));
        }
        EXPECT_EQ(received(phone.get()), ANSWER);
        const Clock::duration first = Clock::now() - begin;
        EXPECT_GE(first, std::chrono::milliseconds(100));
        EXPECT_EQ(received(phone.get()), ANSWER);
        const Clock::duration second = Clock::now() - begin;
        EXPECT_GE(second, std::chrono::milliseconds(200));
        EXPECT_LT(second, std::chrono::seconds(10));
    });
}

TEST_F(Discovery, DoesNotAnswerWhomTheHostRefuses)
{
    with_television(NETWORK, [&](Television &, int phone) {
        Doorman doorman;
        doorman.answer = 0;
        IppGuard guard = {};
        guard.admit = ask;
        guard.admit_context = &doorman;
        ASSERT_EQ(ipp_set_guard(&guard), 0);
        const Descriptor stranger = datagram_socket(0, "127.0.0.2");
        ASSERT_TRUE(send_datagram(stranger.get(), bytes(SEARCH), "127.0.0.1", SEARCH_PORT));
        ASSERT_TRUE(lines.wait_for(recognition("127.0.0.2")));
        ASSERT_TRUE(wait_until([&] { return doorman.all_asked().size() == 1; }));
        doorman.answer = 1;
        expect_ignored(phone, lines, bytes("A5 A5 08 00 41 49 49 51"));
        EXPECT_EQ(doorman.asked,
                  (std::vector<uint32_t>{inet_addr("127.0.0.2"), inet_addr("127.0.0.1")}));
        ipp_set_guard(nullptr);
    });
}

TEST_F(Discovery, AnswersWithWhatHeldWhenTheSearchCame)
{
    with_television(NETWORK, [&](Television &tv, int phone) {
        tv.during_next_delay([] {
            flags_set_device_type(0x7777);
            EXPECT_EQ(std::system("ip addr del 10.20.30.40/24 dev lo"), 0);
            EXPECT_EQ(std::system("ip addr add 10.20.30.41/24 dev lo"), 0);
        });
        ASSERT_TRUE(send_datagram(phone, bytes(SEARCH), "127.0.0.1", SEARCH_PORT));
        EXPECT_EQ(received(phone), ANSWER);
        ASSERT_TRUE(send_datagram(phone, bytes(SEARCH), "127.0.0.1", SEARCH_PORT));
        EXPECT_EQ(received(phone), "A5 A5 0C 00 0A 14 1E 29 61 22 77 77");
    });
}

TEST_F(Discovery, ReceivesEachPacketIntoZeros)
{
    std::set<std::string> buffers;
    int packets = 0;
    const Replaced receive(system_recvfrom, [&](int fd, void *data, size_t size, int flags,
                                                sockaddr *from, socklen_t *from_size) {
        if (fd != g_udp_sock) { /* the phone's */
            return system_recvfrom.real(fd, data, size, flags, from, from_size);
        }
        buffers.insert(hex(data, size));
        const ssize_t length = system_recvfrom.real(fd, data, size, flags, from, from_size);
        packets += length > 0 ? 1 : 0;
        return length;
    });
    with_television(NETWORK, [&](Television &tv, int phone) {
        for (const size_t more : {size_t{248}, size_t{0}, size_t{100}}) {
            ASSERT_TRUE(send_datagram(phone, search_and(more), "127.0.0.1", SEARCH_PORT));
            EXPECT_EQ(received(phone), ANSWER);
        }
        tv.stop();
        EXPECT_EQ(packets, 3);
        EXPECT_EQ(buffers, (std::set<std::string>{hex(Bytes(256))}));
    });
}

TEST_F(Discovery, GoesOnWhileTheHostsFlagIsAnythingButZero)
{
    with_television(NETWORK, [&](Television &, int phone) {
        for (const uint8_t running : {uint8_t{2}, uint8_t{0x80}, uint8_t{0xFF}}) {
            __atomic_store_n(&g_thread_run, running, __ATOMIC_RELEASE);
            for (int i = 0; i < 2; i++) {
                ASSERT_TRUE(send_datagram(phone, bytes(SEARCH), "127.0.0.1", SEARCH_PORT));
                EXPECT_EQ(received(phone), ANSWER);
            }
        }
    });
}

TEST_F(Discovery, StopsWithoutAnotherSearchAndClosesItsSocket)
{
    with_television(NETWORK, [&](Television &tv, int) {
        const int number = g_udp_sock;
        ASSERT_GE(fcntl(number, F_GETFD), 0);
        const Clock::time_point begin = Clock::now();
        EXPECT_EQ(tv.stop(), nullptr);
        EXPECT_LT(Clock::now() - begin, std::chrono::seconds(5));
        EXPECT_EQ(lines.out(), Lines{"zqt===  udp_thread 317\n"});
        EXPECT_EQ(g_udp_sock, number);
        EXPECT_EQ(fcntl(number, F_GETFD), -1);
    });
}

TEST_F(Discovery, FinishesADelayedAnswerBeforeItStops)
{
    with_television(NETWORK, [&](Television &tv, int phone) {
        tv.during_next_delay(flags_stop_running);
        ASSERT_TRUE(send_datagram(phone, bytes(SEARCH), "127.0.0.1", SEARCH_PORT));
        EXPECT_EQ(received(phone), ANSWER);
        EXPECT_EQ(tv.stop(), nullptr);
        Lines expected = answered();
        expected += {"zqt===  udp_thread 317\n"};
        EXPECT_EQ(lines.out(), expected);
    });
}

/* Called on the discovery thread between its leaving a group and its closing the socket. */
void look_for_member(int, const char *text, void *context)
{
    if (std::string(text) == "zqt===  udp_thread 317\n") {
        *static_cast<bool *>(context) = network_has_member(SEARCH_GROUP);
    }
}

TEST_F(Discovery, StaysInTheSearchGroupUntilItClosesItsSocket)
{
    with_television(NETWORK, [&](Television &tv, int) {
        bool member = false;
        ipp_set_log_sink(look_for_member, &member);
        tv.stop();
        ipp_set_log_sink(nullptr, nullptr);
        EXPECT_TRUE(member);
        EXPECT_FALSE(network_has_member(SEARCH_GROUP));
    });
}

TEST_F(Discovery, AsksOnceToLeaveAGroupThatItIsNotIn)
{
    std::vector<std::string> left;
    const Replaced options(
        system_setsockopt, [&](int fd, int level, int option, const void *value, socklen_t size) {
            const int result = system_setsockopt.real(fd, level, option, value, size);
            if (level == IPPROTO_IP && option == IP_DROP_MEMBERSHIP) {
                EXPECT_EQ(fd, g_udp_sock);
                left.push_back(hex(value, size));
                EXPECT_EQ(result, -1);
            }
            return result;
        });
    with_television(NETWORK, [&](Television &tv, int) {
        EXPECT_EQ(tv.stop(), nullptr);
        EXPECT_EQ(left, Lines{"EB C8 C9 CA 00 00 00 00"}); /* 235.200.201.202, any interface */
    });
}

TEST_F(Discovery, RestsTenMillisecondsWhenNothingHasArrived)
{
    in_network(NETWORK, [&] {
        int rests = 0;
        const TakenSleeps sleeps([&](uint64_t) {
            if (++rests == 4) {
                flags_stop_running();
            }
        });
        EXPECT_EQ(udp_thread(nullptr), nullptr);
        EXPECT_EQ(sleeps.all(), std::vector<uint64_t>(4, 10000));
    });
}

TEST_F(Discovery, EndsWithoutASocket)
{
    WatchedCall sockets(system_socket);
    sockets.fail(EMFILE);
    EXPECT_EQ(udp_thread(nullptr), reinterpret_cast<void *>(-1));
    EXPECT_EQ(g_udp_sock, -3);
    EXPECT_EQ(lines.out(), (Lines{"err: udp socket() fail\n", "err: udp_init() fail\n"}));
}

TEST_F(Discovery, EndsWhenTheServiceStopsBeforeItsPortIsFree)
{
    in_network(NETWORK, [&] {
        const Descriptor holder = datagram_socket(SEARCH_PORT);
        const TakenSleeps sleeps([](uint64_t) { flags_stop_running(); });
        EXPECT_EQ(udp_thread(nullptr), reinterpret_cast<void *>(-1));
        EXPECT_EQ(lines.out(), Lines{"err: udp_init() fail\n"});
    });
}

/* The discovery thread's whole life, at the end of a run. */
void run_discovery_once()
{
    flags_stop_running();
    EXPECT_EQ(udp_thread(nullptr), nullptr);
}

TEST_F(Discovery, EndsWithoutAThreadForTheMembershipAndLeavesItsSocketOpen)
{
    in_network(NETWORK, [&] {
        open_discovery_socket();
        EXPECT_EQ(lines.out(), Lines{"err: pthread_create() fail\n"});
        run_discovery_once();
    });
}

TEST_F(Discovery, ClosesASocketThatWasLeftOpenWhenItStartsAgain)
{
    in_network(NETWORK, [&] {
        const std::set<int> before = open_descriptors();
        open_discovery_socket();
        open_discovery_socket();
        EXPECT_EQ(open_descriptors().size(), before.size() + 1);
        run_discovery_once();
        EXPECT_EQ(open_descriptors(), before);
    });
}

TEST_F(Discovery, ClosesNoSocketOfSomeoneElseWhenItStartsAgain)
{
    in_network(NETWORK, [&] {
        run_discovery_once();
        const Descriptor of_the_host = datagram_socket();
        ASSERT_EQ(of_the_host.get(), g_udp_sock) << "the number has not come back";
        run_discovery_once();
        EXPECT_GE(fcntl(of_the_host.get(), F_GETFD), 0);
    });
}

TEST_F(Discovery, SendsNoAnswerThroughANumberThatItHasClosed)
{
    in_network(NETWORK, [&] {
        const Descriptor phone = datagram_socket(ANSWER_PORT);
        run_discovery_once();
        const Descriptor of_the_host = datagram_socket();
        ASSERT_EQ(of_the_host.get(), g_udp_sock) << "the number has not come back";
        const sockaddr_in from = phone_at("127.0.0.1");
        const TakenSleeps sleeps;
        response_cp_search(&from);
        ASSERT_TRUE(send_datagram(of_the_host.get(), bytes("'end'"), "127.0.0.1", ANSWER_PORT));
        EXPECT_EQ(received(phone.get()), hex(bytes("'end'")));
    });
}

TEST_F(Discovery, AnswersNobodyForANullAddress)
{
    const TakenSleeps sleeps;
    response_cp_search(nullptr);
    EXPECT_TRUE(sleeps.all().empty());
    EXPECT_TRUE(lines.all().empty());
}

TEST_F(Discovery, DrawsItsDelayFromATenthOfASecondAndAQuarterMore)
{
    in_network(NETWORK, [&] {
        const Descriptor phone = datagram_socket(ANSWER_PORT);
        open_discovery_socket();
        lines.clear();
        const sockaddr_in from = phone_at("127.0.0.1");
        const TakenSleeps sleeps([&](uint64_t) {
            EXPECT_TRUE(nothing_received(phone.get()));
            EXPECT_TRUE(lines.all().empty());
        });
        const time_t before = time(nullptr);
        response_cp_search(&from);
        const time_t after = time(nullptr);
        EXPECT_EQ(received(phone.get()), ANSWER);
        EXPECT_EQ(lines.out(), Lines{response()});
        const uint64_t delay = sleeps.all().at(0);
        EXPECT_EQ(sleeps.all().size(), 1u);

        std::vector<uint64_t> possible;
        for (time_t now = before; now <= after; now++) {
            possible.push_back(drawn_delay(now));
        }
        EXPECT_NE(std::find(possible.begin(), possible.end(), delay), possible.end());
        run_discovery_once();
    });
}

/* ---- Start of the threads */

TEST_F(Discovery, StartsTogetherWithTheAnnouncements)
{
    in_network(NETWORK, [&] {
        const Descriptor phone = datagram_socket(ANSWER_PORT);
        ASSERT_TRUE(join_group(phone.get(), ANNOUNCEMENT_GROUP, "127.0.0.1"));
        EXPECT_EQ(start_udp_serv_thread(), 0);
        const std::optional<Datagram> announcement = receive_datagram(phone.get());
        ASSERT_TRUE(announcement.has_value());
        EXPECT_EQ(announcement->data, ANSWER);
        EXPECT_NE(announcement->from_port, SEARCH_PORT);

        ASSERT_TRUE(lines.wait_for(JOINED));
        ASSERT_TRUE(send_datagram(phone.get(), bytes(SEARCH), "127.0.0.1", SEARCH_PORT));
        ASSERT_TRUE(lines.wait_for(response()));
        flags_stop_running();
        discovery_join();
        EXPECT_EQ(lines.count("zqt===  udp_thread 317\n"), 1u);
    });
}

TEST_F(Discovery, ReportsAThreadThatCannotBeCreated)
{
    WatchedCall creation(system_pthread_create);
    creation.fail(EAGAIN);
    EXPECT_EQ(start_udp_serv_thread(), -4);
    EXPECT_EQ(lines.out(), Lines{"err: pthread_create() fail\n"});
    EXPECT_EQ(thread_count(), threads_before);
    discovery_join(); /* there is nothing to wait for */
}

TEST_F(Discovery, GoesOnWithoutAThreadForTheAnnouncements)
{
    in_network(NETWORK, [&] {
        const Descriptor phone = datagram_socket(ANSWER_PORT);
        {
            WatchedCall creation(system_pthread_create);
            creation.fail(EAGAIN, 2);
            EXPECT_EQ(start_udp_serv_thread(), -4);
        }
        EXPECT_EQ(lines.count("err: pthread_create() fail\n"), 1u);
        ASSERT_TRUE(lines.wait_for(JOINED));
        ASSERT_TRUE(send_datagram(phone.get(), bytes(SEARCH), "127.0.0.1", SEARCH_PORT));
        EXPECT_EQ(received(phone.get()), ANSWER);
        flags_stop_running();
        discovery_join();
        EXPECT_EQ(fcntl(g_udp_sock, F_GETFD), -1);
    });
}

TEST_F(Discovery, IsWaitedForOnceOnly)
{
    in_network(NETWORK, [&] {
        ASSERT_EQ(start_udp_serv_thread(), 0);
        const pthread_t thread = g_udp_tid;
        EXPECT_NE(g_multicast_tid, pthread_t{});
        ASSERT_TRUE(lines.wait_for(JOINED));
        flags_stop_running();
        const WatchedCall joins(system_pthread_join);
        discovery_join();
        discovery_join();
        EXPECT_EQ(joins.calls(), 1);
        EXPECT_TRUE(pthread_equal(g_udp_tid, thread)) << "the number is kept";
    });
}

/* The thread that joins the group. */
TEST_F(Discovery, KeepsTheNumberOfItsMembershipThread)
{
    std::atomic<pthread_t> joining{};
    const Replaced options(system_setsockopt,
                           [&](int fd, int level, int option, const void *value, socklen_t size) {
                               if (level == IPPROTO_IP && option == IP_ADD_MEMBERSHIP) {
                                   joining = pthread_self();
                               }
                               return system_setsockopt.real(fd, level, option, value, size);
                           });
    g_addgroup_tid = pthread_t{};
    in_network(NETWORK, [&] {
        Television tv(lines);
        EXPECT_NE(g_addgroup_tid, pthread_t{});
        EXPECT_TRUE(pthread_equal(g_addgroup_tid, joining));
        tv.stop();
        EXPECT_TRUE(pthread_equal(g_addgroup_tid, joining)) << "the number is kept";
    });
}

} // namespace
