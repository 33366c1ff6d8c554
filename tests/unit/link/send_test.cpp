/* SPDX-License-Identifier: MIT */
#include "tvlink/reply.h"

#include "base/guard.h"
#include "link/connection.h"
#include "support/mutex_state.h"
#include "support/system_calls.h"
#include "support/taken_time.h"
#include "support/tcp_service.h"
#include "support/wait_until.h"
#include "tvlink/heartbeat.h"
#include "tvlink/socket_io.h"
#include "unit/link/listed_connection.h"
#include "unit/link/scripted_sends.h"

#include <atomic>
#include <cerrno>
#include <climits>
#include <csignal>
#include <numeric>
#include <thread>

namespace
{

using Texts = std::vector<std::string>;

const std::string ZEROS_43 = " 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00"
                             " 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00";
const std::string ZEROS_20 = " 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00";

const uint8_t PAYLOAD[] = {0x34, 0x12, 0x08, 0x77};
const int32_t PAYLOAD_SIZE = sizeof PAYLOAD;
const size_t FRAME_SIZE = 76;

std::string sent_frame(uint8_t type)
{
    return hex(wire_frame(type, Bytes(PAYLOAD, PAYLOAD + PAYLOAD_SIZE)));
}

std::string error_line(const char *function, int line, int error)
{
    return "err:socket_send(): " + std::string(function) + ":" + std::to_string(line) +
           ",errno=" + std::to_string(error) + "\n";
}

int send_to(CtrlPoint *cp, int type = 6)
{
    return tcp_sendback(cp, type, PAYLOAD, PAYLOAD_SIZE);
}

/* As its callers do. */
int send_locked(CtrlPoint *cp, int type = 9, const void *payload = PAYLOAD,
                int32_t size = PAYLOAD_SIZE)
{
    registry_lock();
    const int result = tcp_sendbackall(cp, type, payload, size);
    registry_unlock();
    return result;
}

class Reply : public OpenRegistry
{
protected:
    static void bound_stall(uint32_t ms)
    {
        IppGuard guard = {};
        guard.send_stall_ms = ms;
        ASSERT_EQ(ipp_set_guard(&guard), 0);
    }

    /* What the phone gets next is this frame: nothing was sent before it. */
    static void expect_nothing_sent(const ListedConnection &to)
    {
        EXPECT_EQ(send_to(to.record, 0x22), 1);
        EXPECT_EQ(to.received(FRAME_SIZE), sent_frame(0x22));
    }
};

} // namespace

/* ---- One frame */

TEST_F(Reply, WithoutAPayloadIsAFrameOf72Bytes)
{
    const ListedConnection connection;
    EXPECT_EQ(tcp_sendback(connection.record, 6, "", 0), 1);
    EXPECT_EQ(connection.received(72),
              "A5 A5 A5 48 00 00 00" + ZEROS_43 + " 06" + ZEROS_20 + " 3D");
}

TEST_F(Reply, CarriesItsPayloadBetweenZeros)
{
    const ListedConnection connection;
    EXPECT_EQ(tcp_sendback(connection.record, 6, PAYLOAD, 2), 1);
    EXPECT_EQ(connection.received(74),
              "A5 A5 A5 4A 00 00 00" + ZEROS_43 + " 06 34 12" + ZEROS_20 + " 85");
}

TEST_F(Reply, UsesTheLowEightBitsOfItsType)
{
    const ListedConnection connection;
    EXPECT_EQ(send_to(connection.record, 0x109), 1);
    EXPECT_EQ(connection.received(FRAME_SIZE), sent_frame(0x09));
    EXPECT_EQ(send_locked(connection.record, -1), 1);
    EXPECT_EQ(connection.received(FRAME_SIZE), sent_frame(0xFF));
}

TEST_F(Reply, PrintsNothingWhenItSucceeds)
{
    const ListedConnection connection;
    EXPECT_EQ(send_to(connection.record), 1);
    EXPECT_TRUE(lines.all().empty());
}

