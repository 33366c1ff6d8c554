/* SPDX-License-Identifier: MIT */
#include "net/stop_signal.h"

#include "support/process_state.h"
#include "support/sockets.h"
#include "support/system_calls.h"
#include "support/wait_until.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cerrno>
#include <thread>
#include <vector>

#include <poll.h>
#include <sys/select.h>

namespace
{

bool is_raised()
{
    pollfd entry = {stop_signal_fd(), POLLIN, 0};
    return poll(&entry, 1, 0) == 1 && entry.revents == POLLIN;
}

class StopSignal : public testing::Test
{
protected:
    void TearDown() override
    {
        stop_signal_close();
    }
};

TEST_F(StopSignal, WakesAllWhoWaitAndAllWhoComeLater)
{
    stop_signal_open();
    std::atomic<int> woken{0};
    const auto wait = [&] {
        pollfd entry = {stop_signal_fd(), POLLIN, 0};
        woken += poll(&entry, 1, -1);
    };
    const auto select_it = [&] {
        fd_set set;
        FD_ZERO(&set);
        FD_SET(stop_signal_fd(), &set);
        woken += select(stop_signal_fd() + 1, &set, nullptr, nullptr, nullptr);
    };
    std::vector<std::thread> threads;
    threads.emplace_back(wait);
    threads.emplace_back(wait);
    threads.emplace_back(select_it);
    EXPECT_FALSE(is_raised());
    stop_signal_raise();
    threads.emplace_back(wait);
    for (std::thread &thread : threads) {
        thread.join();
    }
    EXPECT_EQ(woken, 4);
    EXPECT_TRUE(is_raised()) << "somebody has read it";
}

TEST_F(StopSignal, StaysWithThoseWhoWaitWhenItIsOpenedAgain)
{
    stop_signal_open();
    const std::set<int> descriptors = open_descriptors();
    const int fd = stop_signal_fd();
    stop_signal_open();
    EXPECT_EQ(stop_signal_fd(), fd);
    EXPECT_EQ(open_descriptors(), descriptors);
    stop_signal_raise();
    EXPECT_TRUE(is_raised());
}

TEST_F(StopSignal, IsNotRaisedWhenItIsOpenedAfterItsEnd)
{
    stop_signal_open();
    stop_signal_raise();
    stop_signal_close();
    EXPECT_EQ(stop_signal_fd(), -1);
    stop_signal_open();
    EXPECT_FALSE(is_raised());
    EXPECT_EQ(inheritable_descriptors().count(stop_signal_fd()), 0u);
}

TEST_F(StopSignal, IsNoneWhenTheSystemRefusesOne)
{
    WatchedCall signals(system_eventfd);
    signals.fail(EMFILE);
    stop_signal_open();
    EXPECT_EQ(stop_signal_fd(), -1);
    stop_signal_raise();
    stop_signal_close();
    stop_signal_open();
    EXPECT_GE(stop_signal_fd(), 0);
}

} // namespace
