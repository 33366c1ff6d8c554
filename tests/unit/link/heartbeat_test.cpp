/* SPDX-License-Identifier: MIT */
#include "tvlink/heartbeat.h"

#include "link/connection.h"
#include "support/mutex_state.h"
#include "support/service_facts.h"
#include "support/system_calls.h"
#include "support/taken_time.h"
#include "unit/link/listed_connection.h"
#include "unit/link/scripted_sends.h"

#include <memory>

namespace
{

using Texts = std::vector<std::string>;
using Records = std::vector<void *>;

const char *const PIPE_LINE = "err:socket_send(): tcp_sendback:244,errno=32\n";
const size_t HEARTBEAT_SIZE = 77;

class Heartbeat : public OpenRegistry
{
protected:
    /* Nothing has come to this phone so far. */
    static void expect_silence(const ListedConnection &connection)
    {
        uint8_t byte = 0;
        EXPECT_EQ(recv(connection.phone.get(), &byte, 1, MSG_DONTWAIT), -1);
    }

    static void expect_heartbeat(const ListedConnection &connection)
    {
        EXPECT_EQ(connection.received(HEARTBEAT_SIZE), hex(answer_heartbeat()));
        expect_silence(connection);
    }

    FrozenClock clock;
};

class IdleCheck : public Heartbeat
{
protected:
    void make_idle(const ListedConnection &connection, int seconds) const
    {
        registry_lock();
        connection.record->last_active = clock.now() - static_cast<uint32_t>(seconds);
        registry_unlock();
    }
};

} // namespace

/* ---- One heartbeat */

TEST_F(Heartbeat, IsAFrameOf77Bytes)
{
    const ListedConnection connection;
    EXPECT_EQ(device_heartbeat(connection.record), 1);
    EXPECT_EQ(connection.received(HEARTBEAT_SIZE),
              "A5 A5 A5 4D 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 "
              "00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 EE 48 45 41 52 54 "
              "00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 9E");
    EXPECT_TRUE(lines.all().empty());
}

TEST_F(Heartbeat, AnswersAnItemOnItsConnection)
{
    const ListedConnection connection;
    CtrlPoint *item = connection_copy(connection.record);
    EXPECT_EQ(device_heartbeat(item), 1);
    expect_heartbeat(connection);
    std::free(item);
}

TEST_F(Heartbeat, ThatFailsDropsTheConnection)
{
    const ListedConnection connection;
    const ScriptedSends sends(connection.number, {-EPIPE});
    EXPECT_EQ(device_heartbeat(connection.record), -1);
    EXPECT_EQ(g_cp_list.count, 0u);
    EXPECT_FALSE(is_open(connection.number));
    EXPECT_EQ(lines.out(), Texts({PIPE_LINE}));
    EXPECT_EQ(device_heartbeat(nullptr), -1);
}

/* ---- Heartbeats to everybody */

TEST_F(Heartbeat, GoesToEverybodyThatHasHadNone)
{
    const ListedConnections all = listed_connections(3);
    EXPECT_EQ(check_ctrlpoint_heart(), 0);
    for (const auto &connection : all) {
        expect_heartbeat(*connection);
        EXPECT_EQ(connection->record->last_heartbeat, clock.now());
    }
    EXPECT_TRUE(lines.all().empty());
}

TEST_F(Heartbeat, GoesToNobodyTwiceWithinSixSeconds)
{
    const ListedConnections all = listed_connections(2);
    EXPECT_EQ(check_ctrlpoint_heart(), 0);
    const uint32_t first = clock.now();
    for (const auto &connection : all) {
        expect_heartbeat(*connection);
    }
    EXPECT_EQ(check_ctrlpoint_heart(), 0);
    clock.advance(5);
    EXPECT_EQ(check_ctrlpoint_heart(), 0);
    for (const auto &connection : all) {
        expect_silence(*connection);
        EXPECT_EQ(connection->record->last_heartbeat, first);
    }
    clock.advance(1);
    EXPECT_EQ(check_ctrlpoint_heart(), 0);
    for (const auto &connection : all) {
        expect_heartbeat(*connection);
        EXPECT_EQ(connection->record->last_heartbeat, clock.now());
    }
}