TEST_F(Reply, RefusesBadArguments)
{
    const ListedConnection connection;
    EXPECT_EQ(tcp_sendback(nullptr, 6, PAYLOAD, 2), -1);
    EXPECT_EQ(tcp_sendback(connection.record, 6, nullptr, 2), -1);
    EXPECT_EQ(tcp_sendback(connection.record, 6, nullptr, 0), -1);
    EXPECT_EQ(tcp_sendback(connection.record, 6, PAYLOAD, -1), -1);
    EXPECT_EQ(tcp_sendback(connection.record, 6, PAYLOAD, INT_MIN), -1);
    EXPECT_EQ(tcp_sendback(connection.record, 6, PAYLOAD, INT_MAX), -1);
    EXPECT_EQ(tcp_sendback(connection.record, 6, PAYLOAD, INT_MAX - 71), -1);
    EXPECT_EQ(send_locked(nullptr), -1);
    EXPECT_EQ(send_locked(connection.record, 9, nullptr, 2), -1);
    EXPECT_EQ(send_locked(connection.record, 9, nullptr, 0), -1);
    EXPECT_EQ(send_locked(connection.record, 9, PAYLOAD, -1), -1);
    EXPECT_TRUE(lines.all().empty());
    EXPECT_TRUE(is_listed(connection.record));
    expect_nothing_sent(connection);
}

TEST_F(Reply, LeavesTheConnectionAloneWhenMemoryIsOut)
{
    const ListedConnection connection;
    {
        WatchedCall allocation(system_calloc);
        allocation.fail(ENOMEM, 1, 2);
        EXPECT_EQ(send_to(connection.record), -1);
        EXPECT_EQ(send_locked(connection.record), -1);
    }
    EXPECT_TRUE(is_listed(connection.record));
    expect_nothing_sent(connection);
}

TEST_F(Reply, OfALargeSizeArrivesWhole)
{
    const ListedConnection connection;
    Bytes payload(3000000);
    std::iota(payload.begin(), payload.end(), uint8_t{1});
    std::thread sender([&] {
        EXPECT_EQ(tcp_sendback(connection.record, 6, payload.data(),
                               static_cast<int32_t>(payload.size())),
                  1);
    });
    EXPECT_TRUE(read_frame(connection.phone.get()) == wire_frame(6, payload));
    sender.join();
}

/* ---- With the registry's lock held */

TEST_F(Reply, UnderTheLockPrintsItsTwoLines)
{
    const ListedConnection connection;
    EXPECT_EQ(send_locked(connection.record), 1);
    EXPECT_EQ(connection.received(FRAME_SIZE), sent_frame(9));
    EXPECT_EQ(lines.out(), Texts({"  tcp_sendbackall 140,ack =8\n",
                                  "zqt  :socket_send(): tcp_sendbackall:167,send_ret=76\n"}));
    EXPECT_TRUE(lines.err().empty());
}

TEST_F(Reply, UnderTheLockPrintsALineForEverySend)
{
    const ListedConnection connection;
    const TakenSleeps sleeps;
    const ScriptedSends sends(connection.number, {10, -EAGAIN, 0, 60});
    EXPECT_EQ(send_locked(connection.record), 1);
    EXPECT_EQ(connection.received(FRAME_SIZE), sent_frame(9));
    const std::string start = "zqt  :socket_send(): tcp_sendbackall:167,send_ret=";
    EXPECT_EQ(lines.out(), Texts({"  tcp_sendbackall 140,ack =8\n", start + "10\n", start + "-1\n",
                                  start + "0\n", start + "60\n", start + "6\n"}));
}

TEST_F(Reply, UnderTheLockReadsNoThirdByteThatIsNotThere)
{
    const ListedConnection connection;
    const std::vector<uint8_t> two = {0x34, 0x12}; /* a sanitizer sees a read beyond it */
    EXPECT_EQ(send_locked(connection.record, 9, two.data(), 2), 1);
    EXPECT_EQ(send_locked(connection.record, 9, two.data(), 0), 1);
    EXPECT_EQ(lines.count("  tcp_sendbackall 140,ack =0\n"), 2u);
}

/* ---- Trying again */

