/* SPDX-License-Identifier: MIT */
/* Bulk transfers: the listening socket and the thread that serves one connection. */
#include "tvlink/bulk.h"

#include "support/bulk_client.h"
#include "support/captured_lines.h"
#include "support/system_calls.h"
#include "support/taken_time.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <thread>

#include <fcntl.h>

#include <gtest/gtest.h>

namespace
{

using Lines = std::vector<std::string>;

const char *const SOCKET_FAILED = "zqt===  create_new_socket 85\n";
const char *const ACCEPT_FAILED = "err: accept() in big_data_thread() function\n";
const char *const GAVE_UP = "zqt===  big_data_thread 121\n";
const char *const ENDED = "zqt===  big_data_thread 156\n";

std::string send_failed(int error)
{
    return "err:socket_send(): big_data_thread:148,errno=" + std::to_string(error) + "\n";
}

class BulkSocket : public testing::Test
{
protected:
    void expect_failure(const Lines &expected)
    {
        const std::set<int> before = open_descriptors();
        uint16_t port = 7;
        EXPECT_EQ(create_new_socket(&port), -1);
        EXPECT_EQ(port, 0);
        EXPECT_EQ(lines.out(), expected);
        EXPECT_TRUE(lines.err().empty());
        EXPECT_TRUE(no_more_descriptors_than(before));
        lines.clear();
    }

    CapturedLines lines;
};

TEST_F(BulkSocket, ListensOnAPortOfTheSystemsChoice)
{
    uint16_t port = 0;
    const Descriptor listener(create_new_socket(&port));
    ASSERT_GT(listener.get(), 0);
    EXPECT_NE(port, 0);
    EXPECT_EQ(port_of(listener.get()), port);
    EXPECT_GE(bulk_connection(port).get(), 0);
    EXPECT_GE(bulk_connection(port, ANOTHER_PHONE).get(), 0);

    uint16_t other_port = 0;
    const Descriptor other(create_new_socket(&other_port));
    EXPECT_NE(other_port, port);
    EXPECT_TRUE(lines.all().empty());
}

TEST_F(BulkSocket, IsSetUpForReuseAndAFewWaitingPhones)
{
    int backlog = 0;
    const Replaced listening(system_listen, [&](int fd, int most) {
        backlog = most;
        return system_listen.real(fd, most);
    });
    uint16_t port = 0;
    const Descriptor listener(create_new_socket(&port));
    EXPECT_EQ(backlog, 5);
    int reuse = 0;
    socklen_t size = sizeof reuse;
    EXPECT_EQ(getsockopt(listener.get(), SOL_SOCKET, SO_REUSEADDR, &reuse, &size), 0);
    EXPECT_NE(reuse, 0);
    sockaddr_in address = {};
    size = sizeof address;
    EXPECT_EQ(getsockname(listener.get(), reinterpret_cast<sockaddr *>(&address), &size), 0);
    EXPECT_EQ(address.sin_addr.s_addr, htonl(INADDR_ANY));
    EXPECT_EQ(inheritable_descriptors().count(listener.get()), 0u);
}

TEST_F(BulkSocket, IsNotThereWithoutADescriptor)
{
    WatchedCall creating(system_socket);
    creating.fail(EMFILE);
    expect_failure({"err: create_new_socket() fail\n", SOCKET_FAILED});
}

TEST_F(BulkSocket, IsNotThereWithoutReuse)
{
    WatchedCall setting(system_setsockopt);
    setting.fail(EINVAL);
    expect_failure({"err: create_new_socket() fail\n", SOCKET_FAILED});
}

TEST_F(BulkSocket, IsNotThereWithoutAPort)
{
    const Replaced binding(system_bind, [](int, const sockaddr *, socklen_t) {
        errno = EADDRINUSE;
        return -1;
    });
    expect_failure({"err:bind()-line=57,func=create_new_socket\n", SOCKET_FAILED});
}

TEST_F(BulkSocket, IsNotThereWhenItCannotListen)
{
    WatchedCall listening(system_listen);
    listening.fail(EADDRINUSE);
    expect_failure({SOCKET_FAILED});
}

TEST_F(BulkSocket, IsNotThereWhenItsPortIsUnknown)
{
    const Replaced asking(system_getsockname, [](int, sockaddr *, socklen_t *) {
        errno = ENOBUFS;
        return -1;
    });
    expect_failure({SOCKET_FAILED});
}

/* ---- The thread's body, called on the test's thread for a phone that has connected before */

void *const NOT_ACCEPTED = reinterpret_cast<void *>(intptr_t{-1});

class BulkThread : public testing::Test
{
protected:
    BulkThread() : listener(create_new_socket(&port))
    {
    }

