/* SPDX-License-Identifier: MIT */
#include "link/tcp_server.h"

#include "base/flags.h"
#include "support/captured_lines.h"
#include "support/libc_texts.h"
#include "support/process_state.h"
#include "support/system_calls.h"
#include "support/taken_time.h"
#include "support/tcp_service.h"
#include "unit/link/listed_connection.h"
#include "unit/link/socket_options.h"

#include <atomic>
#include <cerrno>
#include <climits>
#include <memory>

#include <fcntl.h>
#include <netinet/in.h>
#include <sys/socket.h>

namespace
{

using Texts = std::vector<std::string>;

const char *const END_LINE = "zqt===  tcp_thread 637\n";

} // namespace

/* ---- The listening socket */

namespace
{

const int32_t PORT = 18801;

class ListeningSocket : public testing::Test
{
protected:
    ListeningSocket()
    {
        flags_start_run();
    }

    ~ListeningSocket() override
    {
        flags_stop_running();
        ipp_set_guard(nullptr);
    }

    /* Bind fails so many times. */
    static auto failing_bind(int times)
    {
        const auto left = std::make_shared<std::atomic<int>>(times);
        return [left](int fd, const sockaddr *address, socklen_t size) {
            if ((*left)-- > 0) {
                errno = EADDRINUSE;
                return -1;
            }
            return system_bind.real(fd, address, size);
        };
    }

    CapturedLines lines;
    const std::set<int> before = open_descriptors();
};

} // namespace

TEST_F(ListeningSocket, IsRefusedForWhatIsNoPort)
{
    for (const int32_t port : {0, -1, 65536, INT_MAX, INT_MIN}) {
        EXPECT_EQ(tcp_sock_init(port), -1) << port;
    }
    EXPECT_TRUE(lines.all().empty());
    EXPECT_EQ(open_descriptors(), before);
}

TEST_F(ListeningSocket, ListensOnAllAddressesWithItsOptions)
{
    int backlog = -1;
    const Replaced listen(system_listen, [&](int fd, int length) {
        backlog = length;
        return system_listen.real(fd, length);
    });
    const Descriptor listener(tcp_sock_init(PORT));
    ASSERT_GE(listener.get(), 0);
    sockaddr_in address = {};
    socklen_t size = sizeof address;
    ASSERT_EQ(getsockname(listener.get(), reinterpret_cast<sockaddr *>(&address), &size), 0);
    EXPECT_EQ(address.sin_family, AF_INET);
    EXPECT_EQ(ntohs(address.sin_port), PORT);
    EXPECT_EQ(ntohl(address.sin_addr.s_addr), INADDR_ANY);
    EXPECT_EQ(option(listener.get(), SOL_SOCKET, SO_TYPE), SOCK_STREAM);
    EXPECT_EQ(option(listener.get(), SOL_SOCKET, SO_ACCEPTCONN), 1);
    EXPECT_EQ(option(listener.get(), SOL_SOCKET, SO_REUSEADDR), 1);
    EXPECT_EQ(backlog, 20);
    EXPECT_EQ(fcntl(listener.get(), F_GETFL) & O_NONBLOCK, O_NONBLOCK);
    EXPECT_EQ(fcntl(listener.get(), F_GETFD) & FD_CLOEXEC, FD_CLOEXEC);
    EXPECT_EQ(time_out(listener.get(), SO_RCVTIMEO), one_millisecond());
    EXPECT_EQ(time_out(listener.get(), SO_SNDTIMEO), one_millisecond());
    EXPECT_TRUE(lines.all().empty());
}