TEST_F(Reply, GoesOnWhereAPartialSendStopped)
{
    const ListedConnection connection;
    const ScriptedSends sends(connection.number, {1, 2, 70, 1});
    EXPECT_EQ(send_to(connection.record), 1);
    EXPECT_EQ(sends.sizes(), std::vector<size_t>({76, 75, 73, 3, 2}));
    EXPECT_EQ(connection.received(FRAME_SIZE), sent_frame(6));
}

TEST_F(Reply, WaitsTenMillisecondsForAFullBufferOrAfterASignal)
{
    const ListedConnection connection;
    const TakenSleeps sleeps;
    const ScriptedSends sends(connection.number, {-EAGAIN, 20, -EINTR, -EAGAIN});
    EXPECT_EQ(send_to(connection.record), 1);
    EXPECT_EQ(sleeps.all(), std::vector<uint64_t>({10000, 10000, 10000}));
    EXPECT_EQ(sends.sizes(), std::vector<size_t>({76, 76, 56, 56, 56}));
    EXPECT_EQ(connection.received(FRAME_SIZE), sent_frame(6));
    EXPECT_TRUE(lines.all().empty());
}

TEST_F(Reply, AsksAgainAtOnceWhenNothingWasTaken)
{
    const ListedConnection connection;
    const TakenSleeps sleeps;
    const ScriptedSends sends(connection.number, {0, 0});
    EXPECT_EQ(send_to(connection.record), 1);
    EXPECT_TRUE(sleeps.all().empty());
    EXPECT_EQ(sends.sizes(), std::vector<size_t>({76, 76, 76}));
    EXPECT_EQ(connection.received(FRAME_SIZE), sent_frame(6));
}

TEST_F(Reply, IsTriedWithoutALimit)
{
    const ListedConnection connection;
    const TakenSleeps sleeps;
    const ScriptedSends sends(connection.number, std::vector<int>(5000, -EAGAIN));
    EXPECT_EQ(send_to(connection.record), 1);
    EXPECT_EQ(sleeps.all().size(), 5000u);
    EXPECT_EQ(connection.received(FRAME_SIZE), sent_frame(6));
}

TEST_F(Reply, PassesNoFlagButTheOneThatKeepsSignalsAway)
{
    const ListedConnection connection;
    const ScriptedSends sends(connection.number, {1, 1});
    EXPECT_EQ(send_to(connection.record), 1);
    EXPECT_EQ(send_locked(connection.record), 1);
    ASSERT_EQ(sends.calls().size(), 4u);
    for (const ScriptedSends::Call &call : sends.calls()) {
        EXPECT_EQ(call.flags, MSG_NOSIGNAL);
    }
}

TEST_F(Reply, AsksBeforeEverySendForAnOptionThatNeverComesIntoForce)
{
    std::vector<std::string> order;
    const ListedConnection connection;
    const Replaced send(system_send, [&](int fd, const void *data, size_t size, int flags) {
        order.push_back("send");
        return system_send.real(fd, data, std::min(size, size_t{40}), flags);
    });
    const Replaced option(
        system_setsockopt, [&](int fd, int level, int name, const void *value, socklen_t size) {
            const int result = system_setsockopt.real(fd, level, name, value, size);
            const bool cork = level == IPPROTO_TCP && name == TCP_CORK && fd == connection.number;
            const bool one = value == reinterpret_cast<const void *>(1);
            order.push_back(cork && one ? "cork " + std::to_string(result) : "something else");
            return result;
        });
    EXPECT_EQ(send_to(connection.record), 1);
    EXPECT_EQ(order, Texts({"cork -1", "send", "cork -1", "send"}));
    int in_force = -1;
    socklen_t size = sizeof in_force;
    ASSERT_EQ(getsockopt(connection.number, IPPROTO_TCP, TCP_CORK, &in_force, &size), 0);
    EXPECT_EQ(in_force, 0);
}

/* ---- Hard errors */

TEST_F(Reply, DropsAConnectionThatFailsHard)
{
    const ListedConnection other;
    const ListedConnection connection;
    const ScriptedSends sends(connection.number, {30, -EPIPE});
    EXPECT_EQ(send_to(connection.record), -1);
    EXPECT_EQ(lines.out(), Texts({error_line("tcp_sendback", 244, EPIPE)}));
    EXPECT_EQ(elements(g_cp_list), std::vector<void *>({other.record}));
    EXPECT_FALSE(is_open(connection.number));
}

