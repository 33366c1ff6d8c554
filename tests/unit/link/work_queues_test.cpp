/* SPDX-License-Identifier: MIT */
#include "link/work_queues.h"

#include "support/captured_lines.h"
#include "support/system_calls.h"
#include "tvlink.h"

#include <gtest/gtest.h>

#include <set>
#include <thread>
#include <vector>

namespace
{

using Lines = std::vector<std::string>;

int values[100];

/* A queue of its own, so that no worker takes anything from it. */
class WorkQueues : public testing::Test
{
protected:
    void SetUp() override
    {
        queue_ = newQueue(WORK_QUEUE_CAPACITY);
        sem_init(&items_, 0, 0);
    }

    void TearDown() override
    {
        freeQueue(queue_);
        sem_destroy(&items_);
        ipp_set_log_sink(nullptr, nullptr);
    }

    int waiting()
    {
        int count = -1;
        sem_getvalue(&items_, &count);
        return count;
    }

    Queue *queue_ = nullptr;
    sem_t items_;
    pthread_mutex_t producer_lock_ = PTHREAD_MUTEX_INITIALIZER;
    pthread_mutex_t consumer_lock_ = PTHREAD_MUTEX_INITIALIZER;
    const WorkQueue two_locks_ = {&queue_, &items_, &producer_lock_, &consumer_lock_, nullptr};
    const WorkQueue one_lock_ = {&queue_, &items_, &producer_lock_, &producer_lock_, nullptr};
};

TEST_F(WorkQueues, AreTheTwoOfTheService)
{
    EXPECT_EQ(REQUEST_QUEUE.queue, &devCallBackQueue);
    EXPECT_EQ(REQUEST_QUEUE.items, &devCallBackSem);
    EXPECT_EQ(REQUEST_QUEUE.producer_lock, &devCallBackMutex);
    EXPECT_EQ(REQUEST_QUEUE.consumer_lock, &heartBeatFeedbackMutex);
    EXPECT_EQ(HEARTBEAT_QUEUE.queue, &heartBeatFeedbackQueue);
    EXPECT_EQ(HEARTBEAT_QUEUE.items, &heartBeatFeedbackSem);
    EXPECT_EQ(HEARTBEAT_QUEUE.producer_lock, &heartBeatFeedbackMutex);
    EXPECT_EQ(HEARTBEAT_QUEUE.consumer_lock, &heartBeatFeedbackMutex);
    EXPECT_EQ(WORK_QUEUE_CAPACITY, 50);
}

TEST_F(WorkQueues, HaveTheirLocksFromTheStart)
{
    for (pthread_mutex_t *lock : {&devCallBackMutex, &heartBeatFeedbackMutex}) {
        EXPECT_EQ(pthread_mutex_trylock(lock), 0);
        EXPECT_EQ(pthread_mutex_unlock(lock), 0);
    }
}

TEST_F(WorkQueues, HandItemsOverInOrder)
{
    EXPECT_TRUE(work_queue_post(&two_locks_, &values[0]));
    EXPECT_TRUE(work_queue_post(&two_locks_, &values[1]));
    EXPECT_EQ(waiting(), 2);
    EXPECT_EQ(work_queue_wait(&two_locks_), &values[0]);
    EXPECT_EQ(work_queue_wait(&two_locks_), &values[1]);
    EXPECT_EQ(waiting(), 0);
}

TEST_F(WorkQueues, RefuseThe50thItem)
{
    const CapturedLines lines;
    for (int i = 0; i < 49; i++) {
        ASSERT_TRUE(work_queue_post(&two_locks_, &values[i])) << i;
    }
    EXPECT_EQ(lines.out(), Lines());
    EXPECT_FALSE(work_queue_post(&two_locks_, &values[49]));
    EXPECT_EQ(lines.out(), Lines{"queue is full.\n"});
    EXPECT_EQ(waiting(), 49) << "the refused item is counted";
    EXPECT_EQ(work_queue_wait(&two_locks_), &values[0]);
    EXPECT_TRUE(work_queue_post(&two_locks_, &values[50]));
    EXPECT_EQ(waiting(), 49);
}

TEST_F(WorkQueues, RefuseItemsBeforeThereIsAQueue)
{
    const CapturedLines lines;
    freeQueue(queue_);
    queue_ = nullptr;
    EXPECT_FALSE(work_queue_post(&two_locks_, &values[0]));
    EXPECT_EQ(waiting(), 0);
    EXPECT_EQ(lines.out(), Lines());
}

TEST_F(WorkQueues, GiveNullForAWaitThatEndsWithoutAnItem)
{
    sem_post(&items_);
    EXPECT_EQ(work_queue_wait(&two_locks_), nullptr);
}

TEST_F(WorkQueues, LockTheirOwnSideOnly)
{
    std::vector<pthread_mutex_t *> taken;
    const Replaced locks(system_pthread_mutex_lock, [&](pthread_mutex_t *lock) {
        taken.push_back(lock);
        return system_pthread_mutex_lock.real(lock);
    });
    EXPECT_TRUE(work_queue_post(&two_locks_, &values[0]));
    EXPECT_EQ(taken, std::vector<pthread_mutex_t *>{&producer_lock_});
    EXPECT_EQ(pthread_mutex_trylock(&producer_lock_), 0) << "it is not given back";
    pthread_mutex_unlock(&producer_lock_);
    taken.clear();
    EXPECT_EQ(work_queue_wait(&two_locks_), &values[0]);
    EXPECT_EQ(taken, std::vector<pthread_mutex_t *>{&consumer_lock_});
    EXPECT_EQ(pthread_mutex_trylock(&consumer_lock_), 0) << "it is not given back";
    pthread_mutex_unlock(&consumer_lock_);
}

TEST_F(WorkQueues, WakeTheConsumerOnceTheLockIsGivenBack)
{
    Lines steps;
    const Replaced unlock(system_pthread_mutex_unlock, [&](pthread_mutex_t *lock) {
        const int result = system_pthread_mutex_unlock.real(lock);
        if (lock == &producer_lock_) {
            steps.emplace_back("unlock");
        }
        return result;
    });
    const Replaced post(system_sem_post, [&](sem_t *semaphore) {
        steps.push_back(semaphore == &items_ ? "post" : "post to another");
        return system_sem_post.real(semaphore);
    });
    EXPECT_TRUE(work_queue_post(&two_locks_, &values[0]));
    EXPECT_TRUE(work_queue_post(&one_lock_, &values[1]));
    EXPECT_EQ(steps, (Lines{"unlock", "post", "unlock", "post"}));
}

struct Locks {
    pthread_mutex_t *producer;
    int lines;
};

void expect_no_lock(int, const char *text, void *context)
{
    Locks *locks = static_cast<Locks *>(context);
    EXPECT_STREQ(text, "queue is full.\n");
    EXPECT_EQ(pthread_mutex_trylock(locks->producer), 0) << "the sink runs under the queue's lock";
    pthread_mutex_unlock(locks->producer);
    locks->lines++;
}

TEST_F(WorkQueues, PrintWithNoLockHeld)
{
    for (int i = 0; i < 49; i++) {
        ASSERT_TRUE(work_queue_post(&two_locks_, &values[i]));
    }
    Locks locks = {&producer_lock_, 0};
    ipp_set_log_sink(expect_no_lock, &locks);
    EXPECT_FALSE(work_queue_post(&two_locks_, &values[49]));
    EXPECT_EQ(locks.lines, 1);
}

/* Posts numbers from several threads and takes them with several others: none may be lost or seen
 * twice, which the queue alone does not give. */
TEST_F(WorkQueues, SerialiseEachSideWithItsLock)
{
    constexpr int PRODUCERS = 3;
    constexpr int CONSUMERS = 3;
    constexpr int EACH = 2000;
    ipp_set_log_sink([](int, const char *, void *) {}, nullptr);
    std::vector<int> numbers(PRODUCERS * EACH);
    std::vector<std::vector<void *>> taken(CONSUMERS);
    std::vector<std::thread> threads;
    for (size_t p = 0; p < PRODUCERS; p++) {
        threads.emplace_back([&, p] {
            for (size_t i = 0; i < EACH; i++) {
                while (!work_queue_post(&one_lock_, &numbers[p * EACH + i])) {
                    std::this_thread::yield();
                }
            }
        });
    }
    for (size_t c = 0; c < CONSUMERS; c++) {
        threads.emplace_back([&, c] {
            for (size_t i = 0; i < EACH; i++) {
                taken[c].push_back(work_queue_wait(&one_lock_));
            }
        });
    }
    for (std::thread &thread : threads) {
        thread.join();
    }
    std::set<void *> all;
    for (const std::vector<void *> &some : taken) {
        all.insert(some.begin(), some.end());
    }
    EXPECT_EQ(all.size(), numbers.size());
    EXPECT_EQ(all.count(nullptr), 0u);
}

} // namespace