TEST_F(ListeningSocket, DoesNotBlockBeforeItGetsItsTimeOuts)
{
    Texts steps;
    const auto note = [&](const std::string &what, int fd) {
        steps.push_back(what + ((fcntl(fd, F_GETFL) & O_NONBLOCK) != 0 ? "" : ", blocking"));
    };
    const Replaced options(system_setsockopt,
                           [&](int fd, int level, int name, const void *value, socklen_t size) {
                               EXPECT_EQ(level, SOL_SOCKET);
                               note(name == SO_REUSEADDR  ? "reuse"
                                    : name == SO_RCVTIMEO ? "receive time-out"
                                    : name == SO_SNDTIMEO ? "send time-out"
                                                          : "another option",
                                    fd);
                               return system_setsockopt.real(fd, level, name, value, size);
                           });
    const Replaced bind(system_bind, [&](int fd, const sockaddr *address, socklen_t size) {
        note("bind", fd);
        return system_bind.real(fd, address, size);
    });
    const Replaced listen(system_listen, [&](int fd, int backlog) {
        note("listen", fd);
        return system_listen.real(fd, backlog);
    });
    const Descriptor listener(tcp_sock_init(PORT));
    EXPECT_EQ(steps,
              Texts({"reuse, blocking", "receive time-out", "send time-out", "bind", "listen"}));
}

TEST_F(ListeningSocket, SaysWhyThereIsNoSocket)
{
    WatchedCall call(system_socket);
    call.fail(EMFILE);
    EXPECT_EQ(tcp_sock_init(PORT), -3);
    EXPECT_EQ(lines.out(), Texts({"err: tcp socket() fail=24\n"}));
    EXPECT_EQ(lines.err(), Texts({"TCP_SOCKET: " + TOO_MANY_FILES + "\n"}));
    EXPECT_EQ(lines.all().front().stream, IPP_LOG_OUT);
}

TEST_F(ListeningSocket, SaysWhyItsAddressCannotBeReused)
{
    WatchedCall call(system_setsockopt);
    call.fail(ENOMEM);
    EXPECT_EQ(tcp_sock_init(PORT), -3);
    Texts all;
    for (const Line &line : lines.all()) {
        all.push_back((line.stream == IPP_LOG_OUT ? "out " : "err ") + line.text);
    }
    EXPECT_EQ(all, Texts({"out err: setsockopt() fail\n", "err setsockopt: " + NO_MEMORY + "\n",
                          "out zqt===  tcp_sock_init 52\n"}));
    EXPECT_EQ(open_descriptors(), before);
}

TEST_F(ListeningSocket, DoesWithoutItsTimeOuts)
{
    WatchedCall call(system_setsockopt);
    call.fail(ENOMEM, 2);
    const Descriptor listener(tcp_sock_init(PORT));
    EXPECT_GE(listener.get(), 0);
    EXPECT_EQ(lines.out(), Texts({"err: setsockopt() recv timeout fail\n"}));
}

TEST_F(ListeningSocket, SaysThatItCannotListen)
{
    WatchedCall call(system_listen);
    call.fail(EADDRINUSE);
    EXPECT_EQ(tcp_sock_init(PORT), -3);
    EXPECT_EQ(lines.out(), Texts({"err: listen() fail\n", "zqt===  tcp_sock_init 76\n"}));
    EXPECT_TRUE(lines.err().empty());
    EXPECT_EQ(open_descriptors(), before);
}

TEST_F(ListeningSocket, TriesEveryTenMillisecondsUntilThePortIsFree)
{
    const Replaced bind(system_bind, failing_bind(7));
    const TakenSleeps sleeps;
    const Descriptor listener(tcp_sock_init(PORT));
    EXPECT_GE(listener.get(), 0);
    EXPECT_EQ(sleeps.all(), std::vector<uint64_t>(7, 10000));
    EXPECT_TRUE(lines.all().empty());
}

TEST_F(ListeningSocket, GetsAPortThatSomebodyElseGivesBack)
{
    Descriptor holder = listening_on(PORT);
    int pauses = 0;
    const TakenSleeps sleeps([&](uint64_t) {
        if (++pauses == 3) {
            holder.close();
        }
    });
    const Descriptor listener(tcp_sock_init(PORT));
    EXPECT_GE(listener.get(), 0);
    EXPECT_EQ(pauses, 3);
}