TEST_F(Reply, UnderTheLockDropsAConnectionThatFailsHard)
{
    const ListedConnection other;
    const ListedConnection connection;
    const ScriptedSends sends(connection.number, {-ECONNRESET});
    EXPECT_EQ(send_locked(connection.record), -1);
    EXPECT_EQ(lines.out(), Texts({"  tcp_sendbackall 140,ack =8\n",
                                  "zqt  :socket_send(): tcp_sendbackall:167,send_ret=-1\n",
                                  error_line("tcp_sendbackall", 177, ECONNRESET)}));
    EXPECT_EQ(elements(g_cp_list), std::vector<void *>({other.record}));
    EXPECT_FALSE(is_open(connection.number));
}

TEST_F(Reply, DropsAPhoneThatHasResetItsConnection)
{
    ListedConnection connection;
    const linger at_once = {1, 0};
    ASSERT_EQ(setsockopt(connection.phone.get(), SOL_SOCKET, SO_LINGER, &at_once, sizeof at_once),
              0);
    connection.phone.close();
    EXPECT_EQ(send_to(connection.record), -1);
    EXPECT_EQ(lines.out(), Texts({error_line("tcp_sendback", 244, ECONNRESET)}));
    EXPECT_EQ(g_cp_list.count, 0u);
    EXPECT_FALSE(is_open(connection.number));
}

TEST_F(Reply, ToAPhoneThatIsGoneRaisesNoSignal)
{
    static volatile std::sig_atomic_t signals;
    signals = 0;
    const auto former = std::signal(SIGPIPE, [](int) { signals = signals + 1; });
    ListedConnection connection(local_pair());
    ListedConnection another(local_pair());
    connection.phone.close();
    another.phone.close();
    EXPECT_EQ(send_to(connection.record), -1);
    EXPECT_EQ(send_locked(another.record), -1);
    EXPECT_EQ(signals, 0);
    std::signal(SIGPIPE, former);
}

TEST_F(Reply, ThroughAnItemDropsTheConnection)
{
    const ListedConnection connection;
    CtrlPoint *item = connection_copy(connection.record);
    const ScriptedSends sends(connection.number, {-EPIPE});
    EXPECT_EQ(send_to(item), -1);
    EXPECT_EQ(g_cp_list.count, 0u);
    EXPECT_TRUE(wait_for_end(connection.phone.get()));
    EXPECT_FALSE(is_open(connection.number));
    std::free(item);
}

TEST_F(Reply, ReleasesTheConnectionsLockBeforeItTakesTheRegistrys)
{
    const ListedConnection connection;
    const Door sending;
    const Replaced send(system_send, [&](int, const void *, size_t, int) {
        sending.pass();
        errno = EPIPE;
        return ssize_t{-1};
    });
    std::thread sender([&] { EXPECT_EQ(send_to(connection.record), -1); });
    ASSERT_TRUE(sending.wait_for_somebody());
    registry_lock();
    sending.open();
    timespec deadline = {};
    clock_gettime(CLOCK_REALTIME, &deadline);
    deadline.tv_sec += static_cast<time_t>(PATIENCE.count());
    const int result = pthread_mutex_timedlock(&connection.record->send_lock, &deadline);
    EXPECT_EQ(result, 0);
    if (result == 0) {
        pthread_mutex_unlock(&connection.record->send_lock);
    }
    registry_unlock();
    sender.join();
}

/* The event already has the registry's lock when the reply fails, so it cannot be told by the list
 * that the connection has ended. */
