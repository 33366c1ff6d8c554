/* SPDX-License-Identifier: MIT */
/* A host that is suspended for 40 seconds: its clocks go on, and the kernel takes what phones send
 * and connects them. Here it is suspended at a chosen place of a pass or of a send. */
#include "link/receive.h"
#include "support/service_facts.h"
#include "support/system_calls.h"
#include "support/taken_time.h"
#include "support/tcp_service.h"
#include "support/wait_until.h"
#include "tvlink/reply.h"
#include "unit/link/listed_connection.h"

#include <atomic>
#include <cerrno>
#include <functional>
#include <memory>
#include <set>

#include <poll.h>

namespace
{

using Texts = std::vector<std::string>;
using Numbers = std::vector<int>;

const int SUSPENDED_S = 40;

bool wait_for_arrival(int number, size_t size)
{
    return wait_until([&] { return bytes_arriving(number) == size; });
}

/* Something is there to be read: bytes, the end, or a connection. */
bool wait_for_ready(int number)
{
    pollfd entry = {number, POLLIN, 0};
    return poll(&entry, 1, 30000) == 1;
}

/* The descriptors of all that are connected, in order. */
Numbers listed_numbers()
{
    Numbers result;
    registry_lock();
    for (const void *element : elements(g_cp_list)) {
        result.push_back(static_cast<const CtrlPoint *>(element)->fd);
    }
    registry_unlock();
    return result;
}

class SuspendedHost : public testing::Test
{
protected:
    ~SuspendedHost() override
    {
        ipp_set_guard(nullptr);
    }

    /* A phone whose last sign of life is of this second. */
    static std::unique_ptr<Phone> live_phone()
    {
        auto phone = std::make_unique<Phone>();
        EXPECT_EQ(hex(phone->exchange_heartbeat()), hex(answer_heartbeat()));
        return phone;
    }

    static void expect_answer(const Phone &phone)
    {
        EXPECT_EQ(hex(phone.read_frame()), hex(answer_heartbeat()));
    }

    void suspend_between_two_passes();

    /* Suspends the server thread as it receives from the phone. Nobody receives at the moment. */
    void suspend_while_receiving_from(const Phone &phone, std::function<void()> meanwhile)
    {
        meanwhile_ = std::move(meanwhile);
        held_ = number_of(phone);
    }

    const CapturedLines lines;
    FrozenClock clock;

private:
    std::function<void()> meanwhile_;
    std::atomic<int> held_{-1};
    const Replaced<decltype(system_recv)> receiving_{
        system_recv, [this](int fd, void *data, size_t size, int flags) {
            int expected = fd;
            if (held_.compare_exchange_strong(expected, -1)) {
                meanwhile_();
            }
            return system_recv.real(fd, data, size, flags);
        }};
};

const IppGuard GUARDS[] = {{}, IPP_GUARD_RECOMMENDED};

/* Suspends the server thread in its wait, and afterwards notes who is connected at the beginning
 * of each pass. Passes take no time. */
class SuspendedWait
{
public:
    /* The function does what happens during the suspension. */
    void suspend(std::function<void()> meanwhile)
    {
        meanwhile_ = std::move(meanwhile);
        state_ = WANTED;
    }

    /* Who is connected when the second pass after the suspension is over. */
    std::vector<Numbers> wait_for_two_passes() const
    {
        EXPECT_TRUE(wait_until([&] { return state_ == OVER; }));
        return connected_;
    }

private:
    enum State { AWAKE, WANTED, NOTING, OVER };

    void before_wait(int *limit_ms)
    {
        if (state_ == WANTED) {
            meanwhile_();
            state_ = NOTING;
        } else if (state_ == NOTING) {
            connected_.push_back(listed_numbers());
            state_ = connected_.size() == 2 ? OVER : NOTING;
        }
        *limit_ms = 1;
    }

    std::function<void()> meanwhile_;
    std::vector<Numbers> connected_;
    std::atomic<State> state_{AWAKE};
    const Replaced<decltype(system_epoll_wait)> wait_{
        system_epoll_wait, [this](int epoll, epoll_event *events, int room, int limit_ms) {
            before_wait(&limit_ms);
            return system_epoll_wait.real(epoll, events, room, limit_ms);
        }};
};

} // namespace

/* ---- Between two passes */

