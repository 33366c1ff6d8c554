#include "net/bind_with_retries.h"

#include "base/clock.h"
#include "base/flags.h"
#include "support/sockets.h"
#include "support/system_calls.h"

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
    EXPECT_TRUE(bind_with_retries(socket_.get(), port, NO_LIMIT));
    const sockaddr_in address = bound_to(socket_.get());
    EXPECT_EQ(ntohs(address.sin_port), port);
    EXPECT_EQ(address.sin_addr.s_addr, htonl(INADDR_ANY));
}

TEST_F(BindWithRetries, TakesAFreePortAlsoWhenTheServiceIsStopped)
{
    flags_stop_running();
    EXPECT_TRUE(bind_with_retries(socket_.get(), free_port(), NO_LIMIT));
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
    EXPECT_FALSE(bind_with_retries(socket_.get(), port_of(holder.get()), NO_LIMIT));
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
    EXPECT_TRUE(bind_with_retries(socket_.get(), port, NO_LIMIT));
    EXPECT_EQ(pauses, std::vector<useconds_t>(300, 10000));
    EXPECT_EQ(port_of(socket_.get()), port);
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
    EXPECT_FALSE(bind_with_retries(socket_.get(), port_of(holder.get()), NO_LIMIT));
    EXPECT_EQ(pauses, 300);
}

TEST_F(BindWithRetries, EndsWhenItsTimeIsOver)
{
    const Descriptor holder = listening_on();
    const uint64_t start = clock_elapsed_ms();
    EXPECT_FALSE(bind_with_retries(socket_.get(), port_of(holder.get()), 60));
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
    EXPECT_TRUE(bind_with_retries(socket_.get(), port, UINT32_MAX));
}

} // namespace