TEST_F(Reply, ThatIsGivenUpHalfwayIsTheLastOnItsConnection)
{
    const ListedConnection connection;
    const Door halfway;
    std::atomic<int> sends{0};
    const Replaced send(system_send, [&](int fd, const void *data, size_t size, int flags) {
        const int number = ++sends;
        if (number != 2) {
            return system_send.real(fd, data, number == 1 ? 10 : size, flags);
        }
        halfway.pass();
        errno = ENOBUFS;
        return ssize_t{-1};
    });
    std::thread reply([&] { EXPECT_EQ(send_to(connection.record), -1); });
    ASSERT_TRUE(halfway.wait_for_somebody());
    std::thread event([] { sendto_all_ctrlpoint(9, PAYLOAD, PAYLOAD_SIZE); });
    EXPECT_TRUE(wait_until([&] { return has_waiters(connection.record->send_lock); }));
    halfway.open();
    reply.join();
    event.join();
    EXPECT_EQ(connection.received(2 * FRAME_SIZE), sent_frame(6).substr(0, 29)); /* 10 bytes */
    EXPECT_EQ(g_cp_list.count, 0u);
    EXPECT_FALSE(is_open(connection.number));
}

/* ---- Who is meant */

TEST_F(Reply, HoldsTheLockOfTheListedRecordWhoeverSends)
{
    const ListedConnection connection;
    CtrlPoint *item = connection_copy(connection.record);
    CtrlPoint copy_of_item = *item;
    int locked = 0;
    const Replaced send(system_send, [&](int fd, const void *data, size_t size, int flags) {
        locked += held_by_this_thread(connection.record->send_lock) ? 1 : 0;
        return system_send.real(fd, data, size, flags);
    });
    EXPECT_EQ(send_to(connection.record), 1);
    EXPECT_EQ(send_to(item), 1);
    EXPECT_EQ(send_to(&copy_of_item), 1);
    EXPECT_EQ(send_locked(connection.record), 1);
    EXPECT_EQ(send_locked(item), 1);
    EXPECT_EQ(send_locked(&copy_of_item), 1);
    EXPECT_EQ(device_heartbeat(item), 1);
    sendto_all_ctrlpoint(9, PAYLOAD, PAYLOAD_SIZE);
    check_ctrlpoint_heart();
    EXPECT_EQ(locked, 9);
    std::free(item);
}

TEST_F(Reply, ThroughAHandMadeCopyReachesThePhone)
{
    const ListedConnection connection;
    HandMadeRecord by_hand(connection.number);
    EXPECT_EQ(send_to(&by_hand), 1);
    EXPECT_EQ(connection.received(FRAME_SIZE), sent_frame(6));
}

TEST_F(Reply, ThroughAHandMadeCopyDropsAConnectionThatFailsHard)
{
    const ListedConnection connection;
    HandMadeRecord by_hand(connection.number);
    const ScriptedSends sends(connection.number, {-EPIPE});
    EXPECT_EQ(send_to(&by_hand), -1);
    EXPECT_EQ(g_cp_list.count, 0u);
    EXPECT_FALSE(is_open(connection.number));
}

TEST_F(Reply, ThroughAnItemOfAConnectionThatHasEndedGoesNowhere)
{
    const ListedConnection connection;
    CtrlPoint *item = connection_copy(connection.record);
    registry_remove(connection.record);
    EXPECT_EQ(send_to(item), -1);
    EXPECT_EQ(send_locked(item), -1);
    EXPECT_EQ(lines.out(),
              Texts({error_line("tcp_sendback", 244, EPIPE), "  tcp_sendbackall 140,ack =8\n",
                     error_line("tcp_sendbackall", 177, EPIPE)}));
    std::free(item);
}

TEST_F(Reply, NeverReachesALaterConnectionWithTheSameNumber)
{
    const ListedConnection earlier;
    CtrlPoint *item = connection_copy(earlier.record);
    CtrlPoint kept = *item;
    registry_remove(earlier.record);
    std::free(item);
    const ListedConnection later(local_pair());
    ASSERT_EQ(later.number, earlier.number);
    EXPECT_EQ(send_to(&kept), -1);
    EXPECT_EQ(send_locked(&kept), -1);
    expect_nothing_sent(later);
}

TEST_F(Reply, GoesToAHostsOwnRecordToo)
{
    const ListedConnection connection;
    const ConnectedPair own = local_pair();
    HandMadeRecord record(own.near.get());
    EXPECT_EQ(send_to(&record), 1);
    EXPECT_EQ(send_locked(&record, 8), 1);
    EXPECT_EQ(hex(receive_bytes(own.far.get(), FRAME_SIZE)), sent_frame(6));
    EXPECT_EQ(hex(receive_bytes(own.far.get(), FRAME_SIZE)), sent_frame(8));
}