TEST_F(Heartbeat, IsMeasuredForEachConnection)
{
    const ListedConnection earlier;
    EXPECT_EQ(check_ctrlpoint_heart(), 0);
    clock.advance(4);
    const ListedConnection later;
    EXPECT_EQ(check_ctrlpoint_heart(), 0);
    expect_heartbeat(earlier);
    expect_heartbeat(later);
    clock.advance(2);
    EXPECT_EQ(check_ctrlpoint_heart(), 0);
    expect_heartbeat(earlier);
    expect_silence(later);
}

TEST_F(Heartbeat, IsNotAskedForByAnswers)
{
    const ListedConnection connection;
    EXPECT_EQ(device_heartbeat(connection.record), 1);
    EXPECT_EQ(connection.record->last_heartbeat, 0u);
    EXPECT_EQ(check_ctrlpoint_heart(), 0);
    EXPECT_EQ(connection.received(2 * HEARTBEAT_SIZE),
              hex(joined({answer_heartbeat(), answer_heartbeat()})));
}

TEST_F(Heartbeat, ToEverybodyDropsWhoeverFailsWithoutADeadlock)
{
    for (size_t count = 1; count <= 3; count++) {
        for (size_t failing = 0; failing < count; failing++) {
            SCOPED_TRACE(std::to_string(failing) + " of " + std::to_string(count) + " fails");
            stop();
            start();
            lines.clear();
            const ListedConnections all = listed_connections(count);
            Records expected;
            for (size_t i = 0; i < count; i++) {
                if (i != failing) {
                    expected.push_back(all[i]->record);
                }
            }
            const ScriptedSends sends(all[failing]->number, {-EPIPE});
            EXPECT_EQ(check_ctrlpoint_heart(), 0);
            EXPECT_EQ(elements(g_cp_list), expected);
            EXPECT_EQ(lines.out(), Texts({PIPE_LINE}));
            EXPECT_FALSE(is_open(all[failing]->number));
            for (size_t i = 0; i < count; i++) {
                if (i != failing) {
                    expect_heartbeat(*all[i]);
                }
            }
        }
    }
}

TEST_F(Heartbeat, ToEverybodySurvivesThatEverybodyFails)
{
    ListedConnections all = listed_connections(3);
    for (const auto &connection : all) {
        connection->phone.close();
    }
    EXPECT_EQ(check_ctrlpoint_heart(), 0);
    EXPECT_EQ(g_cp_list.count, 0u);
    EXPECT_EQ(lines.out(), Texts(3, PIPE_LINE));
}

TEST_F(Heartbeat, ToEverybodyTakesTheRegistryLockThenTheConnections)
{
    const ListedConnection connection;
    bool both = false;
    const Replaced send(system_send, [&](int fd, const void *data, size_t size, int flags) {
        both = held_by_this_thread(g_cp_list_mutex) &&
               held_by_this_thread(connection.record->send_lock);
        return system_send.real(fd, data, size, flags);
    });
    EXPECT_EQ(check_ctrlpoint_heart(), 0);
    EXPECT_TRUE(both);
}

TEST_F(Heartbeat, ToEverybodyIsLostWhenMemoryIsOut)
{
    const ListedConnections all = listed_connections(2);
    {
        WatchedCall allocation(system_calloc);
        allocation.fail(ENOMEM);
        EXPECT_EQ(check_ctrlpoint_heart(), 0);
    }
    EXPECT_EQ(g_cp_list.count, 2u);
    expect_silence(*all[0]);
    expect_silence(*all[1]);
    clock.advance(6);
    EXPECT_EQ(check_ctrlpoint_heart(), 0);
    expect_heartbeat(*all[0]);
    expect_heartbeat(*all[1]);
}

TEST_F(Heartbeat, GoesToNobodyOnceTheServiceHasStopped)
{
    const ListedConnection connection;
    stop();
    EXPECT_EQ(check_ctrlpoint_heart(), 0);
    EXPECT_EQ(check_ctrlpoint_timeout(), 0);
    EXPECT_EQ(connection.received(1), "");
}

/* ---- The idle check */

TEST_F(IdleCheck, DropsNobodyThatIsActive)
{
    const ListedConnection connection;
    for (const int age : {0, 1, 30, 300, 301, 100000, -1, -31, -100}) {
        make_idle(connection, age);
        EXPECT_EQ(check_ctrlpoint_timeout(), 0);
        EXPECT_TRUE(is_listed(connection.record)) << "after " << age << " seconds";
    }
    EXPECT_TRUE(lines.all().empty());
}