void SuspendedHost::suspend_between_two_passes()
{
    const GetRequests requests([](CtrlPoint *item, const Bytes &body) { echo(item, body); });
    SuspendedWait server;
    const TcpService service;
    const auto silent = live_phone();
    const auto beating = live_phone();
    const auto also_silent = live_phone();
    const auto asking = live_phone();
    const auto halfway = live_phone();
    const auto gone = live_phone();
    const Bytes &heartbeat = phone_heartbeat();
    const Bytes half(heartbeat.begin(), heartbeat.begin() + 36);
    halfway->send(half);
    const int listener = g_tcp_sock;
    const int beating_at = number_of(*beating);
    const int also_silent_at = number_of(*also_silent);
    const int asking_at = number_of(*asking);
    const int halfway_at = number_of(*halfway);
    const int gone_at = number_of(*gone);
    ASSERT_TRUE(wait_for_arrival(halfway_at, 0)); /* the first half is read */
    Phone arriving{Phone::Later()};
    const Bytes three = joined(
        {wire_frame(5, bytes("'a'")), wire_frame(5, bytes("'b'")), wire_frame(5, bytes("'c'"))});
    server.suspend([&] {
        clock.advance(SUSPENDED_S);
        beating->send(heartbeat);
        asking->send(three);
        halfway->send(Bytes(heartbeat.begin() + 36, heartbeat.end()));
        gone->hang_up();
        arriving.connect();
        arriving.send(heartbeat);
        EXPECT_TRUE(wait_for_arrival(beating_at, heartbeat.size()));
        EXPECT_TRUE(wait_for_arrival(asking_at, three.size()));
        EXPECT_TRUE(wait_for_arrival(halfway_at, heartbeat.size() - half.size()));
        EXPECT_TRUE(wait_for_ready(gone_at));
        EXPECT_TRUE(wait_for_ready(listener));
    });
    const std::vector<Numbers> connected = server.wait_for_two_passes();
    const int arriving_at = number_of(arriving);
    EXPECT_EQ(connected.at(0),
              (Numbers{beating_at, also_silent_at, asking_at, halfway_at, arriving_at}));
    EXPECT_EQ(connected.at(1), (Numbers{beating_at, asking_at, halfway_at, arriving_at}));
    EXPECT_TRUE(silent->is_dropped());
    EXPECT_TRUE(also_silent->is_dropped());
    expect_answer(*beating);
    expect_answer(*halfway);
    expect_answer(arriving);
    for (const char *text : {"'a'", "'b'", "'c'"}) {
        EXPECT_EQ(hex(asking->read_frame()), hex(wire_frame(6, bytes(text))));
    }
    EXPECT_EQ(lines.count(TIMEOUT_LINE), 2u);
    EXPECT_EQ(lines.count(CLOSED_LINE), 1u);
}

TEST_F(SuspendedHost, BetweenTwoPassesServesAllThatWaitsAndDropsTheSilentOneByOne)
{
    for (const IppGuard &guard : GUARDS) {
        ASSERT_EQ(ipp_set_guard(&guard), 0);
        lines.clear();
        suspend_between_two_passes();
    }
}

/* ---- Within a pass, which goes on with what it knew before */

TEST_F(SuspendedHost, WithinAPassDropsTheFirstPhoneAlthoughItHasSentAndNoOther)
{
    for (const IppGuard &guard : GUARDS) {
        ASSERT_EQ(ipp_set_guard(&guard), 0);
        lines.clear();
        const TcpService service;
        const auto first = live_phone();
        const auto second = live_phone();
        const auto third = live_phone();
        const auto served = live_phone();
        const int first_at = number_of(*first);
        const int second_at = number_of(*second);
        const int third_at = number_of(*third);
        suspend_while_receiving_from(*served, [&] {
            clock.advance(SUSPENDED_S);
            for (const auto &phone : {&first, &second, &third}) {
                (*phone)->send(phone_heartbeat());
            }
            for (const int number : {first_at, second_at, third_at}) {
                EXPECT_TRUE(wait_for_arrival(number, phone_heartbeat().size()));
            }
        });
        EXPECT_EQ(hex(served->exchange_heartbeat()), hex(answer_heartbeat()));
        EXPECT_TRUE(first->is_dropped()); /* idle by the clock, and its bytes belong to the next */
        expect_answer(*second);
        expect_answer(*third);
        EXPECT_EQ(lines.count(TIMEOUT_LINE), 1u);
        EXPECT_EQ(connected(), 3u);
    }
}

TEST_F(SuspendedHost, WithinAPassDropsNobodyWhoHasSentWhenTheFirstIsSilent)
{
    const TcpService service;
    const auto silent = live_phone();
    const auto beating = live_phone();
    const auto served = live_phone();
    const int beating_at = number_of(*beating);
    suspend_while_receiving_from(*served, [&] {
        clock.advance(SUSPENDED_S);
        beating->send(phone_heartbeat());
        EXPECT_TRUE(wait_for_arrival(beating_at, phone_heartbeat().size()));
    });
    EXPECT_EQ(hex(served->exchange_heartbeat()), hex(answer_heartbeat()));
    EXPECT_TRUE(silent->is_dropped());
    expect_answer(*beating);
    EXPECT_EQ(lines.count(TIMEOUT_LINE), 1u);
}