TEST_F(Reply, GoesToAHostsOwnRecordAlsoWhileTheServiceIsStopped)
{
    const ConnectedPair own = local_pair();
    HandMadeRecord record(own.near.get());
    flags_stop_running();
    EXPECT_EQ(send_to(&record), 1);
    stop();
    EXPECT_EQ(send_to(&record), 1);
    EXPECT_EQ(tcp_sendbackall(&record, 8, PAYLOAD, PAYLOAD_SIZE), 1);
    EXPECT_EQ(hex(receive_bytes(own.far.get(), FRAME_SIZE)), sent_frame(6));
    EXPECT_EQ(hex(receive_bytes(own.far.get(), FRAME_SIZE)), sent_frame(6));
    EXPECT_EQ(hex(receive_bytes(own.far.get(), FRAME_SIZE)), sent_frame(8));
}

TEST_F(Reply, LeavesAHostsOwnSocketOpenWhenItFails)
{
    const ListedConnection connection;
    ConnectedPair own = local_pair();
    HandMadeRecord record(own.near.get());
    own.far.close();
    EXPECT_EQ(send_to(&record), -1);
    EXPECT_EQ(send_locked(&record), -1);
    stop();
    EXPECT_EQ(send_to(&record), -1);
    EXPECT_TRUE(is_open(record.fd));
    EXPECT_EQ(lines.count(error_line("tcp_sendback", 244, EPIPE)), 2u);
    EXPECT_EQ(lines.count(error_line("tcp_sendbackall", 177, EPIPE)), 1u);
}

TEST_F(Reply, ToAHostsOwnRecordIsTriedAgainAlsoWhileTheServiceStops)
{
    const ConnectedPair own = local_pair();
    HandMadeRecord record(own.near.get());
    flags_stop_running();
    const TakenSleeps sleeps;
    const ScriptedSends sends(own.near.get(), {-EAGAIN, 30, -EAGAIN});
    EXPECT_EQ(send_to(&record), 1);
    EXPECT_EQ(hex(receive_bytes(own.far.get(), FRAME_SIZE)), sent_frame(6));
}

TEST_F(Reply, ThroughItemsOfAnEarlierRunGoesNowhere)
{
    const ListedConnection before;
    CtrlPoint *item = connection_copy(before.record);
    stop();
    EXPECT_EQ(send_to(item), -1);
    start();
    const ListedConnection after;
    EXPECT_EQ(send_to(item), -1);
    expect_nothing_sent(after);
    std::free(item);
}

/* ---- A connection that takes nothing */

TEST_F(Reply, IsGivenUpWhenTheServiceStops)
{
    const ListedConnection connection;
    CtrlPoint *item = connection_copy(connection.record);
    const ScriptedSends sends(connection.number, std::vector<int>(1000, -EAGAIN));
    int pauses = 0;
    const TakenSleeps sleeps([&](uint64_t) {
        if (++pauses == 3) {
            flags_stop_running();
        }
    });
    EXPECT_EQ(send_to(item), -1);
    EXPECT_EQ(pauses, 3);
    EXPECT_EQ(lines.out(), Texts({error_line("tcp_sendback", 244, ESHUTDOWN)}));
    EXPECT_EQ(g_cp_list.count, 0u);
    std::free(item);
}

TEST_F(Reply, IsStillSentWhileTheServiceStopsWhenThereIsRoom)
{
    const ListedConnection connection;
    flags_stop_running();
    EXPECT_EQ(send_to(connection.record), 1);
    EXPECT_EQ(connection.received(FRAME_SIZE), sent_frame(6));
}