TEST_F(IdleCheck, DropsWhoeverHasBeenSilentFor31To299Seconds)
{
    for (const int age : {31, 32, 298, 299}) {
        const ListedConnection connection;
        make_idle(connection, age);
        lines.clear();
        EXPECT_EQ(check_ctrlpoint_timeout(), 0);
        EXPECT_EQ(g_cp_list.count, 0u) << "after " << age << " seconds";
        EXPECT_FALSE(is_open(connection.number));
        EXPECT_TRUE(wait_for_end(connection.phone.get()));
        EXPECT_EQ(lines.out(), Texts({TIMEOUT_LINE}));
    }
}

TEST_F(IdleCheck, DropsOneAtATimeInOrderOfConnection)
{
    const ListedConnections all = listed_connections(4);
    make_idle(*all[1], 40);
    make_idle(*all[2], 30);
    make_idle(*all[3], 200);
    EXPECT_EQ(check_ctrlpoint_timeout(), 0);
    EXPECT_EQ(elements(g_cp_list), Records({all[0]->record, all[2]->record, all[3]->record}));
    EXPECT_EQ(lines.out(), Texts({TIMEOUT_LINE}));
    EXPECT_EQ(check_ctrlpoint_timeout(), 0);
    EXPECT_EQ(elements(g_cp_list), Records({all[0]->record, all[2]->record}));
    EXPECT_EQ(lines.out(), Texts({TIMEOUT_LINE, TIMEOUT_LINE}));
    EXPECT_EQ(check_ctrlpoint_timeout(), 0);
    EXPECT_EQ(g_cp_list.count, 2u);
    EXPECT_EQ(lines.out(), Texts({TIMEOUT_LINE, TIMEOUT_LINE}));
}

TEST_F(IdleCheck, DropsNobodyWhenTheClockJumps)
{
    const ListedConnection connection;
    clock.advance(300);
    EXPECT_EQ(check_ctrlpoint_timeout(), 0);
    EXPECT_TRUE(is_listed(connection.record));
    clock.advance(-301);
    EXPECT_EQ(check_ctrlpoint_timeout(), 0);
    EXPECT_TRUE(is_listed(connection.record));
}

TEST_F(IdleCheck, LeavesTheNumberToWhoeverUsesTheConnection)
{
    const ListedConnection connection;
    CtrlPoint *item = connection_copy(connection.record);
    hold_record(connection.record);
    make_idle(connection, 31);
    EXPECT_EQ(check_ctrlpoint_timeout(), 0);
    EXPECT_EQ(g_cp_list.count, 0u);
    EXPECT_TRUE(wait_for_end(connection.phone.get()));
    EXPECT_TRUE(is_open(connection.number));
    EXPECT_EQ(device_heartbeat(item), -1);
    std::free(item);
    release_record(connection.record);
    EXPECT_FALSE(is_open(connection.number));
}

/* The standard streams get the line at once, a sink only with the lock released. */
TEST_F(IdleCheck, PrintsItsLineAfterTheRemoval)
{
    const ListedConnection connection;
    make_idle(connection, 31);
    ipp_set_log_sink(nullptr, nullptr);
    std::string at_close = "it is not closed";
    std::string at_end;
    {
        const CapturedStreams streams;
        const Replaced close(system_close, [&](int fd) {
            if (fd == connection.number) {
                at_close = streams.out();
            }
            return system_close.real(fd);
        });
        check_ctrlpoint_timeout();
        at_end = streams.out();
    }
    EXPECT_EQ(at_close, "");
    EXPECT_EQ(at_end, TIMEOUT_LINE);
}

TEST_F(IdleCheck, PrintsWithNoLockHeld)
{
    const ListedConnection connection;
    make_idle(connection, 31);
    int held = -1;
    ipp_set_log_sink(
        [](int, const char *, void *context) {
            *static_cast<int *>(context) = held_by_this_thread(g_cp_list_mutex) ? 1 : 0;
        },
        &held);
    EXPECT_EQ(check_ctrlpoint_timeout(), 0);
    ipp_set_log_sink(nullptr, nullptr);
    EXPECT_EQ(held, 0);
}
