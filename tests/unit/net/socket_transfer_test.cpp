/* SPDX-License-Identifier: MIT */
#include "tvlink/host/socket.h"

#include "support/captured_lines.h"
#include "support/sockets.h"
#include "support/system_calls.h"
#include "support/transfers.h"
#include "support/wait_until.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cerrno>
#include <climits>
#include <csignal>
#include <thread>

#include <sys/socket.h>

namespace
{

using Lines = std::vector<std::string>;

/* The sends or receives of one socket, as the test answers them: a count of bytes, or an errno as a
 * negative number. */
using Answers = std::vector<int>;

ssize_t give(int answer)
{
    if (answer < 0) {
        errno = -answer;
        return -1;
    }
    return answer;
}

/* "offset + size, flags" of each send of the data that begins here. */
class ScriptedTransfer
{
public:
    ScriptedTransfer(const void *begin, Answers answers)
        : begin_(static_cast<const uint8_t *>(begin)), answers_(std::move(answers))
    {
    }

    ssize_t call(const void *data, size_t size, int flags)
    {
        const ptrdiff_t offset = static_cast<const uint8_t *>(data) - begin_;
        calls.push_back(std::to_string(offset) + " + " + std::to_string(size) + ", " +
                        std::to_string(flags));
        if (calls.size() > answers_.size()) {
            ADD_FAILURE() << "one call too many";
            return give(-ENOTCONN);
        }
        return give(answers_[calls.size() - 1]);
    }