TEST_F(SuspendedHost, ForFiveMinutesDropsNobody)
{
    SuspendedWait server;
    const TcpService service;
    const auto one = live_phone();
    const auto two = live_phone();
    const Numbers both = {number_of(*one), number_of(*two)};
    server.suspend([&] { clock.advance(300); });
    EXPECT_EQ(server.wait_for_two_passes(), (std::vector<Numbers>{both, both}));
    EXPECT_EQ(hex(one->exchange_heartbeat()), hex(answer_heartbeat()));
    EXPECT_EQ(lines.count(TIMEOUT_LINE), 0u);
}

/* ---- During a send to a phone whose buffers were full, under a guard that allows 50 ms */

namespace
{

class SuspendedReply : public OpenRegistry
{
protected:
    enum Place { IN_THE_PAUSE, IN_THE_ATTEMPT };

    /* The process is suspended at its third attempt; from the `taking`-th on the phone has room. */
    SuspendedReply()
    {
        IppGuard guard = {};
        guard.send_stall_ms = 50;
        EXPECT_EQ(ipp_set_guard(&guard), 0);
    }

    int send_suspended(const ListedConnection &connection, Place place, int taking)
    {
        const uint64_t suspension_us = uint64_t{SUSPENDED_S} * 1000000;
        attempts = 0;
        const Replaced attempt(system_send, [&](int fd, const void *data, size_t size, int flags) {
            attempts++;
            now_us += attempts == 3 && place == IN_THE_ATTEMPT ? suspension_us : 0;
            if (attempts < taking) {
                errno = attempts == 3 ? EINTR : EAGAIN;
                return ssize_t{-1};
            }
            return system_send.real(fd, data, size, flags);
        });
        const TakenSleeps sleeps([&](uint64_t microseconds) {
            now_us += attempts == 3 && place == IN_THE_PAUSE ? suspension_us : microseconds;
        });
        const Replaced elapsed(system_clock_gettime, [this](clockid_t which, timespec *to) {
            if (which != CLOCK_MONOTONIC) {
                return system_clock_gettime.real(which, to);
            }
            to->tv_sec = static_cast<time_t>(now_us / 1000000);
            to->tv_nsec = static_cast<long>(now_us % 1000000 * 1000);
            return 0;
        });
        return tcp_sendback(connection.record, 6, "a", 1);
    }

    uint64_t now_us = 5000000;
    int attempts = 0;
};

} // namespace

TEST_F(SuspendedReply, IsTriedOnceMoreWhichSavesAPhoneThatHasMadeRoom)
{
    for (const Place place : {IN_THE_PAUSE, IN_THE_ATTEMPT}) {
        const ListedConnection connection(local_pair());
        EXPECT_EQ(send_suspended(connection, place, 4), 1);
        EXPECT_EQ(attempts, 4);
        EXPECT_EQ(connection.received(73), hex(wire_frame(6, bytes("'a'"))));
        EXPECT_TRUE(is_listed(connection.record));
    }
}

TEST_F(SuspendedReply, IsTriedOnlyOnceMore)
{
    for (const Place place : {IN_THE_PAUSE, IN_THE_ATTEMPT}) {
        lines.clear();
        const ListedConnection connection(local_pair());
        EXPECT_EQ(send_suspended(connection, place, 100), -1);
        EXPECT_EQ(attempts, 4);
        EXPECT_EQ(lines.out(), Texts{"err:socket_send(): tcp_sendback:244,errno=" +
                                     std::to_string(ETIMEDOUT) + "\n"});
        EXPECT_FALSE(is_open(connection.number));
    }
}

/* ---- The time of day set, in a running service */

TEST_F(SuspendedHost, NorAClockThatIsSetKeepsPhonesFromBeingServed)
{
    const uint32_t times[] = {1700000000, 1700000300, 1700000000, 2331152000, 1700000000,
                              1068848000, 0x7FFFFFFF, 0xFFFFFFFF, 0,          0xFFFFFFFF,
                              0x7FFFFFFF, 0x80000000, 0x7FFFFFFF};
    const TcpService service;
    const auto steady = live_phone();
    for (const uint32_t time : times) {
        clock.set(time);
        const auto fresh = live_phone();
        EXPECT_TRUE(look_at(
            *fresh, [&](const CtrlPoint &record) { EXPECT_EQ(record.connect_time, time); }));
        EXPECT_EQ(hex(steady->exchange_heartbeat()), hex(answer_heartbeat()));
        EXPECT_TRUE(look_at(*steady, [&](const CtrlPoint &record) {
            EXPECT_EQ(__atomic_load_n(&record.last_active, __ATOMIC_RELAXED), time);
        }));
    }
    EXPECT_EQ(lines.count(TIMEOUT_LINE), 0u);
}