namespace
{

class StallingReply : public Reply
{
protected:
    /* How often an attempt is made when the connection takes a byte at these attempts only.
     * `meanwhile` runs in each pause, and may let more time pass. */
    int attempts(const ListedConnection &connection, const std::vector<int> &taking, int most,
                 const std::function<void(SleptTime &time, uint64_t ms)> &meanwhile = {})
    {
        std::vector<int> steps(static_cast<size_t>(most), -EAGAIN);
        for (const int attempt : taking) {
            steps[static_cast<size_t>(attempt) - 1] = 1;
        }
        const ScriptedSends sends(connection.number, steps);
        SleptTime time([&](uint64_t ms) {
            if (meanwhile) {
                meanwhile(time, ms);
            }
        });
        result = send_to(connection.record);
        return static_cast<int>(sends.calls().size());
    }

    int result = 0;
};

} // namespace

TEST_F(StallingReply, IsGivenUpAtTheGuardsLimitAndTheConnectionDropped)
{
    bound_stall(50);
    const ListedConnection connection;
    EXPECT_EQ(attempts(connection, {}, 100), 6); /* at 0, 10, 20, 30, 40 and 50 milliseconds */
    EXPECT_EQ(result, -1);
    EXPECT_EQ(lines.out(), Texts({error_line("tcp_sendback", 244, ETIMEDOUT)}));
    EXPECT_EQ(g_cp_list.count, 0u);
    EXPECT_FALSE(is_open(connection.number));
}

TEST_F(StallingReply, IsGivenUpAtTheFirstAttemptAboveTheLimit)
{
    bound_stall(41);
    const ListedConnection connection;
    EXPECT_EQ(attempts(connection, {}, 100), 6);
    EXPECT_EQ(result, -1);
}

TEST_F(StallingReply, IsSentWhenThereIsRoomBelowTheLimit)
{
    bound_stall(50);
    const ListedConnection connection;
    EXPECT_EQ(attempts(connection, {}, 5), 6); /* after attempts at 0, 10, 20, 30 and 40 */
    EXPECT_EQ(result, 1);
    EXPECT_EQ(connection.received(FRAME_SIZE), sent_frame(6));
}

TEST_F(StallingReply, IsMeasuredFromTheLastByteThatWasTaken)
{
    bound_stall(50);
    const ListedConnection connection;
    EXPECT_EQ(attempts(connection, {5, 10}, 14), 15);
    EXPECT_EQ(result, 1);
    const ListedConnection another;
    EXPECT_EQ(attempts(another, {5}, 100), 11);
    EXPECT_EQ(result, -1);
}

TEST_F(StallingReply, IsNeverGivenUpWithoutALimit)
{
    const ListedConnection connection;
    EXPECT_EQ(attempts(connection, {}, 20000), 20001);
    EXPECT_EQ(result, 1);
}

TEST_F(StallingReply, IsGivenUpAtTheSecondAttemptWhenTheLimitIsShorterThanAPause)
{
    bound_stall(1);
    const ListedConnection connection;
    EXPECT_EQ(attempts(connection, {}, 100), 2);
    EXPECT_EQ(result, -1);
}

TEST_F(StallingReply, IsGivenUpAtTheGreatestLimitAndNotBefore)
{
    bound_stall(UINT32_MAX);
    const ListedConnection connection;
    const int made = attempts(connection, {}, 100, [](SleptTime &time, uint64_t ms) {
        if (ms == 10) {
            time.pass(UINT32_MAX - 11U); /* the second attempt is one millisecond below it */
        }
    });
    EXPECT_EQ(made, 3);
    EXPECT_EQ(result, -1);
}

TEST_F(StallingReply, IsGivenUpAtALimitThatTheHostSetsMeanwhile)
{
    const ListedConnection connection;
    const auto set_limit = [](SleptTime &, uint64_t ms) {
        if (ms == 30) {
            bound_stall(50);
        }
    };
    EXPECT_EQ(attempts(connection, {}, 100, set_limit), 6);
    EXPECT_EQ(result, -1);
}

TEST_F(StallingReply, IsSentWhenTheHostTakesTheLimitAwayMeanwhile)
{
    bound_stall(50);
    const ListedConnection connection;
    const auto take_limit_away = [](SleptTime &, uint64_t ms) {
        if (ms == 50) {
            ipp_set_guard(nullptr);
        }
    };
    EXPECT_EQ(attempts(connection, {}, 100, take_limit_away), 101);
    EXPECT_EQ(result, 1);
}

/* ---- Several threads */

