/* SPDX-License-Identifier: MIT */
/* A host that looks inside: it holds the registry's lock, copies items and records, takes items off
 * the queue. */
#include "link/work_queues.h"
#include "support/captured_lines.h"
#include "support/full_buffers.h"
#include "support/taken_time.h"
#include "support/tcp_service.h"
#include "support/wait_until.h"
#include "tvlink.h"
#include "tvlink/handlers.h"
#include "tvlink/heartbeat.h"
#include "tvlink/host/push.h"
#include "tvlink/reply.h"
#include "unit/link/listed_connection.h"
#include "unit/link/scripted_sends.h"

#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <future>
#include <thread>

#include <unistd.h>

namespace
{

const char *const GONE_LINE = "err:socket_send(): tcp_sendback:244,errno=32\n";

/* As the host that holds the lock: what needs the lock would never come back. */
bool returns_under_the_lock(const std::function<void()> &call)
{
    std::promise<void> done;
    std::thread host([&] {
        registry_lock();
        call();
        registry_unlock();
        done.set_value();
    });
    const bool back = done.get_future().wait_for(PATIENCE) == std::future_status::ready;
    if (!back) {
        host.detach();
    } else {
        host.join();
    }
    return back;
}

class HostInside : public OpenRegistry
{
};

class HostInsideService : public testing::Test
{
protected:
    CapturedLines lines;
};

} // namespace

/* ---- With the registry's lock held */

TEST_F(HostInside, RepliesUnderTheLock)
{
    const ListedConnection connection;
    CtrlPoint *item = connection_copy(connection.record);
    EXPECT_TRUE(returns_under_the_lock([&] {
        EXPECT_EQ(tcp_sendback(connection.record, 6, "a", 1), 1);
        EXPECT_EQ(tcp_sendback(item, 6, "b", 1), 1);
        EXPECT_EQ(device_heartbeat(item), 1);
        EXPECT_EQ(device_heartbeat(connection.record), 1);
        uint8_t bind[] = {0x01, 0x11};
        handle_set_tv_bind(item, bind, sizeof bind);
    }));
    EXPECT_EQ(connection.received(73), text_reply("a"));
    EXPECT_EQ(connection.received(73), text_reply("b"));
    EXPECT_EQ(connection.received(77), hex(answer_heartbeat()));
    EXPECT_EQ(connection.received(77), hex(answer_heartbeat()));
    EXPECT_EQ(connection.received(75), hex(wire_frame(8, bytes("01 11 FF"))));
    std::free(item);
}

TEST_F(HostInside, RepliesUnderTheLockToAPhoneThatHasLeft)
{
    const ListedConnection connection;
    CtrlPoint *item = connection_copy(connection.record);
    registry_remove(connection.record);
    EXPECT_TRUE(returns_under_the_lock([&] { EXPECT_EQ(tcp_sendback(item, 6, "a", 1), -1); }));
    EXPECT_EQ(lines.count(GONE_LINE), 1u);
    std::free(item);
}

TEST_F(HostInside, PushesUnderTheLock)
{
    const ListedConnection connection;
    EXPECT_TRUE(returns_under_the_lock([&] {
        CtrlPoint *word = connection.record;
        EXPECT_EQ(start_egp_thread(&word, std::calloc(1, 3), 3), 0);
        EXPECT_EQ(connection.received(75), hex(wire_frame(6, bytes("00 00 00"))));
    }));
}

TEST_F(HostInside, RepliesThroughItsOwnRecordWhileAnotherThreadHoldsTheLock)
{
    const ConnectedPair own = local_pair();
    HandMadeRecord record(own.near.get());
    registry_lock();
    auto sent = std::async(std::launch::async, [&] { return tcp_sendback(&record, 6, "a", 1); });
    EXPECT_EQ(hex(receive_bytes(own.far.get(), 73)), text_reply("a"));
    registry_unlock();
    EXPECT_EQ(sent.get(), 1);
}

TEST_F(HostInside, GetsAFailureBackUnderTheLockAndTheRecordIsGone)
{
    const ListedConnection other;
    const ListedConnection connection;
    const ScriptedSends sends(connection.number, {-EPIPE});
    EXPECT_TRUE(
        returns_under_the_lock([&] { EXPECT_EQ(tcp_sendback(connection.record, 6, "a", 1), -1); }));
    EXPECT_EQ(elements(g_cp_list), std::vector<void *>({other.record}));
    EXPECT_FALSE(is_open(connection.number));
    EXPECT_EQ(lines.count(GONE_LINE), 1u);
}