    Lines calls;

private:
    const uint8_t *begin_;
    Answers answers_;
};

/* All calls of one system function, send or recv. */
template <typename Call> class ScriptedCalls
{
public:
    ScriptedCalls(Call &call, const void *begin, Answers answers)
        : transfer_(begin, std::move(answers)),
          replaced_(call, [this](int fd, auto *data, size_t size, int flags) {
              EXPECT_EQ(fd, 7);
              return transfer_.call(data, size, flags);
          })
    {
    }

    const Lines &calls() const
    {
        return transfer_.calls;
    }

private:
    ScriptedTransfer transfer_;
    Replaced<Call> replaced_;
};

/* The pauses between two attempts, which take no time. */
class Pauses
{
public:
    std::vector<useconds_t> all;

private:
    Replaced<decltype(system_usleep)> replaced_{system_usleep, [this](useconds_t pause) {
                                                    all.push_back(pause);
                                                    return 0;
                                                }};
};

/* ---- Sending */

static_assert(MSG_NOSIGNAL == 16384, "the flags of the calls below");

TEST(SocketTransfer, SendsAllBytesAndReturnsTheirNumber)
{
    const CapturedLines lines;
    const ConnectedPair pair = tcp_pair();
    const Bytes data = pattern(1000);
    EXPECT_EQ(soc_send(pair.near.get(), data.data(), 1000, 0), 1000);
    EXPECT_EQ(soc_send(pair.near.get(), "x", 1, 0), 1);
    EXPECT_EQ(hex(receive_bytes(pair.far.get(), 1001)), hex(joined({data, bytes("'x'")})));
    EXPECT_EQ(lines.all().size(), 0u);
}

TEST(SocketTransfer, SendsWhatRemainsWithTheGivenFlags)
{
    const char data[] = "0123456789";
    const ScriptedCalls sends(system_send, data, {3, 6, 1});
    EXPECT_EQ(soc_send(7, data, 10, MSG_MORE), 10);
    const std::string flags = std::to_string(MSG_MORE | MSG_NOSIGNAL);
    EXPECT_EQ(sends.calls(), (Lines{"0 + 10, " + flags, "3 + 7, " + flags, "9 + 1, " + flags}));
}

TEST(SocketTransfer, SendsNothingWithoutDataOrALength)
{
    const CapturedLines lines;
    const ScriptedCalls sends(system_send, nullptr, {});
    EXPECT_EQ(soc_send(7, "x", 0, 0), 0);
    EXPECT_EQ(soc_send(7, "x", -1, 0), 0);
    EXPECT_EQ(soc_send(7, "x", INT_MIN, 0), 0);
    EXPECT_EQ(soc_send(7, nullptr, 0, 0), 0);
    EXPECT_EQ(lines.all().size(), 0u);
}

TEST(SocketTransfer, SaysThatThereIsNoDataToSend)
{
    const CapturedLines lines;
    const ConnectedPair ends = local_pair();
    errno = 0;
    EXPECT_EQ(soc_send(ends.near.get(), nullptr, 5, 0), -1);
    EXPECT_EQ(errno, EFAULT);
    EXPECT_EQ(lines.out(), Lines{"err:send data soc_send 221,errno=14\n"});
}

TEST(SocketTransfer, TriesAPassingFailureAgainEveryTenMicrosecondsWithoutLimit)
{
    const CapturedLines lines;
    for (const int passing : {EAGAIN, EINTR}) {
        Answers answers(300, -passing);
        answers[100] = 2;
        answers.push_back(1);
        Pauses pauses;
        const ScriptedCalls sends(system_send, "abc", answers);
        EXPECT_EQ(soc_send(7, "abc", 3, 0), 3);
        EXPECT_EQ(sends.calls().size(), 301u);
        EXPECT_EQ(pauses.all, std::vector<useconds_t>(299, 10));
    }
    EXPECT_EQ(lines.all().size(), 0u);
}

TEST(SocketTransfer, GivesUpWhenASendTakesNothing)
{
    const CapturedLines lines;
    Pauses pauses;
    const ScriptedCalls sends(system_send, "abc", {2, 0});
    EXPECT_EQ(soc_send(7, "abc", 3, 0), -1);
    EXPECT_EQ(sends.calls().size(), 2u);
    EXPECT_EQ(pauses.all.size(), 0u);
    EXPECT_EQ(lines.out(), Lines{"err:send data soc_send 212\n"});
    EXPECT_EQ(lines.err(), Lines());
}

TEST(SocketTransfer, GivesUpWithTheErrnoOfAnyOtherFailure)
{
    const CapturedLines lines;
    Pauses pauses;
    for (int error = 1; error < 134; error++) {
        if (error != EAGAIN && error != EINTR) {
            const ScriptedCalls sends(system_send, "abc", {1, -error});
            EXPECT_EQ(soc_send(7, "abc", 3, 0), -1);
            EXPECT_EQ(errno, error);
            EXPECT_EQ(lines.out(),
                      Lines{"err:send data soc_send 221,errno=" + std::to_string(error) + "\n"});
            lines.clear();
        }
    }
    EXPECT_EQ(pauses.all.size(), 0u);
}

/* So small that a stream of some megabytes fills it again and again. */
void set_buffers(const ConnectedPair &pair, int size)
{
    EXPECT_EQ(setsockopt(pair.near.get(), SOL_SOCKET, SO_SNDBUF, &size, sizeof size), 0);
    EXPECT_EQ(setsockopt(pair.far.get(), SOL_SOCKET, SO_RCVBUF, &size, sizeof size), 0);
}

TEST(SocketTransfer, DrainsSlowlyThroughAFullSocketThatDoesNotBlock)
{
    const CapturedLines lines;
    const ConnectedPair pair = tcp_pair();
    set_buffers(pair, 50000);
    ASSERT_EQ(soc_setNoBlock(pair.near.get(), 1), 1);
    std::atomic<int> other_pauses(0);
    const Replaced sleeps(system_usleep, [&](useconds_t pause) {
        other_pauses += pause == 10 ? 0 : 1;
        return system_usleep.real(pause);
    });
    std::atomic<int> full(0);
    const Replaced<decltype(system_send)> sends(
        system_send, [&](int fd, const void *bytes_to_send, size_t size, int flags) {
            const ssize_t sent = system_send.real(fd, bytes_to_send, size, flags);
            full += sent < 0 && errno == EAGAIN ? 1 : 0;
            return sent;
        });
    const Bytes data = pattern(3000000);
    Bytes drained;
    std::thread reader([&] {
        for (int i = 0; i < 5; i++) { /* each part only when the sender stands still again */
            const int before = full;
            EXPECT_TRUE(wait_until([&] { return full >= before + 3; }));
            const Bytes part = receive_bytes(pair.far.get(), 300000);
            drained.insert(drained.end(), part.begin(), part.end());
        }
        const Bytes rest = receive_bytes(pair.far.get(), data.size() - drained.size());
        drained.insert(drained.end(), rest.begin(), rest.end());
    });
    EXPECT_EQ(soc_send(pair.near.get(), data.data(), 3000000, 0), 3000000);
    reader.join();
    EXPECT_TRUE(drained == data);
    EXPECT_EQ(other_pauses, 0);
    EXPECT_EQ(lines.out(), Lines{"soc_setBlock ok\n "});
}

TEST(SocketTransfer, FinishesThoughSignalsInterruptIt)
{
    const CapturedLines lines;
    const Bytes data = pattern(300000);
    int result = 4711;
    const Bytes arrived = arrived_though_interrupted(
        data.size(), [&](int fd) { result = soc_send(fd, data.data(), 300000, 0); });
    EXPECT_TRUE(arrived == data);
    EXPECT_EQ(result, 300000);
    EXPECT_EQ(lines.all().size(), 0u);
}

/* Counts the signals that would end a host. */
class BrokenPipeSignals
{
public:
    BrokenPipeSignals()
    {
        number_ = 0;
        former_ = std::signal(SIGPIPE, [](int) { number_ = number_ + 1; });
    }
    ~BrokenPipeSignals()
    {
        std::signal(SIGPIPE, former_);
    }
    BrokenPipeSignals(const BrokenPipeSignals &) = delete;
    BrokenPipeSignals &operator=(const BrokenPipeSignals &) = delete;