TEST_F(Reply, KeepsTheNumberOfItsConnectionWhileItIsSent)
{
    const ListedConnection connection;
    const Door retry;
    std::atomic<bool> gone{false};
    const Replaced send(system_send, [&](int fd, const void *data, size_t size, int flags) {
        if (fd == connection.number && !gone) {
            retry.pass();
        }
        return system_send.real(fd, data, size, flags);
    });
    std::thread sender([&] { EXPECT_EQ(send_to(connection.record), -1); });
    ASSERT_TRUE(retry.wait_for_somebody());
    drop(connection.record); /* by another thread */
    gone = true;
    EXPECT_TRUE(is_open(connection.number));
    const ListedConnection next(local_pair());
    EXPECT_NE(next.number, connection.number);
    retry.open();
    sender.join();
    EXPECT_FALSE(is_open(connection.number));
    EXPECT_EQ(lines.count(error_line("tcp_sendback", 244, EPIPE)), 1u);
    expect_nothing_sent(next);
}

namespace
{

/* Makes every send partial and lets other threads go on in between. */
ssize_t send_little(int fd, const void *data, size_t size, int flags)
{
    static std::atomic<unsigned> turn{0};
    const unsigned now = ++turn;
    std::this_thread::yield();
    if (now % 7 == 0) {
        errno = EAGAIN;
        return -1;
    }
    const ssize_t taken = system_send.real(fd, data, std::min<size_t>(size, 1 + now % 97), flags);
    std::this_thread::yield();
    return taken;
}

struct Sender {
    const char *name;
    std::function<void()> send;
};

} // namespace

TEST_F(Reply, NeverMixesItsFrameWithOthersOnTheSameConnection)
{
    const Replaced send(system_send, send_little);
    const Replaced pause(system_usleep, [](useconds_t) {
        std::this_thread::yield();
        return 0;
    });
    const ListedConnection connection;
    ASSERT_EQ(set_socket_timeout(connection.number, 1), 0);
    CtrlPoint *item = connection_copy(connection.record);
    CtrlPoint *heartbeat = connection_copy(connection.record);
    CtrlPoint kept = *item;
    const Bytes large(4000, 0x11);
    const Bytes event(500, 0x22);
    const Bytes small(30, 0x33);
    const auto size = [](const Bytes &payload) { return static_cast<int32_t>(payload.size()); };
    const int rounds = 40;
    const Sender senders[] = {
        {"item", [&] { EXPECT_EQ(tcp_sendback(item, 6, large.data(), size(large)), 1); }},
        {"event", [&] { sendto_all_ctrlpoint(9, event.data(), size(event)); }},
        {"heartbeat", [&] { EXPECT_EQ(device_heartbeat(heartbeat), 1); }},
        {"record",
         [&] { EXPECT_EQ(tcp_sendback(connection.record, 8, small.data(), size(small)), 1); }},
        {"kept", [&] { EXPECT_EQ(tcp_sendback(&kept, 0x22, small.data(), size(small)), 1); }},
    };
    std::vector<std::thread> threads;
    for (const Sender &sender : senders) {
        threads.emplace_back([&] {
            for (int round = 0; round < rounds; round++) {
                sender.send();
            }
        });
    }
    const std::vector<Bytes> expected = {wire_frame(6, large), wire_frame(9, event),
                                         answer_heartbeat(), wire_frame(8, small),
                                         wire_frame(0x22, small)};
    std::vector<int> seen(expected.size());
    for (size_t i = 0; i < expected.size() * rounds; i++) {
        const Bytes frame = read_frame(connection.phone.get());
        const auto which = std::find(expected.begin(), expected.end(), frame);
        if (which == expected.end()) {
            ADD_FAILURE() << "frame " << i << " is broken: "
                          << hex(frame.data(), std::min<size_t>(80, frame.size()));
            drop(connection.record); /* the senders end */
            break;
        }
        seen[static_cast<size_t>(which - expected.begin())]++;
    }
    for (std::thread &thread : threads) {
        thread.join();
    }
    EXPECT_EQ(seen, std::vector<int>(expected.size(), rounds));
    std::free(item);
    std::free(heartbeat);
}
