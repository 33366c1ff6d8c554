/* SPDX-License-Identifier: MIT */
#include "tvlink/discovery.h"

#include "base/flags.h"
#include "support/captured_lines.h"
#include "support/datagrams.h"
#include "support/process_state.h"
#include "support/system_calls.h"
#include "support/taken_time.h"
#include "tvlink.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <chrono>

#include <fcntl.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/time.h>

namespace
{

const uint64_t PAUSE_US = 10000;

using Lines = std::vector<std::string>;

int option(int fd, int name)
{
    int value = -1;
    socklen_t size = sizeof value;
    EXPECT_EQ(getsockopt(fd, SOL_SOCKET, name, &value, &size), 0);
    return value;
}

int64_t timeout_us(int fd, int name)
{
    timeval time = {-1, 0};
    socklen_t size = sizeof time;
    EXPECT_EQ(getsockopt(fd, SOL_SOCKET, name, &time, &size), 0);
    return int64_t{time.tv_sec} * 1000000 + time.tv_usec;
}

/* What this system makes of 5 ms: it rounds up to the ticks of its clock. */
int64_t five_milliseconds()
{
    const Descriptor reference = datagram_socket();
    const timeval time = {0, 5000};
    EXPECT_EQ(setsockopt(reference.get(), SOL_SOCKET, SO_RCVTIMEO, &time, sizeof time), 0);
    return timeout_us(reference.get(), SO_RCVTIMEO);
}

/* A port that nobody has. */
uint16_t free_port()
{
    const Descriptor probe = datagram_socket();
    return port_of(probe.get());
}

class DiscoverySocket : public testing::Test
{
protected:
    void SetUp() override
    {
        flags_start_run();
    }

    void TearDown() override
    {
        flags_stop_running();
        ipp_set_guard(nullptr);
    }