    ~BulkThread() override
    {
        if (job_ != nullptr) {
            EXPECT_TRUE(is_refused(port));
        }
    }

    /* What the thread owns from its start on. */
    BulkJob *job(const Bytes &data, const char *peer = THIS_PHONE, uint32_t accept_ms = 0)
    {
        job_ = static_cast<BulkJob *>(std::calloc(1, sizeof *job_));
        job_->listener = listener;
        job_->data = static_cast<uint8_t *>(std::malloc(data.size()));
        std::copy(data.begin(), data.end(), job_->data);
        job_->length = static_cast<uint32_t>(data.size());
        job_->peer = inet_addr(peer);
        job_->accept_ms = accept_ms;
        return job_;
    }

    static void expect_all(const Descriptor &client, const std::string &data)
    {
        EXPECT_EQ(hex(receive_bytes(client.get(), bytes(data).size())), hex(bytes(data)));
        EXPECT_TRUE(wait_for_end(client.get()));
    }

    static void expect_nothing(const Descriptor &client)
    {
        ASSERT_GE(client.get(), 0);
        EXPECT_TRUE(wait_for_end(client.get()));
    }

    CapturedLines lines;
    uint16_t port = 0;
    const int listener;

private:
    BulkJob *job_ = nullptr;
};

TEST_F(BulkThread, SendsItsDataAndCloses)
{
    const Descriptor client = bulk_connection(port);
    const std::set<int> before = open_descriptors();
    EXPECT_EQ(big_data_thread(job(bytes("02 00 00 00 'ab'"))), nullptr);
    EXPECT_TRUE(no_more_descriptors_than(before));
    EXPECT_EQ(open_descriptors().count(listener), 0u);
    expect_all(client, "02 00 00 00 'ab'");
    EXPECT_EQ(lines.out(), Lines{ENDED});
    EXPECT_TRUE(lines.err().empty());
}

TEST_F(BulkThread, ServesTheFirstConnectionOnly)
{
    const Descriptor first = bulk_connection(port);
    const Descriptor second = bulk_connection(port);
    const Descriptor third = bulk_connection(port);
    EXPECT_EQ(big_data_thread(job(bytes("'data'"))), nullptr);
    expect_all(first, "'data'");
    expect_nothing(second);
    expect_nothing(third);
}

TEST_F(BulkThread, ServesAnybodyWithoutALimit)
{
    const Descriptor stranger = bulk_connection(port, ANOTHER_PHONE);
    EXPECT_EQ(big_data_thread(job(bytes("'data'"))), nullptr);
    expect_all(stranger, "'data'");
}

TEST_F(BulkThread, ServesOnlyWhoAskedWithALimit)
{
    const Descriptor stranger = bulk_connection(port, ANOTHER_PHONE);
    const Descriptor another = bulk_connection(port, "127.0.0.3");
    const Descriptor phone = bulk_connection(port);
    EXPECT_EQ(big_data_thread(job(bytes("'data'"), THIS_PHONE, 600000)), nullptr);
    expect_nothing(stranger);
    expect_nothing(another);
    expect_all(phone, "'data'");
    EXPECT_EQ(lines.out(), Lines{ENDED});
}

TEST_F(BulkThread, WaitsForThePhoneBehindAStranger)
{
    const Descriptor stranger = bulk_connection(port, ANOTHER_PHONE);
    std::thread body([job = job(bytes("'data'"), THIS_PHONE, 600000)] {
        EXPECT_EQ(big_data_thread(job), nullptr);
    });
    expect_nothing(stranger);
    const Descriptor phone = bulk_connection(port);
    expect_all(phone, "'data'");
    body.join();
}

TEST_F(BulkThread, GivesUpWhenNobodyComes)
{
    const std::set<int> before = open_descriptors();
    EXPECT_EQ(big_data_thread(job(bytes("'data'"), THIS_PHONE, 1)), NOT_ACCEPTED);
    EXPECT_TRUE(no_more_descriptors_than(before));
    EXPECT_EQ(open_descriptors().count(listener), 0u);
    EXPECT_EQ(lines.out(), (Lines{ACCEPT_FAILED, GAVE_UP}));
}

TEST_F(BulkThread, AcceptsNobodyWhenNobodyCame)
{
    std::atomic<int> attempts{0};
    const Replaced accepting(system_accept4, [&](int, sockaddr *, socklen_t *, int) {
        attempts++;
        errno = EMFILE; /* in place of waiting for ever on a listener that blocks all the same */
        return -1;
    });
    EXPECT_EQ(big_data_thread(job(bytes("'data'"), THIS_PHONE, 1)), NOT_ACCEPTED);
    EXPECT_EQ(attempts, 0);
}

TEST_F(BulkThread, GivesUpWhenItCannotWait)
{
    int attempts = 0;
    const Replaced polling(system_poll, [&](pollfd *, nfds_t, int) {
        errno = ++attempts == 1 ? EINTR : ENOMEM;
        return -1;
    });
    EXPECT_EQ(big_data_thread(job(bytes("'data'"), THIS_PHONE, 1000)), NOT_ACCEPTED);
    EXPECT_EQ(attempts, 2);
    EXPECT_EQ(lines.out(), (Lines{ACCEPT_FAILED, GAVE_UP}));
}

TEST_F(BulkThread, AsksOnceOnAListenerThatDoesNotBlock)
{
    int attempts = 0;
    const Replaced accepting(system_accept4,
                             [&](int fd, sockaddr *peer, socklen_t *size, int flags) {
                                 if (++attempts > 100) {
                                     errno = EMFILE; /* it would go on for ever */
                                     return -1;
                                 }
                                 return system_accept4.real(fd, peer, size, flags);
                             });
    fcntl(listener, F_SETFL, O_NONBLOCK);
    EXPECT_EQ(big_data_thread(job(bytes("'data'"))), NOT_ACCEPTED);
    EXPECT_EQ(attempts, 1);
    EXPECT_EQ(lines.out(), (Lines{ACCEPT_FAILED, GAVE_UP}));
}

/* Serves strangers first, then the phone. Time stands still, but for the acceptance of a stranger,
 * which takes a while. */
class BulkThreadInTime : public BulkThread
{
protected:
    void *serve(uint32_t accept_ms, uint64_t a_while_ms)
    {
        uint64_t now_ms = 5000000;
        const Replaced clock(system_clock_gettime, [&](clockid_t, timespec *to) {
            to->tv_sec = static_cast<time_t>(now_ms / 1000);
            to->tv_nsec = static_cast<long>(now_ms % 1000 * 1000000);
            return 0;
        });
        const Replaced accepting(
            system_accept4, [&](int fd, sockaddr *peer, socklen_t *size, int flags) {
                const int accepted = system_accept4.real(fd, peer, size, flags);
                now_ms += a_while_ms;
                return accepted;
            });
        const Replaced polling(system_poll, [&](pollfd *entries, nfds_t count, int limit_ms) {
            waits.push_back(limit_ms);
            return system_poll.real(entries, count, limit_ms);
        });
        return big_data_thread(job(bytes("'data'"), THIS_PHONE, accept_ms));
    }