TEST_F(ListeningSocket, IsGivenUpWhenTheServiceStops)
{
    const Replaced bind(system_bind, failing_bind(1000000));
    int pauses = 0;
    const TakenSleeps sleeps([&](uint64_t) {
        if (++pauses == 5) {
            flags_stop_running();
        }
    });
    EXPECT_EQ(tcp_sock_init(PORT), -3);
    EXPECT_EQ(pauses, 5);
    EXPECT_TRUE(lines.all().empty());
    EXPECT_EQ(open_descriptors(), before);
}

namespace
{

class ListeningSocketInTime : public ListeningSocket
{
protected:
    static void bound_wait(uint32_t ms)
    {
        IppGuard guard = {};
        guard.bind_wait_ms = ms;
        ASSERT_EQ(ipp_set_guard(&guard), 0);
    }

    /* How often the port is tried while somebody else has it. `meanwhile` runs in each pause. */
    int tries(const std::function<void(SleptTime &time, uint64_t ms)> &meanwhile = {})
    {
        int count = 0;
        const Replaced bind(system_bind, [&](int fd, const sockaddr *address, socklen_t size) {
            count++;
            return system_bind.real(fd, address, size);
        });
        SleptTime time([&](uint64_t ms) {
            if (meanwhile) {
                meanwhile(time, ms);
            }
        });
        const Descriptor listener(tcp_sock_init(PORT));
        result = listener.get();
        return count;
    }

    Descriptor holder = listening_on(PORT);
    int result = 0;
};

} // namespace

TEST_F(ListeningSocketInTime, IsGivenUpAtTheGuardsLimit)
{
    bound_wait(30);
    EXPECT_EQ(tries(), 4); /* at 0, 10, 20 and 30 milliseconds */
    EXPECT_EQ(result, -3);
    EXPECT_TRUE(lines.all().empty());
}

TEST_F(ListeningSocketInTime, IsGivenUpAtTheFirstTryAboveTheLimit)
{
    bound_wait(31);
    EXPECT_EQ(tries(), 5);
    EXPECT_EQ(result, -3);
    bound_wait(1);
    EXPECT_EQ(tries(), 2);
    EXPECT_EQ(result, -3);
}

TEST_F(ListeningSocketInTime, GetsAPortThatIsFreeAtTheLastTry)
{
    bound_wait(30);
    const int made = tries([this](SleptTime &, uint64_t ms) {
        if (ms == 30) {
            holder.close();
        }
    });
    EXPECT_EQ(made, 4);
    EXPECT_GE(result, 0);
}

TEST_F(ListeningSocketInTime, IsGivenUpAtTheGreatestLimitAndNotBefore)
{
    bound_wait(UINT32_MAX);
    const int made = tries([](SleptTime &time, uint64_t ms) {
        if (ms == 10) {
            time.pass(UINT32_MAX - 11U); /* the second try is one millisecond below it */
        }
    });
    EXPECT_EQ(made, 3);
    EXPECT_EQ(result, -3);
}

TEST_F(ListeningSocketInTime, KeepsTheLimitUnderWhichItBegan)
{
    bound_wait(30);
    EXPECT_EQ(tries([](SleptTime &, uint64_t) { ipp_set_guard(nullptr); }), 4);
    EXPECT_EQ(result, -3);
    const int made = tries([this](SleptTime &, uint64_t ms) {
        bound_wait(30);
        if (ms == 500) {
            holder.close();
        }
    });
    EXPECT_EQ(made, 51);
    EXPECT_GE(result, 0);
}

/* ---- Start */

namespace
{

class TcpStart : public ListeningSocket
{
};

} // namespace

TEST_F(TcpStart, FailsWithoutASocketAndKeepsItsCode)
{
    WatchedCall call(system_socket);
    call.fail(EMFILE);
    EXPECT_EQ(start_tcp_thread(), -1);
    EXPECT_EQ(g_tcp_sock, -3);
    EXPECT_EQ(lines.out(), Texts({"err: tcp socket() fail=24\n", "err: tcp_sock_init() fail\n"}));
    tcp_server_join(); /* there is nothing to wait for */
}

