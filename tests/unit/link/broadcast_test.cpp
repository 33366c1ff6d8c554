/* SPDX-License-Identifier: MIT */
#include "tvlink/reply.h"

#include "tvlink/heartbeat.h"

#include "support/mutex_state.h"
#include "support/taken_time.h"
#include "support/tcp_service.h"
#include "support/wait_until.h"
#include "unit/link/listed_connection.h"
#include "unit/link/scripted_sends.h"

#include <atomic>
#include <memory>
#include <thread>

namespace
{

using Texts = std::vector<std::string>;

const uint8_t EVENT[] = {0x45, 0x23, 0x04, 0x03};
const int32_t EVENT_SIZE = sizeof EVENT;
const size_t EVENT_FRAME_SIZE = 76;

std::string frame_text(uint8_t type)
{
    return hex(wire_frame(type, Bytes(EVENT, EVENT + EVENT_SIZE)));
}

void send_to_all(int type = 9)
{
    sendto_all_ctrlpoint(type, EVENT, EVENT_SIZE);
}

std::string address_line(int fd, int number, const char *address = "70200c0")
{
    return "zqt fd:" + std::to_string(fd) + " num:" + std::to_string(number) + " ip:" + address +
           "\n";
}

const char *const CALL_LINE = "  tcp_sendbackall 140,ack =4\n";
const char *const SENT_LINE = "zqt  :socket_send(): tcp_sendbackall:167,send_ret=76\n";
const char *const FAILED_LINE = "zqt  :socket_send(): tcp_sendbackall:167,send_ret=-1\n";
const char *const ERROR_LINE = "err:socket_send(): tcp_sendbackall:177,errno=32\n";

class Broadcast : public OpenRegistry
{
};

} // namespace

TEST_F(Broadcast, ReachesEverybodyInOrderOfConnection)
{
    const ListedConnection one;
    const ListedConnection two(tcp_pair(), inet_addr("10.0.0.255"));
    send_to_all();
    EXPECT_EQ(one.received(EVENT_FRAME_SIZE), frame_text(9));
    EXPECT_EQ(two.received(EVENT_FRAME_SIZE), frame_text(9));
    EXPECT_EQ(lines.out(), Texts({address_line(one.number, 0), CALL_LINE, SENT_LINE,
                                  address_line(two.number, 1, "ff00000a"), CALL_LINE, SENT_LINE}));
    EXPECT_TRUE(lines.err().empty());
}

TEST_F(Broadcast, PrintsNothingWhenNobodyIsConnected)
{
    send_to_all();
    EXPECT_TRUE(lines.all().empty());
}

TEST_F(Broadcast, SendsNothingWithoutAPayload)
{
    const ListedConnection one;
    sendto_all_ctrlpoint(9, nullptr, 4);
    sendto_all_ctrlpoint(9, EVENT, 0);
    sendto_all_ctrlpoint(9, EVENT, -1);
    EXPECT_TRUE(lines.all().empty());
    send_to_all(8);
    EXPECT_EQ(one.received(EVENT_FRAME_SIZE), frame_text(8));
}

TEST_F(Broadcast, UsesTheLowEightBitsOfItsType)
{
    const ListedConnection one;
    send_to_all(0x109);
    EXPECT_EQ(one.received(EVENT_FRAME_SIZE), frame_text(9));
}

TEST_F(Broadcast, PassesOverAnEmptyNodeWithoutCountingIt)
{
    const ListedConnection one;
    const ListedConnection two;
    g_cp_list.head->data = nullptr;
    send_to_all();
    g_cp_list.head->data = one.record;
    EXPECT_EQ(lines.out(), Texts({address_line(two.number, 0), CALL_LINE, SENT_LINE}));
}

TEST_F(Broadcast, DoesNothingOnceTheServiceHasStopped)
{
    const ListedConnection one;
    stop();
    send_to_all();
    EXPECT_TRUE(lines.all().empty());
}

TEST_F(Broadcast, DropsWhoeverFailsAndReachesTheOthers)
{
    for (size_t count = 1; count <= 3; count++) {
        for (size_t failing = 0; failing < count; failing++) {
            SCOPED_TRACE(std::to_string(failing) + " of " + std::to_string(count) + " fails");
            stop();
            start();
            lines.clear();
            const ListedConnections all = listed_connections(count, tcp_pair);
            Texts expected_lines;
            std::vector<void *> expected_records;
            for (size_t i = 0; i < count; i++) {
                expected_lines.push_back(address_line(all[i]->number, static_cast<int>(i)));
                expected_lines.push_back(CALL_LINE);
                if (i == failing) {
                    expected_lines.insert(expected_lines.end(), {FAILED_LINE, ERROR_LINE});
                } else {
                    expected_lines.push_back(SENT_LINE);
                    expected_records.push_back(all[i]->record);
                }
            }
            const ScriptedSends sends(all[failing]->number, {-EPIPE});
            send_to_all();
            EXPECT_EQ(lines.out(), expected_lines);
            EXPECT_EQ(elements(g_cp_list), expected_records);
            EXPECT_EQ(g_cp_list.count, count - 1);
            EXPECT_FALSE(is_open(all[failing]->number));
            for (size_t i = 0; i < count; i++) {
                if (i != failing) {
                    EXPECT_EQ(all[i]->received(EVENT_FRAME_SIZE), frame_text(9));
                }
            }
        }
    }
}