TEST_F(HostInside, ReportsAnEventUnderTheLock)
{
    const ListedConnection connection;
    EXPECT_TRUE(returns_under_the_lock([&] {
        EXPECT_EQ(ipp_report_dev_event(0x1234, 7, "ab", "xyz", 3), 0);
        EXPECT_EQ(check_ctrlpoint_heart(), 0);
        EXPECT_EQ(check_ctrlpoint_timeout(), 0);
        CtrlPoint reference = {};
        EXPECT_EQ(ipp_connected_ctrlpoints(&reference, 1), 1u);
    }));
    EXPECT_EQ(connection.received(93 + 77).size(), 3u * (93 + 77) - 1);
}

/* The event is stuck at one phone for ever, and with it the registry. */
TEST_F(HostInsideService, RepliesWhileAnEventIsStuckAtAnotherPhone)
{
    const FullBuffers full;
    const Bytes large(MORE_THAN_ALL_BUFFERS);
    const Door working;
    const GetRequests requests([&](CtrlPoint *item, const Bytes &body) {
        working.pass();
        echo(item, body);
    });
    TcpService service;
    const Phone stalled(SMALL_BUFFER);
    ASSERT_TRUE(registered(stalled));
    const Phone asking;
    asking.send(text_request("question"));
    ASSERT_TRUE(working.wait_for_somebody());
    std::thread event([&] { sendto_all_ctrlpoint(9, large.data(), 16 << 20); });
    ASSERT_TRUE(full.wait_for(3));
    working.open();
    EXPECT_EQ(hex(asking.read_frame()), text_reply("question"));
    service.stop();
    event.join();
}

/* ---- Copies of copies */

namespace
{

/* Queues a copy of the item once, with the same body or one of its own. */
void queue_again(const CtrlPoint *item, const Bytes &body, bool with_own_body)
{
    CtrlPoint *copy = static_cast<CtrlPoint *>(std::malloc(sizeof *copy));
    std::memcpy(static_cast<void *>(copy), item, sizeof *copy);
    if (with_own_body) {
        copy->rx_buf = static_cast<uint8_t *>(std::malloc(body.size()));
        std::memcpy(copy->rx_buf, body.data(), body.size());
    }
    pthread_mutex_lock(&devCallBackMutex);
    EXPECT_EQ(enqueue(devCallBackQueue, copy), 0);
    pthread_mutex_unlock(&devCallBackMutex);
    sem_post(&devCallBackSem);
}

} // namespace

TEST_F(HostInsideService, QueuesACopyOfAnItemAgain)
{
    for (const bool with_own_body : {false, true}) {
        std::atomic<int> runs{0};
        const GetRequests requests([&](CtrlPoint *item, const Bytes &body) {
            if (++runs <= 2) {
                queue_again(item, body, with_own_body);
            }
            echo(item, body);
        });
        const TcpService service;
        const Phone phone;
        phone.send(text_request("again"));
        for (int i = 0; i < 3; i++) {
            EXPECT_EQ(hex(phone.read_frame()), text_reply("again"));
        }
        EXPECT_EQ(hex(phone.exchange_heartbeat()), hex(answer_heartbeat()));
        EXPECT_EQ(runs, 3);
    }
}

TEST_F(HostInsideService, QueuesACopyOfAnItemWhosePhoneLeavesMeanwhile)
{
    const Door working;
    std::atomic<int> numbers[2] = {{-2}, {-2}};
    std::atomic<int> runs{0};
    const GetRequests requests([&](CtrlPoint *item, const Bytes &body) {
        const int run = runs;
        if (run == 0) {
            queue_again(item, body, false);
            working.pass();
        }
        numbers[run] = item->fd;
        echo(item, body);
        runs++;
    });
    const TcpService service;
    Phone phone;
    const int number = number_of(phone);
    phone.send(text_request("again"));
    ASSERT_TRUE(working.wait_for_somebody());
    phone.hang_up();
    ASSERT_TRUE(wait_for_connected(0));
    EXPECT_TRUE(is_open(number)) << "the request that runs refers to it";
    working.open();
    EXPECT_TRUE(wait_until([&] { return runs == 2; }));
    EXPECT_EQ(numbers[0], number);
    EXPECT_EQ(numbers[1], -1);
    EXPECT_TRUE(wait_until([&] { return !is_open(number); }));
    EXPECT_EQ(lines.count(GONE_LINE), 2u);
}

