/* SPDX-License-Identifier: MIT */
#include "net/socket_io.h"

#include "support/captured_lines.h"
#include "support/socket_options.h"
#include "support/sockets.h"
#include "support/system_calls.h"
#include "support/transfers.h"
#include "support/wait_until.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cerrno>
#include <climits>
#include <thread>

#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <sys/time.h>

namespace
{

using Lines = std::vector<std::string>;

const char *const RECEIVE_ERROR = "err: setsockopt() recv timeout fail\n";
const char *const SEND_ERROR = "err: setsockopt() send timeout fail\n";

/* ---- Options */

/* What the system makes of a time-out: it counts in ticks of its own. */
std::string as_kept(int option, long microseconds)
{
    const ConnectedPair pair = local_pair();
    const timeval value = {0, microseconds};
    EXPECT_EQ(setsockopt(pair.near.get(), SOL_SOCKET, option, &value, sizeof value), 0);
    return timeout_of(pair.near.get(), option);
}

TEST(SocketIo, MakesASocketNonBlockingAndLeavesItsOtherFlags)
{
    const ConnectedPair pair = local_pair();
    const int fd = pair.near.get();
    ASSERT_EQ(fcntl(fd, F_SETFL, O_APPEND), 0);
    const int before = fcntl(fd, F_GETFL);
    EXPECT_EQ(set_socket_noblock(fd), 0);
    EXPECT_EQ(fcntl(fd, F_GETFL), before | O_NONBLOCK);
    EXPECT_EQ(set_socket_noblock(fd), 0);
    EXPECT_EQ(fcntl(fd, F_GETFL), before | O_NONBLOCK);
}

TEST(SocketIo, MakesNothingNonBlockingThatIsNoDescriptor)
{
    EXPECT_EQ(set_socket_noblock(-1), -1);
    EXPECT_EQ(set_socket_noblock(INT_MIN), -1);
    EXPECT_EQ(set_socket_noblock(1000000), -1);
}

TEST(SocketIo, SetsBothTimeOutsInMilliseconds)
{
    const CapturedLines lines;
    const ConnectedPair pair = local_pair();
    const int fd = pair.near.get();
    for (const int ms : {5, 1, 0, 999}) {
        EXPECT_EQ(set_socket_timeout(fd, ms), 0);
        EXPECT_EQ(timeout_of(fd, SO_RCVTIMEO), as_kept(SO_RCVTIMEO, ms * 1000)) << ms;
        EXPECT_EQ(timeout_of(fd, SO_SNDTIMEO), as_kept(SO_SNDTIMEO, ms * 1000)) << ms;
    }
    EXPECT_EQ(lines.all().size(), 0u);
}

TEST(SocketIo, GivesTheSystemZeroSecondsAndMicroseconds)
{
    std::vector<std::pair<int, std::string>> given;
    const Replaced<decltype(system_setsockopt)> options(
        system_setsockopt, [&](int, int level, int option, const void *value, socklen_t size) {
            EXPECT_EQ(level, SOL_SOCKET);
            EXPECT_EQ(size, sizeof(timeval));
            const timeval *limit = static_cast<const timeval *>(value);
            given.emplace_back(option, std::to_string(limit->tv_sec) + "." +
                                           std::to_string(limit->tv_usec));
            return 0;
        });
    using Given = std::vector<std::pair<int, std::string>>;
    EXPECT_EQ(set_socket_timeout(7, 5), 0);
    EXPECT_EQ(given, (Given{{SO_RCVTIMEO, "0.5000"}, {SO_SNDTIMEO, "0.5000"}}));
    given.clear();
    EXPECT_EQ(set_socket_timeout(7, 1500), 0);
    EXPECT_EQ(given, (Given{{SO_RCVTIMEO, "0.1500000"}, {SO_SNDTIMEO, "0.1500000"}}));
}

TEST(SocketIo, SetsNoTimeOutOfASecondOrMore)
{
    const CapturedLines lines;
    const ConnectedPair pair = local_pair();
    const int fd = pair.near.get();
    ASSERT_EQ(set_socket_timeout(fd, 5), 0);
    for (const int ms : {1000, 60000, INT_MAX / 1000, INT_MAX / 1000 + 1, 4294968, INT_MAX}) {
        EXPECT_EQ(set_socket_timeout(fd, ms), -1) << ms;
    }
    EXPECT_EQ(lines.out(), Lines(6, RECEIVE_ERROR));
    EXPECT_EQ(timeout_of(fd, SO_RCVTIMEO), as_kept(SO_RCVTIMEO, 5000));
    EXPECT_EQ(timeout_of(fd, SO_SNDTIMEO), as_kept(SO_SNDTIMEO, 5000));
}

TEST(SocketIo, RefusesTimeOutsWithoutALineWhenItsArgumentsAreWrong)
{
    const CapturedLines lines;
    const ConnectedPair pair = local_pair();
    WatchedCall options(system_setsockopt);
    EXPECT_EQ(set_socket_timeout(-1, 5), -1);
    EXPECT_EQ(set_socket_timeout(INT_MIN, 5), -1);
    EXPECT_EQ(set_socket_timeout(pair.near.get(), -1), -1);
    EXPECT_EQ(set_socket_timeout(pair.near.get(), INT_MIN), -1);
    EXPECT_EQ(options.calls(), 0);
    EXPECT_EQ(lines.all().size(), 0u);
}

TEST(SocketIo, SaysWhichTimeOutCouldNotBeSet)
{
    const CapturedLines lines;
    const ConnectedPair pair = local_pair();
    const int fd = pair.near.get();
    WatchedCall options(system_setsockopt);
    options.fail(ENOMEM, 1);
    EXPECT_EQ(set_socket_timeout(fd, 5), -1);
    EXPECT_EQ(options.calls(), 1);
    options.fail(ENOMEM, 2);
    EXPECT_EQ(set_socket_timeout(fd, 5), -1);
    EXPECT_EQ(options.calls(), 2);
    EXPECT_EQ(lines.out(), (Lines{RECEIVE_ERROR, SEND_ERROR}));
    EXPECT_EQ(lines.err(), Lines());
}

TEST(SocketIo, PutsNoOptionInForceThatIsSetInVain)
{
    const ConnectedPair pair = tcp_pair();
    for (const int option : {TCP_CORK, TCP_NODELAY}) {
        set_option_without_effect(pair.near.get(), option);
        int value = -1;
        socklen_t size = sizeof value;
        ASSERT_EQ(getsockopt(pair.near.get(), IPPROTO_TCP, option, &value, &size), 0);
        EXPECT_EQ(value, 0) << option;
    }
}

/* ---- Sending */

TEST(SocketIo, KnowsWhichFailuresPass)
{
    for (int error = 0; error < 140; error++) {
        errno = error;
        EXPECT_EQ(send_worth_retrying(), error == EAGAIN || error == EINTR) << error;
    }
}

TEST(SocketIo, SendsNothingWithoutADescriptorDataOrALength)
{
    const CapturedLines lines;
    const ConnectedPair pair = local_pair();
    WatchedCall sends(system_send);
    EXPECT_EQ(socket_send(-1, "x", 1), -1);
    EXPECT_EQ(socket_send(INT_MIN, "x", 1), -1);
    EXPECT_EQ(socket_send(pair.near.get(), nullptr, 1), -1);
    EXPECT_EQ(socket_send(pair.near.get(), nullptr, 0), -1);
    EXPECT_EQ(socket_send(pair.near.get(), "x", 0), -1);
    EXPECT_EQ(socket_send(pair.near.get(), "x", -1), -1);
    EXPECT_EQ(socket_send(pair.near.get(), "x", INT_MIN), -1);
    EXPECT_EQ(sends.calls(), 0);
    EXPECT_EQ(lines.all().size(), 0u);
}

TEST(SocketIo, SendsAllBytes)
{
    const CapturedLines lines;
    const ConnectedPair pair = tcp_pair();
    const Bytes data = pattern(1000);
    EXPECT_EQ(socket_send(pair.near.get(), data.data(), 1000), 0);
    EXPECT_EQ(socket_send(pair.near.get(), "x", 1), 0);
    EXPECT_EQ(hex(receive_bytes(pair.far.get(), 1001)), hex(joined({data, bytes("'x'")})));
    EXPECT_EQ(lines.all().size(), 0u);
}

TEST(SocketIo, GoesOnWhereAPartialSendEnded)
{
    const CapturedLines lines;
    Bytes taken;
    int zeros = 2;
    const Replaced sends(system_send, [&](int fd, const void *data, size_t size, int) -> ssize_t {
        EXPECT_EQ(fd, 7);
        if (zeros > 0) { /* neither progress nor an error */
            zeros--;
            return 0;
        }
        const size_t part = size < 300 ? size : 300;
        const uint8_t *start = static_cast<const uint8_t *>(data);
        taken.insert(taken.end(), start, start + part);
        return static_cast<ssize_t>(part);
    });
    const Bytes data = pattern(1000);
    EXPECT_EQ(socket_send(7, data.data(), 1000), 0);
    EXPECT_EQ(hex(taken), hex(data));
    EXPECT_EQ(lines.all().size(), 0u);
}

TEST(SocketIo, TriesAgainEveryTenMillisecondsWithoutLimit)
{
    const CapturedLines lines;
    for (const int passing : {EAGAIN, EINTR}) {
        const ConnectedPair pair = local_pair();
        std::vector<useconds_t> pauses;
        const Replaced sleeps(system_usleep, [&](useconds_t pause) {
            pauses.push_back(pause);
            return 0;
        });
        WatchedCall sends(system_send);
        sends.fail(passing, 1, 500);
        EXPECT_EQ(socket_send(pair.near.get(), "abc", 3), 0);
        EXPECT_EQ(sends.calls(), 501);
        EXPECT_EQ(pauses, std::vector<useconds_t>(500, 10000));
        EXPECT_EQ(hex(receive_bytes(pair.far.get(), 3)), "61 62 63");
    }
    EXPECT_EQ(lines.all().size(), 0u);
}

TEST(SocketIo, FinishesWhenAFullBufferEmpties)
{
    const CapturedLines lines;
    const ConnectedPair pair = local_pair();
    ASSERT_EQ(set_socket_noblock(pair.near.get()), 0);
    const size_t before = fill_send_buffer(pair.near.get());
    const Bytes data = pattern(1000000);
    WatchedCall sends(system_send, Threads::EVERY);
    int result = 4711;
    std::thread sender([&] { result = socket_send(pair.near.get(), data.data(), 1000000); });
    EXPECT_TRUE(wait_until([&] { return sends.calls() >= 2; })) << "a full buffer ends it";
    EXPECT_EQ(receive_bytes(pair.far.get(), before).size(), before);
    EXPECT_TRUE(receive_bytes(pair.far.get(), data.size()) == data);
    sender.join();
    EXPECT_EQ(result, 0);
    EXPECT_EQ(lines.all().size(), 0u);
}

TEST(SocketIo, FinishesThoughSignalsInterruptIt)
{
    const CapturedLines lines;
    const Bytes data = pattern(300000);
    int result = 4711;
    const Bytes arrived = arrived_though_interrupted(
        data.size(), [&](int fd) { result = socket_send(fd, data.data(), 300000); });
    EXPECT_TRUE(arrived == data);
    EXPECT_EQ(result, 0);
    EXPECT_EQ(lines.all().size(), 0u);
}

TEST(SocketIo, EndsWithALineAndNoSignalWhenThePeerIsGone)
{
    const CapturedLines lines;
    for (ConnectedPair &pair : std::array<ConnectedPair, 1>{local_pair()}) {
        pair.far.close();
        EXPECT_EQ(socket_send(pair.near.get(), "abc", 3), -1);
    }
    EXPECT_EQ(lines.out(), Lines{"err:socket_send(): socket_send:115,errno=32\n"});
    EXPECT_EQ(lines.err(), Lines());
}

TEST(SocketIo, EndsWhenThePeerResetsTheConnection)
{
    const CapturedLines lines;
    ConnectedPair pair = tcp_pair();
    const linger at_once = {1, 0};
    ASSERT_EQ(setsockopt(pair.far.get(), SOL_SOCKET, SO_LINGER, &at_once, sizeof at_once), 0);
    pair.far.close();
    EXPECT_TRUE(wait_until([&] { return socket_send(pair.near.get(), "abc", 3) == -1; }));
    EXPECT_EQ(socket_send(pair.near.get(), "abc", 3), -1);
    EXPECT_EQ(lines.out().back(), "err:socket_send(): socket_send:115,errno=32\n");
}

TEST(SocketIo, NamesTheErrnoOfAHardFailure)
{
    const CapturedLines lines;
    const ConnectedPair pair = local_pair();
    WatchedCall sends(system_send);
    sends.fail(ENOBUFS);
    EXPECT_EQ(socket_send(pair.near.get(), "abc", 3), -1);
    EXPECT_EQ(sends.calls(), 1);
    EXPECT_EQ(socket_send(1000000, "abc", 3), -1);
    EXPECT_EQ(lines.out(),
              (Lines{"err:socket_send(): socket_send:115,errno=" + std::to_string(ENOBUFS) + "\n",
                     "err:socket_send(): socket_send:115,errno=9\n"}));
}

TEST(SocketIo, EndsWhenTheFailureComesAfterAPart)
{
    const CapturedLines lines;
    ConnectedPair pair = local_pair();
    ASSERT_EQ(set_socket_noblock(pair.near.get()), 0);
    const Bytes data = pattern(10000000);
    WatchedCall sends(system_send, Threads::EVERY);
    int result = 4711;
    std::thread sender([&] { result = socket_send(pair.near.get(), data.data(), 10000000); });
    EXPECT_TRUE(wait_until([&] { return sends.calls() >= 2; }));
    pair.far.close();
    sender.join();
    EXPECT_EQ(result, -1);
    ASSERT_EQ(lines.out().size(), 1u);
}

} // namespace