    const Descriptor strangers[2] = {bulk_connection(port, ANOTHER_PHONE),
                                     bulk_connection(port, ANOTHER_PHONE)};
    const Descriptor phone = bulk_connection(port);
    std::vector<int> waits;
};

TEST_F(BulkThreadInTime, ServesAPhoneThatComesJustBelowItsLimit)
{
    EXPECT_EQ(serve(601, 300), nullptr);
    expect_nothing(strangers[0]);
    expect_nothing(strangers[1]);
    expect_all(phone, "'data'");
    EXPECT_EQ(waits, (std::vector<int>{601, 301, 1}));
}

TEST_F(BulkThreadInTime, GivesUpAtItsLimitHoweverManyStrangersCome)
{
    EXPECT_EQ(serve(600, 300), NOT_ACCEPTED);
    expect_nothing(strangers[0]);
    expect_nothing(strangers[1]);
    expect_nothing(phone);
    EXPECT_EQ(waits, (std::vector<int>{600, 300}));
    EXPECT_EQ(lines.out(), (Lines{ACCEPT_FAILED, GAVE_UP}));
}

TEST_F(BulkThreadInTime, WaitsInPartsForALimitThatIsTooLongForTheSystem)
{
    EXPECT_EQ(serve(UINT32_MAX, 0x80000000U), NOT_ACCEPTED);
    EXPECT_EQ(waits, (std::vector<int>{INT_MAX, INT_MAX}));
}

TEST_F(BulkThreadInTime, ServesAPhoneThatComesJustBelowTheGreatestLimit)
{
    EXPECT_EQ(serve(UINT32_MAX, 0x7FFFFFFFU), nullptr);
    expect_all(phone, "'data'");
    EXPECT_EQ(waits, (std::vector<int>{INT_MAX, INT_MAX, 1}));
}

TEST_F(BulkThread, TriesAgainWhenASignalOrAPhoneThatHasGoneInterruptsIt)
{
    const int errors[] = {EINTR, ECONNABORTED};
    size_t attempts = 0;
    const Replaced accepting(system_accept4,
                             [&](int fd, sockaddr *peer, socklen_t *size, int flags) {
                                 if (attempts < std::size(errors)) {
                                     errno = errors[attempts++];
                                     return -1;
                                 }
                                 return system_accept4.real(fd, peer, size, flags);
                             });
    const Descriptor client = bulk_connection(port);
    EXPECT_EQ(big_data_thread(job(bytes("'data'"))), nullptr);
    EXPECT_EQ(attempts, 2u);
    expect_all(client, "'data'");
    EXPECT_EQ(lines.out(), Lines{ENDED});
}

TEST_F(BulkThread, GivesUpWhenItCannotAccept)
{
    const std::set<int> before = open_descriptors();
    const Replaced accepting(system_accept4, [](int, sockaddr *, socklen_t *, int) {
        errno = EMFILE;
        return -1;
    });
    EXPECT_EQ(big_data_thread(job(bytes("'data'"))), NOT_ACCEPTED);
    EXPECT_TRUE(no_more_descriptors_than(before));
    EXPECT_EQ(open_descriptors().count(listener), 0u);
    EXPECT_EQ(lines.out(), (Lines{ACCEPT_FAILED, GAVE_UP}));
    EXPECT_TRUE(lines.err().empty());
}

/* ---- Sends that do not take everything at once */

class BulkSends : public BulkThread
{
protected:
    struct Sent {
        size_t size;
        int flags;
    };