TEST_F(Broadcast, DropsEverybodyWhenEverybodyFails)
{
    const ListedConnections all = listed_connections(4, tcp_pair);
    const Replaced send(system_send, [](int, const void *, size_t, int) {
        errno = EPIPE;
        return ssize_t{-1};
    });
    send_to_all();
    EXPECT_EQ(g_cp_list.count, 0u);
    EXPECT_EQ(g_cp_list.head, nullptr);
    EXPECT_EQ(lines.count(ERROR_LINE), 4u);
    for (const auto &connection : all) {
        EXPECT_FALSE(is_open(connection->number));
    }
}

TEST_F(Broadcast, HoldsTheRegistryLockAllTheTime)
{
    const ListedConnections all = listed_connections(2, tcp_pair);
    int held = 0;
    const Replaced send(system_send, [&](int fd, const void *data, size_t size, int flags) {
        held += held_by_this_thread(g_cp_list_mutex) ? 1 : 0;
        return system_send.real(fd, data, size, flags);
    });
    send_to_all();
    EXPECT_EQ(held, 2);
}

TEST_F(Broadcast, DropsAStalledPhoneAtTheGuardsLimitAndGoesOn)
{
    IppGuard guard = {};
    guard.send_stall_ms = 30;
    ASSERT_EQ(ipp_set_guard(&guard), 0);
    const ListedConnections all = listed_connections(3, tcp_pair);
    const ScriptedSends sends(all[1]->number, std::vector<int>(100000, -EAGAIN));
    send_to_all();
    EXPECT_EQ(elements(g_cp_list), std::vector<void *>({all[0]->record, all[2]->record}));
    EXPECT_EQ(lines.count("err:socket_send(): tcp_sendbackall:177,errno=" +
                          std::to_string(ETIMEDOUT) + "\n"),
              1u);
    EXPECT_EQ(all[0]->received(EVENT_FRAME_SIZE), frame_text(9));
    EXPECT_EQ(all[2]->received(EVENT_FRAME_SIZE), frame_text(9));
}

/* ---- Phones that stall together: all but the last, in which nothing new fits */

namespace
{

const ssize_t REFUSED = -1;

class StallingBroadcast : public Broadcast
{
protected:
    void SetUp() override
    {
        Broadcast::SetUp();
        IppGuard guard = {};
        guard.send_stall_ms = 50;
        ASSERT_EQ(ipp_set_guard(&guard), 0);
    }

    void have_something_to_take() const
    {
        for (const auto &connection : all) {
            ASSERT_EQ(system_send.real(connection->number, "....", 4, 0), 4);
        }
    }

    /* Runs the round; returns how many milliseconds it waited. */
    uint64_t waited(const std::function<void()> &round,
                    const std::function<void(uint64_t ms)> &meanwhile = {}) const
    {
        const Replaced send(system_send, [&](int fd, const void *data, size_t size, int flags) {
            if (fd == last->number) {
                return system_send.real(fd, data, size, flags);
            }
            errno = EAGAIN;
            return REFUSED;
        });
        uint64_t waited_ms = 0;
        const SleptTime time([&](uint64_t ms) {
            waited_ms = ms;
            if (meanwhile) {
                meanwhile(ms);
            }
        });
        round();
        return waited_ms;
    }

    /* Local connections: no byte is on its way that the phone has not got. */
    const ListedConnections all = listed_connections(4);
    ListedConnection *const last = all[3].get();
};

} // namespace

TEST_F(StallingBroadcast, WaitsForAllOfThemTogether)
{
    have_something_to_take();
    EXPECT_EQ(waited([] { send_to_all(); }), 50u);
    EXPECT_EQ(elements(g_cp_list), std::vector<void *>({last->record}));
    EXPECT_EQ(last->received(4 + EVENT_FRAME_SIZE), hex(bytes("'....'")) + " " + frame_text(9));
}