TEST_F(HostInside, SendsThroughItsCopyOfARecordAndFreesIt)
{
    const ListedConnection connection;
    CtrlPoint *copy = static_cast<CtrlPoint *>(std::malloc(sizeof *copy));
    std::memcpy(static_cast<void *>(copy), connection.record, sizeof *copy);
    EXPECT_EQ(tcp_sendback(copy, 6, "a", 1), 1);
    EXPECT_EQ(connection.received(73), text_reply("a"));
    registry_remove(connection.record);
    EXPECT_FALSE(is_open(connection.number));
    EXPECT_EQ(tcp_sendback(copy, 6, "a", 1), -1);
    EXPECT_EQ(lines.count(GONE_LINE), 1u);
    std::free(copy);
}

TEST_F(HostInside, SendsToTheDescriptorThatItHasPutIntoAnItem)
{
    const ListedConnection connection;
    const ConnectedPair own = local_pair();
    CtrlPoint *item = connection_copy(connection.record);
    item->fd = own.near.get();
    EXPECT_EQ(tcp_sendback(item, 6, "own", 3), 1);
    EXPECT_EQ(hex(receive_bytes(own.far.get(), 75)), text_reply("own"));
    item->fd = connection.number;
    EXPECT_EQ(tcp_sendback(item, 6, "phone", 5), 1);
    EXPECT_EQ(connection.received(77), text_reply("phone"));
    std::free(item);
}

/* ---- The queue */

TEST_F(HostInside, TakesItemsOffTheQueueAndFreesThem)
{
    const ListedConnection connection;
    CtrlPoint *item = connection_copy(connection.record);
    Queue *queue = newQueue(5);
    ASSERT_EQ(enqueue(queue, item), 0);
    std::free(dequeue(queue));
    freeQueue(queue);
    registry_remove(connection.record);
    EXPECT_FALSE(is_open(connection.number));
}

/* ---- Records that were never listed */

TEST_F(HostInside, FreesARecordWhoseSocketHasAnotherDescriptor)
{
    const ConnectedPair own = local_pair();
    const int number = dup(own.near.get());
    CtrlPoint *record = static_cast<CtrlPoint *>(std::calloc(1, sizeof *record));
    record->fd = number;
    record->rx_buf = static_cast<uint8_t *>(std::malloc(10));
    pthread_mutex_init(&record->send_lock, nullptr);
    ctrlpoint_free(record);
    EXPECT_FALSE(is_open(number));
    ASSERT_EQ(send(own.near.get(), "on", 2, 0), 2);
    EXPECT_EQ(hex(receive_bytes(own.far.get(), 2)), hex(bytes("'on'")));
}

/* No pass has seen the record. */
TEST_F(HostInside, ListsARecordThatTakesNothingAndStops)
{
    ConnectedPair pair = local_pair();
    CtrlPoint *record = static_cast<CtrlPoint *>(std::calloc(1, sizeof *record));
    record->fd = pair.near.release();
    pthread_mutex_init(&record->send_lock, nullptr);
    registry_lock();
    EXPECT_EQ(list_insert(&g_cp_list, record), 0);
    registry_unlock();
    const ScriptedSends sends(record->fd, std::vector<int>(1000, -EAGAIN));
    int pauses = 0;
    const TakenSleeps sleeps([&](uint64_t) {
        if (++pauses == 3) {
            flags_stop_running();
        }
    });
    EXPECT_EQ(ipp_report_dev_event(1, 2, nullptr, nullptr, 0), 0);
    EXPECT_EQ(pauses, 3);
    EXPECT_EQ(g_cp_list.count, 0u);
}

TEST_F(HostInsideService, PutsARecordOfItsOwnIntoTheList)
{
    const GetRequests requests([](CtrlPoint *item, const Bytes &body) { echo(item, body); });
    const TcpService service;
    ConnectedPair pair = tcp_pair();
    const int number = pair.near.release();
    CtrlPoint *record = static_cast<CtrlPoint *>(std::calloc(1, sizeof *record));
    record->fd = number;
    record->last_active = static_cast<uint32_t>(time(nullptr));
    pthread_mutex_init(&record->send_lock, nullptr);
    registry_lock();
    EXPECT_EQ(list_insert(&g_cp_list, record), 0);
    registry_unlock();
    const Phone passing; /* begins a new pass */
    send_bytes(pair.far.get(), text_request("mine"));
    EXPECT_EQ(hex(read_frame(pair.far.get())), text_reply("mine"));
    pair.far.close();
    EXPECT_TRUE(wait_for_connected(1));
    EXPECT_FALSE(is_open(number));
}