    /* Each send goes by the next step: so many bytes, 0, or a negative errno; then as it likes. */
    std::vector<Sent> serve(const std::vector<int> &steps, const Bytes &data, void *expected)
    {
        std::vector<Sent> calls;
        const Replaced sending(system_send, [&](int fd, const void *from, size_t size, int flags) {
            calls.push_back({size, flags});
            const int step =
                calls.size() > steps.size() ? static_cast<int>(size) : steps[calls.size() - 1];
            if (step < 0) {
                errno = -step;
            }
            return step <= 0 ? ssize_t{step < 0 ? -1 : 0}
                             : system_send.real(fd, from, static_cast<size_t>(step), flags);
        });
        const TakenSleeps taken;
        EXPECT_EQ(big_data_thread(job(data)), expected);
        sleeps = taken.all();
        return calls;
    }

    std::vector<uint64_t> sleeps;
};

TEST_F(BulkSends, GoOnUntilEverythingIsSent)
{
    const Descriptor client = bulk_connection(port);
    const auto calls = serve({1, -EAGAIN, 2, -EINTR, 0, 0, 1}, bytes("'abcdefgh'"), nullptr);
    std::vector<size_t> sizes;
    for (const Sent &call : calls) {
        sizes.push_back(call.size);
        EXPECT_EQ(call.flags, MSG_NOSIGNAL);
    }
    EXPECT_EQ(sizes, (std::vector<size_t>{8, 7, 7, 5, 5, 5, 5, 4}));
    EXPECT_EQ(sleeps, (std::vector<uint64_t>{100, 100}));
    expect_all(client, "'abcdefgh'");
    EXPECT_EQ(lines.out(), Lines{ENDED});
}

TEST_F(BulkSends, EndAtAnError)
{
    const Descriptor client = bulk_connection(port);
    const auto calls = serve({3, -ECONNRESET}, bytes("'abcdefgh'"), nullptr);
    EXPECT_EQ(calls.size(), 2u);
    EXPECT_TRUE(sleeps.empty());
    expect_all(client, "'abc'");
    EXPECT_EQ(lines.out(), (Lines{send_failed(ECONNRESET), ENDED}));
}

TEST_F(BulkThread, SurvivesAPhoneThatGoesAway)
{
    Descriptor client = bulk_connection(port);
    const linger at_once = {1, 0};
    setsockopt(client.get(), SOL_SOCKET, SO_LINGER, &at_once, sizeof at_once);
    client.close();
    EXPECT_EQ(big_data_thread(job(Bytes(16 << 20))), nullptr);
    const Lines printed = lines.out();
    ASSERT_EQ(printed.size(), 2u);
    EXPECT_TRUE(printed[0] == send_failed(ECONNRESET) || printed[0] == send_failed(EPIPE))
        << printed[0];
    EXPECT_EQ(printed[1], ENDED);
}

TEST_F(BulkThread, GivesAStalledPhoneUpWhenThereIsALimit)
{
    const Descriptor client = bulk_connection(port, THIS_PHONE, 4096);
    BulkJob *limited = job(Bytes(16 << 20));
    limited->stall_ms = 1;
    EXPECT_EQ(big_data_thread(limited), nullptr);
    EXPECT_EQ(lines.out(), (Lines{send_failed(EAGAIN), ENDED}));
}

TEST_F(BulkThread, FeedsAPhoneThatReadsBelowTheLimit)
{
    const Descriptor client = bulk_connection(port, THIS_PHONE, 4096);
    const Bytes data(3 << 20, 'd');
    BulkJob *limited = job(data);
    limited->stall_ms = UINT32_MAX;
    std::thread body([limited] { EXPECT_EQ(big_data_thread(limited), nullptr); });
    EXPECT_TRUE(receive_bytes(client.get(), data.size()) == data);
    EXPECT_TRUE(wait_for_end(client.get()));
    body.join();
    EXPECT_EQ(lines.out(), Lines{ENDED});
}

/* The limit as the system is told it, in seconds and microseconds; -1 and -1 when it is not. */
TEST_F(BulkSocket, TellsTheSystemTheLimitOfASendExactly)
{
    using Limit = std::pair<int64_t, int64_t>;
    const struct {
        uint32_t stall_ms;
        Limit told;
    } rows[] = {{0, {-1, -1}},  {1, {0, 1000}},    {999, {0, 999000}},
                {1000, {1, 0}}, {2001, {2, 1000}}, {UINT32_MAX, {4294967, 295000}}};
    for (const auto &row : rows) {
        Limit told = {-1, -1};
        const Replaced setting(system_setsockopt, [&](int fd, int level, int option,
                                                      const void *value, socklen_t size) {
            if (level == SOL_SOCKET && option == SO_SNDTIMEO) {
                const timeval *limit = static_cast<const timeval *>(value);
                told = {limit->tv_sec, limit->tv_usec};
            }
            return system_setsockopt.real(fd, level, option, value, size);
        });
        uint16_t port = 0;
        BulkJob *job = static_cast<BulkJob *>(std::calloc(1, sizeof *job));
        job->listener = create_new_socket(&port);
        job->stall_ms = row.stall_ms;
        const Descriptor client = bulk_connection(port);
        EXPECT_EQ(big_data_thread(job), nullptr);
        EXPECT_EQ(told, row.told) << row.stall_ms;
    }
}

TEST_F(BulkThread, FeedsASlowPhoneForAsLongAsItReads)
{
    const Descriptor client = bulk_connection(port, THIS_PHONE, 4096);
    Bytes data(3 << 20);
    for (size_t i = 0; i < data.size(); i++) {
        data[i] = static_cast<uint8_t>(i * 7 % 253);
    }
    std::thread body([job = job(data)] { EXPECT_EQ(big_data_thread(job), nullptr); });
    EXPECT_TRUE(receive_bytes(client.get(), data.size()) == data);
    EXPECT_TRUE(wait_for_end(client.get()));
    body.join();
    EXPECT_EQ(lines.out(), Lines{ENDED});
}

} // namespace