    int number() const
    {
        return number_;
    }

private:
    static volatile std::sig_atomic_t number_;
    void (*former_)(int);
};

volatile std::sig_atomic_t BrokenPipeSignals::number_ = 0;

TEST(SocketTransfer, EndsWithALineAndNoSignalWhenThePeerNoLongerReceives)
{
    const CapturedLines lines;
    const BrokenPipeSignals signals;
    const ConnectedPair pair = local_pair();
    ASSERT_EQ(shutdown(pair.far.get(), SHUT_RD), 0);
    for (const int flags : {0, int{MSG_DONTWAIT}}) {
        EXPECT_EQ(soc_send(pair.near.get(), "abc", 3, flags), -1);
        EXPECT_EQ(errno, EPIPE);
    }
    EXPECT_EQ(lines.out(), Lines(2, "err:send data soc_send 221,errno=32\n"));
    EXPECT_EQ(lines.err(), Lines());
    EXPECT_EQ(signals.number(), 0);
}

TEST(SocketTransfer, EndsWithALineAndNoSignalWhenThePeerHasResetTheConnection)
{
    const CapturedLines lines;
    const BrokenPipeSignals signals;
    ConnectedPair pair = tcp_pair();
    const linger at_once = {1, 0};
    ASSERT_EQ(setsockopt(pair.far.get(), SOL_SOCKET, SO_LINGER, &at_once, sizeof at_once), 0);
    pair.far.close();
    EXPECT_EQ(soc_send(pair.near.get(), "abc", 3, 0), -1);
    EXPECT_EQ(soc_send(pair.near.get(), "abc", 3, 0), -1);
    EXPECT_EQ(lines.out(),
              (Lines{"err:send data soc_send 221,errno=" + std::to_string(ECONNRESET) + "\n",
                     "err:send data soc_send 221,errno=32\n"}));
    EXPECT_EQ(signals.number(), 0);
}

/* ---- Receiving */

TEST(SocketTransfer, ReceivesWhatHasArrived)
{
    const CapturedLines lines;
    ConnectedPair pair = tcp_pair();
    send_bytes(pair.far.get(), bytes("'abc'"));
    char buffer[8] = "#######";
    EXPECT_EQ(socket_recv(pair.near.get(), buffer, 2, MSG_PEEK | MSG_WAITALL), 2);
    EXPECT_STREQ(buffer, "ab#####");
    EXPECT_EQ(socket_recv(pair.near.get(), buffer, 3, MSG_WAITALL), 3);
    EXPECT_STREQ(buffer, "abc####");
    EXPECT_EQ(socket_recv(pair.near.get(), buffer, 7, MSG_DONTWAIT), -1);
    EXPECT_EQ(errno, EAGAIN);
    pair.far.close();
    EXPECT_EQ(socket_recv(pair.near.get(), buffer, 7, 0), 0);
    EXPECT_STREQ(buffer, "abc####");
    EXPECT_EQ(lines.all().size(), 0u);
}

TEST(SocketTransfer, ReceivesWithOneCallThatItHandsOn)
{
    char buffer[4];
    const ScriptedCalls receives(system_recv, buffer, {4, 2, 0, -EINTR, 0});
    EXPECT_EQ(socket_recv(7, buffer, 4, 0), 4);
    EXPECT_EQ(socket_recv(7, buffer + 1, 3, MSG_PEEK), 2);
    EXPECT_EQ(socket_recv(7, buffer, 4, 0), 0);
    EXPECT_EQ(socket_recv(7, buffer, 4, 0), -1);
    EXPECT_EQ(errno, EINTR);
    EXPECT_EQ(socket_recv(7, buffer, 0, 0), 0);
    EXPECT_EQ(receives.calls(),
              (Lines{"0 + 4, 0", "1 + 3, 2", "0 + 4, 0", "0 + 4, 0", "0 + 0, 0"}));
}

TEST(SocketTransfer, ReceivesNothingWithoutABufferOrForANegativeLength)
{
    char buffer[4];
    const ScriptedCalls receives(system_recv, buffer, {});
    EXPECT_EQ(socket_recv(7, nullptr, 1, 0), -1);
    EXPECT_EQ(socket_recv(7, buffer, -1, 0), -1);
    EXPECT_EQ(socket_recv(7, buffer, INT_MIN, 0), -1);
}

/* ---- Packs */

TEST(SocketTransfer, SendsAPackInWholeChunks)
{
    const ConnectedPair pair = tcp_pair();
    WatchedCall sends(system_send);
    EXPECT_EQ(socket_send_pack(pair.near.get(), "0123456789ab", 10, 4), 12);
    EXPECT_EQ(sends.calls(), 3);
    EXPECT_EQ(socket_send_pack(pair.near.get(), "cdefghij", 8, 4), 8);
    EXPECT_EQ(sends.calls(), 5);
    EXPECT_EQ(socket_send_pack(pair.near.get(), "klmn", 1, 4), 4);
    EXPECT_EQ(sends.calls(), 6);
    EXPECT_EQ(hex(receive_bytes(pair.far.get(), 24)), hex(bytes("'0123456789abcdefghijklmn'")));
}

TEST(SocketTransfer, SendsEachChunkOfAPackFromItsPlace)
{
    const char data[] = "0123456789ab";
    const ScriptedCalls sends(system_send, data, {4, 1, 3, 4});
    EXPECT_EQ(socket_send_pack(7, data, 10, 4), 12);
    EXPECT_EQ(sends.calls(),
              (Lines{"0 + 4, 16384", "4 + 4, 16384", "5 + 3, 16384", "8 + 4, 16384"}));
}

TEST(SocketTransfer, EndsAPackWithTheChunkThatFails)
{
    const CapturedLines lines;
    const char data[] = "0123456789ab";
    const ScriptedCalls sends(system_send, data, {4, 2, -ECONNRESET});
    EXPECT_EQ(socket_send_pack(7, data, 12, 4), 4);
    EXPECT_EQ(sends.calls().size(), 3u);
    const ScriptedCalls at_once(system_send, data, {-EPIPE});
    EXPECT_EQ(socket_send_pack(7, data, 12, 4), 0);
    EXPECT_EQ(lines.out(),
              (Lines{"err:send data soc_send 221,errno=" + std::to_string(ECONNRESET) + "\n",
                     "err:send data soc_send 221,errno=32\n"}));
}

TEST(SocketTransfer, ReceivesAPackUntilTheTotalHasArrived)
{
    const ConnectedPair pair = tcp_pair();
    const Bytes data = pattern(100000);
    Bytes buffer(data.size());
    std::thread sender([&] { send_bytes(pair.far.get(), data); });
    EXPECT_EQ(socket_recv_pack(pair.near.get(), buffer.data(), 100000, 1000), 100000);
    sender.join();
    EXPECT_TRUE(buffer == data);
}

TEST(SocketTransfer, ReceivesUpToAChunkMoreThanThePacksTotal)
{
    const ConnectedPair pair = tcp_pair();
    send_bytes(pair.far.get(), bytes("'0123456789abcd'"));
    ASSERT_EQ(receive_bytes(pair.near.get(), 1).size(), 1u);
    char buffer[14] = "#############";
    EXPECT_EQ(socket_recv_pack(pair.near.get(), buffer, 10, 4), 12);
    EXPECT_STREQ(buffer, "123456789abc#");
}

TEST(SocketTransfer, AsksForAPackAgainWhereTheLastPartEnded)
{
    char buffer[16];
    const ScriptedCalls receives(system_recv, buffer, {3, 0, 0, 4, 2, 4});
    EXPECT_EQ(socket_recv_pack(7, buffer, 10, 4), 13);
    EXPECT_EQ(receives.calls(),
              (Lines{"0 + 4, 0", "3 + 4, 0", "3 + 4, 0", "3 + 4, 0", "7 + 4, 0", "9 + 4, 0"}));
}

TEST(SocketTransfer, EndsAPackWithTheReceiveThatFails)
{
    char buffer[16];
    const ScriptedCalls receives(system_recv, buffer, {4, 2, -EINTR});
    EXPECT_EQ(socket_recv_pack(7, buffer, 12, 4), 6);
    EXPECT_EQ(receives.calls().size(), 3u);
}

TEST(SocketTransfer, HasNoPackWithoutATotalAChunkOrMemory)
{
    const CapturedLines lines;
    char buffer[16] = "";
    const ScriptedCalls sends(system_send, buffer, {});
    const ScriptedCalls receives(system_recv, buffer, {});
    for (const int none : {0, -1, INT_MIN}) {
        EXPECT_EQ(socket_send_pack(7, buffer, none, 4), 0);
        EXPECT_EQ(socket_send_pack(7, buffer, 4, none), 0);
        EXPECT_EQ(socket_recv_pack(7, buffer, none, 4), 0);
        EXPECT_EQ(socket_recv_pack(7, buffer, 4, none), 0);
    }
    EXPECT_EQ(socket_recv_pack(7, nullptr, 4, 4), 0);
    EXPECT_EQ(lines.all().size(), 0u);
}

TEST(SocketTransfer, CountsNoFurtherThanItsResultGoes)
{
    uint8_t *nowhere = reinterpret_cast<uint8_t *>(uintptr_t{16}); /* nothing touches it */
    const ScriptedCalls sends(system_send, nowhere, {INT_MAX - 1, INT_MAX - 1});
    EXPECT_EQ(socket_send_pack(7, nowhere, INT_MAX, INT_MAX - 1), INT_MAX);
    const ScriptedCalls receives(system_recv, nowhere, {INT_MAX - 1, INT_MAX - 1});
    EXPECT_EQ(socket_recv_pack(7, nowhere, INT_MAX, INT_MAX - 1), INT_MAX);
}

} // namespace
