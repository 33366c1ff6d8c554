/* SPDX-License-Identifier: MIT */
#include "tvlink/workers.h"

#include "link/work_queues.h"
#include "support/captured_lines.h"
#include "support/child_process.h"
#include "support/mutex_state.h"
#include "support/sockets.h"
#include "support/system_calls.h"
#include "support/wait_until.h"
#include "tvlink/frame.h"
#include "tvlink/registry.h"
#include "tvlink/router.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <condition_variable>
#include <cstdlib>
#include <cstring>
#include <mutex>

namespace
{

using Lines = std::vector<std::string>;

const char *const THREAD_ERROR = "err: startDevCallBackThread pthread_create() fail\n";

/* One of the two workers: they are started alike. */
struct Worker {
    int (*start)(void);
    Queue **queue;
    sem_t *items;
    pthread_t *thread;
    const char *queue_error;
};

const Worker WORKERS[] = {
    {startDevCallBackThread, &devCallBackQueue, &devCallBackSem, &devCallBackTid,
     "new devCallBackQueue error.\n"},
    {startHeartBeatFeedbackThread, &heartBeatFeedbackQueue, &heartBeatFeedbackSem,
     &heartBeatFeedbackTid, "new heartBeatFeedbackQueue error.\n"},
};

void for_each_worker(const std::function<void(const Worker &)> &body)
{
    for (const Worker &worker : WORKERS) {
        in_child([&] { body(worker); });
    }
}

TEST(Workers, DoNotExistBeforeTheyAreStarted)
{
    for (const Worker &worker : WORKERS) {
        EXPECT_EQ(*worker.queue, nullptr);
        EXPECT_EQ(*worker.thread, pthread_t{});
    }
}

TEST(Workers, AreStartedWithAnEmptyQueueAndAJoinableThread)
{
    for_each_worker([](const Worker &worker) {
        const CapturedLines lines;
        const WatchedCall threads(system_pthread_create);
        EXPECT_EQ(worker.start(), 0);
        EXPECT_EQ(threads.calls(), 1);
        ASSERT_NE(*worker.queue, nullptr);
        EXPECT_EQ((*worker.queue)->capacity, 50);
        EXPECT_EQ(queueIsEmpty(*worker.queue), 1);
        int count = -1;
        EXPECT_EQ(sem_getvalue(worker.items, &count), 0);
        EXPECT_EQ(count, 0);
        pthread_attr_t attributes;
        ASSERT_EQ(pthread_getattr_np(*worker.thread, &attributes), 0);
        int state = -1;
        pthread_attr_getdetachstate(&attributes, &state);
        EXPECT_EQ(state, PTHREAD_CREATE_JOINABLE);
        EXPECT_EQ(lines.all().size(), 0u);
        pthread_attr_destroy(&attributes);
    });
}

TEST(Workers, AreStartedOnce)
{
    for_each_worker([](const Worker &worker) {
        ASSERT_EQ(worker.start(), 0);
        const pthread_t thread = *worker.thread;
        Queue *const queue = *worker.queue;
        const WatchedCall threads(system_pthread_create);
        EXPECT_EQ(worker.start(), 0);
        EXPECT_TRUE(pthread_equal(*worker.thread, thread));
        EXPECT_EQ(*worker.queue, queue);
        EXPECT_EQ(threads.calls(), 0);
    });
}

/* Nobody could tell how long a queue of the host is used. */
TEST(Workers, AreStartedWithAQueueOfTheirOwnAlsoWhenTheHostHasMadeOne)
{
    for_each_worker([](const Worker &worker) {
        Queue *of_host = newQueue(500);
        *worker.queue = of_host;
        EXPECT_EQ(worker.start(), 0);
        EXPECT_NE(*worker.queue, of_host);
        EXPECT_EQ((*worker.queue)->capacity, 50);
        freeQueue(of_host);
    });
}

TEST(Workers, AreNotStartedWithoutAQueue)
{
    for (SystemFunction *function : SystemFunctions{&system_malloc, &system_calloc}) {
        for_each_worker([function](const Worker &worker) {
            const CapturedLines lines;
            WatchedCall memory(*function);
            memory.fail(ENOMEM);
            EXPECT_EQ(worker.start(), -1);
            EXPECT_EQ(lines.out(), Lines{worker.queue_error});
            EXPECT_EQ(lines.err(), Lines());
            EXPECT_EQ(*worker.queue, nullptr);
            EXPECT_EQ(worker.start(), 0) << "the next attempt";
        });
    }
}

TEST(Workers, UseOneWordingWhenAThreadCannotBeCreated)
{
    for_each_worker([](const Worker &worker) {
        const CapturedLines lines;
        WatchedCall threads(system_pthread_create);
        threads.fail(EAGAIN, 1, 2);
        EXPECT_EQ(worker.start(), -4);
        EXPECT_EQ(lines.out(), Lines{THREAD_ERROR});
        EXPECT_EQ(lines.err(), Lines());
        Queue *const queue = *worker.queue;
        EXPECT_EQ(worker.start(), -4);
        EXPECT_EQ(*worker.queue, queue) << "every attempt makes another queue";
        EXPECT_EQ(worker.start(), 0);
        EXPECT_EQ(*worker.queue, queue);
        EXPECT_EQ(threads.calls(), 3);
    });
}

/* ---- Work */

/* What the dispatcher saw, and a door that keeps it inside. */
struct Seen {
    std::mutex lock;
    std::condition_variable changed;
    std::vector<Bytes> bodies;
    bool door_open = true;
    bool inside = false;
} * seen;

int note(CtrlPoint *cp, uint8_t *body, int32_t length)
{
    EXPECT_EQ(cp->rx_buf, body);
    EXPECT_EQ(cp->rx_cap, static_cast<uint32_t>(length));
    EXPECT_TRUE(pthread_equal(pthread_self(), devCallBackTid));
    EXPECT_FALSE(held_by_this_thread(devCallBackMutex));
    EXPECT_FALSE(held_by_this_thread(heartBeatFeedbackMutex));
    EXPECT_FALSE(held_by_this_thread(g_cp_list_mutex));
    std::unique_lock<std::mutex> guard(seen->lock);
    seen->bodies.push_back(Bytes(body, body + length));
    seen->inside = true;
    seen->changed.notify_all();
    seen->changed.wait(guard, [] { return seen->door_open; });
    seen->inside = false;
    return 0;
}

void wait_for_bodies(size_t count)
{
    std::unique_lock<std::mutex> guard(seen->lock);
    EXPECT_TRUE(seen->changed.wait_for(guard, std::chrono::seconds(30),
                                       [count] { return seen->bodies.size() >= count; }));
}

CtrlPoint *new_item()
{
    return static_cast<CtrlPoint *>(calloc(1, sizeof(CtrlPoint)));
}

void post_request(const Bytes &body)
{
    CtrlPoint *item = new_item();
    item->rx_buf = static_cast<uint8_t *>(malloc(body.size()));
    memcpy(item->rx_buf, body.data(), body.size());
    item->rx_cap = static_cast<uint32_t>(body.size());
    ASSERT_TRUE(work_queue_post(&REQUEST_QUEUE, item));
}

void post_heartbeat(int fd)
{
    CtrlPoint *item = new_item();
    item->fd = fd;
    pthread_mutex_init(&item->send_lock, nullptr);
    ASSERT_TRUE(work_queue_post(&HEARTBEAT_QUEUE, item));
}

void start_both()
{
    seen = new Seen;
    g_dev_interface[0] = note;
    g_dev_interface[1] = note;
    g_ippRpc = note;
    ASSERT_EQ(startDevCallBackThread(), 0);
    ASSERT_EQ(startHeartBeatFeedbackThread(), 0);
}

TEST(Workers, RunRequestsInTheirOrderWithNoLockHeld)
{
    in_child([] {
        start_both();
        std::vector<Bytes> expected;
        for (uint8_t i = 0; i < 40; i++) {
            expected.push_back({i % 3 == 0 ? uint8_t{FRAME_GET}
                                           : (i % 3 == 1 ? uint8_t{FRAME_SET} : uint8_t{FRAME_RPC}),
                                i, 0x55});
            post_request(expected.back());
        }
        wait_for_bodies(40);
        EXPECT_EQ(seen->bodies, expected);
    });
}

TEST(Workers, DropRequestsOfOtherTypes)
{
    in_child([] {
        start_both();
        for (const char *body : {"0A 01", "06 02", "09 03", "EE 04", "00 05", "FF 06", "05 07"}) {
            post_request(bytes(body));
        }
        wait_for_bodies(1);
        EXPECT_EQ(hex(seen->bodies[0]), "05 07");
    });
}

bool nobody_posted(sem_t *semaphore)
{
    int count = -1;
    sem_getvalue(semaphore, &count);
    return count == 0;
}

TEST(Workers, WaitAgainWhenThereIsNothingToTake)
{
    in_child([] {
        start_both();
        ConnectedPair pair = local_pair();
        for (int i = 0; i < 3; i++) {
            sem_post(&devCallBackSem);
            sem_post(&heartBeatFeedbackSem);
        }
        EXPECT_TRUE(wait_until([] { return nobody_posted(&devCallBackSem); }));
        EXPECT_TRUE(wait_until([] { return nobody_posted(&heartBeatFeedbackSem); }));
        for (size_t i = 1; i <= 2; i++) { /* the first may still meet a wait from before */
            post_request(bytes("05 01"));
            wait_for_bodies(i);
            post_heartbeat(pair.near.get());
            EXPECT_EQ(receive_bytes(pair.far.get(), 77).size(), 77u);
        }
    });
}

TEST(Workers, AnswerEachHeartbeatWithOneHeartbeat)
{
    in_child([] {
        start_both();
        ConnectedPair pair = local_pair();
        post_heartbeat(pair.near.get());
        post_heartbeat(pair.near.get());
        const Bytes heart = wire_frame(0xEE, bytes("'HEART'"));
        ASSERT_EQ(heart.size(), 77u);
        EXPECT_EQ(hex(receive_bytes(pair.far.get(), 154)), hex(joined({heart, heart})));
        pair.near.close();
        EXPECT_TRUE(wait_for_end(pair.far.get())) << "there was a third one";
    });
}

TEST(Workers, AnswerHeartbeatsWhileARequestIsStuck)
{
    in_child([] {
        start_both();
        ConnectedPair pair = local_pair();
        seen->door_open = false;
        post_request(bytes("05 01"));
        wait_for_bodies(1);
        post_request(bytes("05 02"));
        post_heartbeat(pair.near.get());
        EXPECT_EQ(receive_bytes(pair.far.get(), 77).size(), 77u);
        {
            const std::lock_guard<std::mutex> guard(seen->lock);
            EXPECT_TRUE(seen->inside);
            EXPECT_EQ(seen->bodies.size(), 1u) << "requests run side by side";
            seen->door_open = true;
        }
        seen->changed.notify_all();
        wait_for_bodies(2);
    });
}

} // namespace
