/* SPDX-License-Identifier: MIT */
#include "net/bind_with_retries.h"

#include "base/clock.h"
#include "base/flags.h"
#include "support/captured_lines.h"
#include "support/sockets.h"
#include "support/system_calls.h"
#include "support/taken_time.h"

#include <gtest/gtest.h>

#include <netinet/in.h>
#include <sys/socket.h>

namespace
{

constexpr uint32_t NO_LIMIT = 0;

class BindWithRetries : public testing::Test
{
protected:
    void SetUp() override
    {
        flags_start_run();
    }

    void TearDown() override
    {
        flags_stop_running();
    }

    Descriptor socket_ = Descriptor(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
};

/* A port that nobody holds at the moment. */
uint16_t free_port()
{
    return port_of(listening_on().get());
}

sockaddr_in bound_to(int fd)
{
    sockaddr_in address = {};
    socklen_t size = sizeof address;
    EXPECT_EQ(getsockname(fd, reinterpret_cast<sockaddr *>(&address), &size), 0);
    return address;
}

TEST_F(BindWithRetries, TakesAFreePortOnAllInterfacesAtOnce)
{
    const uint16_t port = free_port();
    EXPECT_TRUE(bind_with_retries(socket_.get(), port, NO_LIMIT, false));
    const sockaddr_in address = bound_to(socket_.get());
    EXPECT_EQ(ntohs(address.sin_port), port);
    EXPECT_EQ(address.sin_addr.s_addr, htonl(INADDR_ANY));
}

TEST_F(BindWithRetries, TakesAFreePortAlsoWhenTheServiceIsStopped)
{
    flags_stop_running();
    EXPECT_TRUE(bind_with_retries(socket_.get(), free_port(), NO_LIMIT, false));
}

TEST_F(BindWithRetries, DoesNotWaitWhenTheServiceIsStopped)
{
    const Descriptor holder = listening_on();
    flags_stop_running();
    int pauses = 0;
    const Replaced sleeps(system_usleep, [&](useconds_t) {
        pauses++;
        return 0;
    });
    EXPECT_FALSE(bind_with_retries(socket_.get(), port_of(holder.get()), NO_LIMIT, false));
    EXPECT_EQ(pauses, 0);
}

TEST_F(BindWithRetries, TriesEveryTenMillisecondsUntilThePortIsFree)
{
    Descriptor holder = listening_on();
    const uint16_t port = port_of(holder.get());
    std::vector<useconds_t> pauses;
    const Replaced sleeps(system_usleep, [&](useconds_t pause) {
        pauses.push_back(pause);
        if (pauses.size() == 300) {
            holder.close();
        }
        return 0;
    });
    EXPECT_TRUE(bind_with_retries(socket_.get(), port, NO_LIMIT, false));
    EXPECT_EQ(pauses, std::vector<useconds_t>(300, 10000));
    EXPECT_EQ(port_of(socket_.get()), port);
}

/* The clock stands still but for the pauses. */
TEST_F(BindWithRetries, SaysOnceThatThePortStaysTaken)
{
    const Descriptor holder = listening_on();
    const CapturedLines lines;
    const std::vector<std::string> once = {"err: port " + std::to_string(port_of(holder.get())) +
                                           " is taken\n"};
    std::vector<uint64_t> silent;
    const SleptTime time([&](uint64_t ms) {
        if (lines.all().empty()) {
            silent.push_back(ms);
        }
        if (ms == 5000) {
            flags_stop_running();
        }
    });
    EXPECT_FALSE(bind_with_retries(socket_.get(), port_of(holder.get()), NO_LIMIT, true));
    EXPECT_EQ(lines.warnings(), once);
    EXPECT_EQ(silent.back(), 1000u);
}

TEST_F(BindWithRetries, SaysAtItsLimitThatThePortIsTaken)
{
    const Descriptor holder = listening_on();
    const CapturedLines lines;
    const SleptTime time;
    EXPECT_FALSE(bind_with_retries(socket_.get(), port_of(holder.get()), 30, true));
    EXPECT_EQ(lines.warnings(),
              std::vector<std::string>{"err: port " + std::to_string(port_of(holder.get())) +
                                       " is taken\n"});
}

TEST_F(BindWithRetries, EndsWhenTheServiceStops)
{
    const Descriptor holder = listening_on();
    int pauses = 0;
    const Replaced sleeps(system_usleep, [&](useconds_t) {
        if (++pauses == 300) {
            flags_stop_running();
        }
        return 0;
    });
    EXPECT_FALSE(bind_with_retries(socket_.get(), port_of(holder.get()), NO_LIMIT, false));
    EXPECT_EQ(pauses, 300);
}

TEST_F(BindWithRetries, EndsWhenItsTimeIsOver)
{
    const Descriptor holder = listening_on();
    const uint64_t start = clock_elapsed_ms();
    EXPECT_FALSE(bind_with_retries(socket_.get(), port_of(holder.get()), 60, false));
    EXPECT_GE(clock_elapsed_ms() - start, 60u);
}

TEST_F(BindWithRetries, TakesAPortThatBecomesFreeInTime)
{
    Descriptor holder = listening_on();
    const uint16_t port = port_of(holder.get());
    const Replaced sleeps(system_usleep, [&](useconds_t) {
        holder.close();
        return 0;
    });
    EXPECT_TRUE(bind_with_retries(socket_.get(), port, UINT32_MAX, false));
}

} // namespace
