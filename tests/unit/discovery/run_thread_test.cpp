/* SPDX-License-Identifier: MIT */
#include "discovery/run_thread.h"

#include "support/process_state.h"
#include "support/system_calls.h"
#include "support/wait_until.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cerrno>

namespace
{

struct Seen {
    std::atomic<bool> done{false};
    std::atomic<int> detach_state{-1};
    std::atomic<uint32_t> run{0};
    std::atomic<pthread_t> thread{};
};

Seen seen;

void *look_around(void *argument)
{
    pthread_attr_t attributes;
    int state = -1;
    if (pthread_getattr_np(pthread_self(), &attributes) == 0) {
        pthread_attr_getdetachstate(&attributes, &state);
        pthread_attr_destroy(&attributes);
    }
    seen.detach_state = state;
    seen.run = run_thread_number(argument);
    seen.thread = pthread_self();
    seen.done = true;
    return nullptr;
}

TEST(RunThread, IsDetachedAndIsToldItsRun)
{
    const size_t threads = thread_count();
    pthread_t thread = {};
    ASSERT_EQ(run_thread_start(&thread, look_around, 0x89ABCDEF), 0);
    ASSERT_TRUE(wait_until([] { return seen.done.load(); }));
    EXPECT_EQ(seen.detach_state, PTHREAD_CREATE_DETACHED);
    EXPECT_EQ(seen.run, 0x89ABCDEFu);
    EXPECT_TRUE(pthread_equal(seen.thread, thread));
    EXPECT_TRUE(wait_until([&] { return thread_count() <= threads; }));
}

TEST(RunThread, ThatCannotBeCreatedIsReported)
{
    WatchedCall creation(system_pthread_create);
    creation.fail(EAGAIN);
    pthread_t thread = {};
    EXPECT_EQ(run_thread_start(&thread, look_around, 1), EAGAIN);
    EXPECT_EQ(creation.calls(), 1);
}

} // namespace