TEST_F(StallingBroadcast, WaitsForAllOfThemTogetherWithHeartbeats)
{
    have_something_to_take();
    EXPECT_EQ(waited([] { check_ctrlpoint_heart(); }), 50u);
    EXPECT_EQ(elements(g_cp_list), std::vector<void *>({last->record}));
}

TEST_F(StallingBroadcast, GivesOneThatTakesAByteMeanwhileItsOwnTime)
{
    uint64_t now_ms = 0;
    bool taken = false;
    const Replaced send(system_send, [&](int fd, const void *, size_t, int) {
        if (fd == all[1]->number && now_ms == 20 && !taken) {
            taken = true;
            return ssize_t{1};
        }
        errno = EAGAIN;
        return REFUSED;
    });
    const SleptTime time([&](uint64_t ms) { now_ms = ms; });
    send_to_all();
    EXPECT_EQ(now_ms, 70u);
    EXPECT_EQ(g_cp_list.count, 0u);
}

TEST_F(StallingBroadcast, CountsFromTheMomentWhenAnotherSenderIsDone)
{
    std::atomic<bool> replying{false};
    std::atomic<bool> go_on{false};
    std::thread::id replies;
    const Replaced send(system_send, [&](int, const void *, size_t size, int) {
        if (std::this_thread::get_id() != replies) {
            errno = EAGAIN;
            return REFUSED;
        }
        replying = true;
        wait_until([&] { return go_on.load(); });
        return static_cast<ssize_t>(size);
    });
    std::thread other([&] {
        replies = std::this_thread::get_id();
        EXPECT_EQ(tcp_sendback(all[1]->record, 6, "reply", 5), 1);
    });
    ASSERT_TRUE(wait_until([&] { return replying.load(); }));
    uint64_t waited_ms = 0;
    const SleptTime time([&](uint64_t ms) {
        waited_ms = ms;
        if (ms == 20) {
            go_on = true;
            other.join();
        }
    });
    send_to_all();
    EXPECT_EQ(waited_ms, 70u);
}

/* They have to be waited for one after the other when they cannot be remembered. */
TEST_F(StallingBroadcast, DropsEverybodyAlsoWithoutMemory)
{
    WatchedCall memory(system_malloc);
    memory.fail(ENOMEM, 1, 1000);
    EXPECT_EQ(waited([] { send_to_all(); }), 150u);
    EXPECT_EQ(elements(g_cp_list), std::vector<void *>({last->record}));
    EXPECT_EQ(last->received(EVENT_FRAME_SIZE), frame_text(9));
}

TEST_F(StallingBroadcast, ReachesThoseThatTakeItBeforeItWaits)
{
    bool reached = false;
    EXPECT_EQ(waited([] { send_to_all(); },
                     [&](uint64_t ms) {
                         if (ms == 10) {
                             reached = last->received(EVENT_FRAME_SIZE) == frame_text(9);
                         }
                     }),
              50u);
    EXPECT_TRUE(reached);
}

TEST_F(StallingBroadcast, RemembersNothingInTheNextRound)
{
    have_something_to_take();
    const uint64_t waited_ms = waited([&] {
        send_to_all(); /* 50 ms, in which the first three are dropped */
        const ListedConnection late(local_pair());
        ASSERT_EQ(system_send.real(late.number, "....", 4, 0), 4);
        send_to_all();
    });
    EXPECT_EQ(waited_ms, 100u);
}

/* ---- The log */

namespace
{

struct LockCheck {
    int lines = 0;
    int held = 0;
};

void note_locks(int, const char *, void *context)
{
    LockCheck *check = static_cast<LockCheck *>(context);
    check->lines++;
    check->held += held_by_this_thread(g_cp_list_mutex) ? 1 : 0;
    if (check->held == 0) {
        check->held += connected() > 100 ? 1 : 0; /* takes the lock itself */
    }
}

} // namespace

TEST_F(Broadcast, GivesItsLinesToTheSinkWithNoLockHeld)
{
    const ListedConnections all = listed_connections(3, tcp_pair);
    const ScriptedSends sends(all[1]->number, {-EPIPE});
    LockCheck check;
    ipp_set_log_sink(note_locks, &check);
    send_to_all();
    ipp_set_log_sink(nullptr, nullptr);
    EXPECT_EQ(check.lines, 10);
    EXPECT_EQ(check.held, 0);
}

TEST_F(Broadcast, GivesTheSinkAllLinesOfManyPhones)
{
    std::vector<std::unique_ptr<ListedConnection>> all;
    for (int i = 0; i < 200; i++) {
        all.push_back(std::make_unique<ListedConnection>(local_pair()));
    }
    send_to_all();
    EXPECT_EQ(lines.count(SENT_LINE), 200u);
    EXPECT_EQ(lines.count(address_line(all[199]->number, 199)), 1u);
}