TEST_F(TcpStart, LeavesNoListeningSocketWhenThereIsNoThread)
{
    WatchedCall call(system_pthread_create);
    call.fail(EAGAIN);
    EXPECT_EQ(start_tcp_thread(), -4);
    EXPECT_EQ(lines.out(), Texts({"err: pthread_create() fail\n"}));
    EXPECT_EQ(g_tcp_sock, -1);
    EXPECT_EQ(open_descriptors(), before);
    tcp_server_join();
    IppGuard guard = {};
    guard.bind_wait_ms = 1;
    ASSERT_EQ(ipp_set_guard(&guard), 0);
    const Descriptor next(tcp_sock_init(8801)); /* nobody holds the port */
    EXPECT_GE(next.get(), 0);
}

TEST_F(TcpStart, RunsAThreadThatEndsWithTheService)
{
    registry_open();
    ASSERT_EQ(start_tcp_thread(), 0);
    const int listener = g_tcp_sock;
    EXPECT_TRUE(is_open(listener));
    EXPECT_EQ(port_of(listener), 8801);
    EXPECT_NE(g_tcp_tid, pthread_t{0});
    const pthread_t thread = g_tcp_tid;
    flags_stop_running();
    Phone visitor{Phone::Later()};
    visitor.try_connect(); /* its pass is over at once, unless it has ended already */
    tcp_server_join();
    EXPECT_EQ(g_tcp_sock, -1);
    EXPECT_EQ(g_tcp_tid, thread);
    EXPECT_FALSE(is_open(listener));
    EXPECT_EQ(lines.count(END_LINE), 1u);
    tcp_server_join();
    registry_close();
}

TEST_F(TcpStart, HasAThreadBodyThatReturnsNull)
{
    flags_stop_running();
    g_tcp_sock = tcp_sock_init(PORT);
    const int listener = g_tcp_sock;
    ASSERT_TRUE(is_open(listener));
    int argument = 0;
    EXPECT_EQ(tcp_thread(&argument), nullptr);
    EXPECT_EQ(g_tcp_sock, -1);
    EXPECT_FALSE(is_open(listener));
    EXPECT_EQ(lines.out(), Texts({END_LINE}));
}

/* ---- New records */

namespace
{

class NewRecord : public OpenRegistry
{
};

} // namespace

TEST_F(NewRecord, HoldsWhatIsKnownOfAConnection)
{
    const FrozenClock clock;
    const ListedConnection connection(local_pair(), 0x0100007F);
    const CtrlPoint *record = connection.record;
    EXPECT_EQ(record->fd, connection.number);
    EXPECT_EQ(record->peer_addr, 0x0100007Fu);
    EXPECT_EQ(record->rx_buf, nullptr);
    EXPECT_EQ(record->rx_cap, 0u);
    EXPECT_EQ(record->rx_fill, 0u);
    EXPECT_EQ(record->rx_pos, 0u);
    EXPECT_EQ(record->last_heartbeat, 0u);
    EXPECT_EQ(record->connect_time, clock.now());
    EXPECT_EQ(record->last_active, clock.now());
    EXPECT_EQ(record->idle_limit, 30);
    EXPECT_EQ(pthread_mutex_trylock(&connection.record->send_lock), 0);
    EXPECT_EQ(pthread_mutex_unlock(&connection.record->send_lock), 0);
}

TEST_F(NewRecord, ComesBehindTheOthers)
{
    const ListedConnection one(local_pair());
    const ListedConnection two(local_pair());
    EXPECT_EQ(elements(g_cp_list), std::vector<void *>({one.record, two.record}));
}

TEST_F(NewRecord, IsNotMadeWhenMemoryIsOutAndTheSocketStaysOpen)
{
    const ConnectedPair ends = local_pair();
    for (SystemFunction *const call :
         std::initializer_list<SystemFunction *>{&system_calloc, &system_malloc}) {
        WatchedCall allocation(*call);
        allocation.fail(ENOMEM);
        registry_lock();
        EXPECT_EQ(check_and_insert(ends.near.get(), 1), -1);
        registry_unlock();
    }
    EXPECT_EQ(g_cp_list.count, 0u);
    EXPECT_TRUE(is_open(ends.near.get()));
}