    CapturedLines lines;
};

TEST_F(DiscoverySocket, NeedsAPortFromOneTo65535)
{
    EXPECT_EQ(udp_sock_init(0), -1);
    EXPECT_EQ(udp_sock_init(-1), -1);
    EXPECT_EQ(udp_sock_init(65536), -1);
    EXPECT_TRUE(lines.all().empty());
}

TEST_F(DiscoverySocket, IsBoundToItsPortOnAllInterfaces)
{
    const uint16_t port = free_port();
    const Descriptor fd(udp_sock_init(port));
    ASSERT_GE(fd.get(), 0);
    sockaddr_in address = {};
    socklen_t size = sizeof address;
    ASSERT_EQ(getsockname(fd.get(), reinterpret_cast<sockaddr *>(&address), &size), 0);
    EXPECT_EQ(address.sin_family, AF_INET);
    EXPECT_EQ(ntohs(address.sin_port), port);
    EXPECT_EQ(address.sin_addr.s_addr, htonl(INADDR_ANY));
    EXPECT_TRUE(lines.all().empty());
}

TEST_F(DiscoverySocket, TakesTheHighestPort)
{
    const Descriptor fd(udp_sock_init(65535));
    EXPECT_EQ(port_of(fd.get()), 65535);
}

TEST_F(DiscoverySocket, ReceivesDatagramsForFiveMillisecondsAtATime)
{
    const Descriptor fd(udp_sock_init(free_port()));
    EXPECT_EQ(option(fd.get(), SO_TYPE), SOCK_DGRAM);
    EXPECT_EQ(option(fd.get(), SO_REUSEADDR), 1);
    EXPECT_EQ(timeout_us(fd.get(), SO_RCVTIMEO), five_milliseconds());
    EXPECT_EQ(timeout_us(fd.get(), SO_SNDTIMEO), five_milliseconds());
    EXPECT_EQ(fcntl(fd.get(), F_GETFL) & O_NONBLOCK, 0);
}

TEST_F(DiscoverySocket, IsNotInheritedByChildProcesses)
{
    const Descriptor fd(udp_sock_init(free_port()));
    EXPECT_EQ(inheritable_descriptors().count(fd.get()), 0u);
}

TEST_F(DiscoverySocket, ThatTheSystemRefusesIsReported)
{
    WatchedCall sockets(system_socket);
    sockets.fail(EMFILE);
    EXPECT_EQ(udp_sock_init(12426), -3);
    EXPECT_EQ(lines.out(), Lines{"err: udp socket() fail\n"});
}

TEST_F(DiscoverySocket, WithoutAddressReuseIsClosedAgain)
{
    const std::set<int> before = open_descriptors();
    WatchedCall options(system_setsockopt);
    options.fail(EPERM);
    EXPECT_EQ(udp_sock_init(12426), -3);
    EXPECT_EQ(lines.out(), (Lines{"err: setsockopt() fail\n", "zqt===  udp_sock_init 58\n"}));
    EXPECT_EQ(open_descriptors(), before);
}

TEST_F(DiscoverySocket, DoesNotDependOnItsTimeOuts)
{
    WatchedCall options(system_setsockopt);
    for (const long first : {2L, 3L}) {
        options.fail(EPERM, first, 10);
        const Descriptor fd(udp_sock_init(free_port()));
        EXPECT_GE(fd.get(), 0);
        /* or the thread would wait for the next datagram, and a stop for the thread */
        ASSERT_EQ(fcntl(fd.get(), F_GETFL) & O_NONBLOCK, O_NONBLOCK);
        uint8_t byte = 0;
        EXPECT_EQ(recv(fd.get(), &byte, 1, 0), -1);
        EXPECT_EQ(errno, EAGAIN);
    }
}

TEST_F(DiscoverySocket, IsBoundAsSoonAsThePortIsFree)
{
    const uint16_t port = free_port();
    Descriptor holder = datagram_socket(port);
    int tries = 0;
    const TakenSleeps sleeps([&](uint64_t) {
        if (++tries == 3) {
            holder.close();
        }
    });
    const Descriptor fd(udp_sock_init(port));
    EXPECT_GE(fd.get(), 0);
    EXPECT_EQ(sleeps.all(), std::vector<uint64_t>(3, PAUSE_US));
    EXPECT_TRUE(lines.all().empty());
}

TEST_F(DiscoverySocket, IsGivenUpWhenTheServiceStopsBeforeThePortIsFree)
{
    const Descriptor holder = datagram_socket();
    const std::set<int> before = open_descriptors();
    int tries = 0;
    const TakenSleeps sleeps([&](uint64_t) {
        if (++tries == 2) {
            flags_stop_running();
        }
    });
    EXPECT_EQ(udp_sock_init(port_of(holder.get())), -3);
    EXPECT_EQ(sleeps.all(), std::vector<uint64_t>(2, PAUSE_US));
    EXPECT_EQ(open_descriptors(), before);
    EXPECT_TRUE(lines.all().empty());
}

TEST_F(DiscoverySocket, IsGivenUpAtTheGuardsLimit)
{
    IppGuard guard = {};
    guard.bind_wait_ms = 30;
    ASSERT_EQ(ipp_set_guard(&guard), 0);
    const Descriptor holder = datagram_socket();
    const SleptTime time;
    const int port = port_of(holder.get());
    EXPECT_EQ(udp_sock_init(port), -3);
    EXPECT_EQ(lines.warnings(), Lines{"err: port " + std::to_string(port) + " is taken\n"});
}

TEST_F(DiscoverySocket, IsReportedOnceWhenItsPortStaysTaken)
{
    Descriptor holder = datagram_socket();
    const SleptTime time([&](uint64_t ms) {
        if (ms == 3000) {
            holder.close();
        }
    });
    const int port = port_of(holder.get());
    const Descriptor fd(udp_sock_init(port));
    EXPECT_GE(fd.get(), 0);
    EXPECT_EQ(lines.warnings(), Lines{"err: port " + std::to_string(port) + " is taken\n"});
}

} // namespace
