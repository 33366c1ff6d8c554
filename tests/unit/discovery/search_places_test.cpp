/* SPDX-License-Identifier: MIT */
/* The guard's max_search_answers: answers that wait side by side. */
#include "base/flags.h"
#include "discovery/discovery.h"
#include "net/stop_signal.h"
#include "support/recorded_notices.h"
#include "support/system_calls.h"
#include "unit/discovery/search_steps.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstdlib>

#include <arpa/inet.h>

namespace
{

using Lines = std::vector<std::string>;
using Limits = std::vector<uint64_t>;

const uint64_t NO_LIMIT = UINT64_MAX;

/* Delays that two seconds of the time of day draw, and the seconds. */
struct Draw {
    time_t second;
    uint64_t delay_us;
};

Draw draw_of(time_t second)
{
    return {second, drawn_delay(second)};
}

/* The first after this one whose delay is shorter by more than that. */
Draw shorter_draw(const Draw &than, uint64_t by_us)
{
    Draw draw = draw_of(than.second + 1);
    while (draw.delay_us + by_us >= than.delay_us) {
        draw = draw_of(draw.second + 1);
    }
    return draw;
}

/* Time as the discovery thread sees it: the monotonic clock stands still until the test lets it go
 * on, and the time of day is the second from which the test wants delays to be drawn. */
class HeldTime
{
public:
    explicit HeldTime(const Draw &draw) : second_(draw.second)
    {
    }

    void draw(const Draw &draw)
    {
        second_ = draw.second;
    }

    void pass(uint64_t microseconds)
    {
        now_us_ += microseconds;
    }

    /* How long each wait would have lasted, in microseconds, or NO_LIMIT. */
    Limits limits() const
    {
        const std::lock_guard<std::mutex> guard(lock_);
        return limits_;
    }

    /* Until the thread waits for the count-th time. */
    bool wait_for(size_t count) const
    {
        return wait_until([&] { return limits().size() >= count; });
    }

private:
    static uint64_t microseconds(const timespec *time)
    {
        return static_cast<uint64_t>(time->tv_sec) * 1000000 +
               static_cast<uint64_t>(time->tv_nsec) / 1000;
    }

    uint64_t read()
    {
        last_read_us_ = now_us_.load();
        return last_read_us_;
    }

    int wait(pollfd *entries, nfds_t count, const timespec *limit, const sigset_t *mask)
    {
        {
            const std::lock_guard<std::mutex> guard(lock_);
            limits_.push_back(limit == nullptr ? NO_LIMIT : microseconds(limit));
        }
        if (limit == nullptr) {
            return system_ppoll.real(entries, count, limit, mask);
        }
        const uint64_t end_us = last_read_us_ + microseconds(limit);
        for (;;) {
            const bool over = now_us_ >= end_us;
            const timespec a_moment = {0, over ? 0 : 1000000};
            const int ready = system_ppoll.real(entries, count, &a_moment, mask);
            if (ready != 0 || over) {
                return ready;
            }
        }
    }

    std::atomic<uint64_t> now_us_{5000000};
    std::atomic<uint64_t> last_read_us_{0}; /* by the discovery thread, which alone looks */
    std::atomic<time_t> second_;
    mutable std::mutex lock_;
    Limits limits_;
    const Replaced<decltype(system_clock_gettime)> clock_{
        system_clock_gettime, [this](clockid_t which, timespec *to) {
            if (which != CLOCK_MONOTONIC) {
                return system_clock_gettime.real(which, to);
            }
            const uint64_t now_us = read();
            to->tv_sec = static_cast<time_t>(now_us / 1000000);
            to->tv_nsec = static_cast<long>(now_us % 1000000 * 1000);
            return 0;
        }};
    const Replaced<decltype(system_time)> time_of_day_{system_time,
                                                       [this](time_t *) { return second_.load(); }};
    const Replaced<decltype(system_ppoll)> poll_{
        system_ppoll, [this](pollfd *entries, nfds_t count, const timespec *limit,
                             const sigset_t *mask) { return wait(entries, count, limit, mask); }};
};

Lines recognised(const std::string &from)
{
    return {receipt(8, from), recognition(from)};
}

Lines joined_lines(const std::vector<Lines> &parts)
{
    Lines all;
    for (const Lines &part : parts) {
        all.insert(all.end(), part.begin(), part.end());
    }
    return all;
}

std::string address_number(unsigned number)
{
    return "127.1." + std::to_string(number / 256) + "." + std::to_string(number % 256);
}

class SearchPlaces : public SearchTest
{
protected:
    static void set_places(uint32_t places, Doorman *doorman = nullptr)
    {
        IppGuard guard = {};
        guard.max_search_answers = places;
        guard.admit = doorman == nullptr ? nullptr : ask;
        guard.admit_context = doorman;
        ASSERT_EQ(ipp_set_guard(&guard), 0);
    }

    void with_television(uint32_t places, const std::function<void(SignalledTelevision &tv)> &body)
    {
        set_places(places);
        in_network(NETWORK, [&] {
            for (int i = 0; i < 3; i++) {
                phones[i] = datagram_socket(ANSWER_PORT, ADDRESSES[i]);
            }
            SignalledTelevision tv(lines);
            body(tv);
        });
    }

    /* The thread has dealt with this search when it waits again. */
    void search_from(const Descriptor &phone)
    {
        const size_t waits = time.limits().size();
        send_search_from(phone);
        EXPECT_TRUE(time.wait_for(waits + 1));
    }

    void expect_answer(int phone) const
    {
        const std::optional<Datagram> answer = receive_datagram(phones[phone].get());
        ASSERT_TRUE(answer.has_value());
        EXPECT_EQ(answer->data, ANSWER);
        EXPECT_EQ(answer->from_port, SEARCH_PORT);
    }

    void expect_silence() const
    {
        for (const Descriptor &phone : phones) {
            EXPECT_TRUE(nothing_received(phone.get()));
        }
    }

    static constexpr const char *ADDRESSES[] = {"127.0.0.2", "127.0.0.3", "127.0.0.4"};
    /* The last millisecond is waited for on its own. */
    static uint64_t but_the_last(uint64_t us)
    {
        return us - LAST_WAIT_US;
    }

    static constexpr uint64_t LAST_WAIT_US = 1000;
    const Draw draw = draw_of(7);
    const uint64_t long_us = but_the_last(draw.delay_us);
    HeldTime time{draw};
    Descriptor phones[3];
};

TEST_F(SearchPlaces, LetAnswersWaitSideBySide)
{
    with_television(3, [&](SignalledTelevision &tv) {
        EXPECT_TRUE(time.wait_for(1));
        for (const Descriptor &phone : phones) {
            search_from(phone);
        }
        const Lines heard = joined_lines(
            {recognised("127.0.0.2"), recognised("127.0.0.3"), recognised("127.0.0.4")});
        EXPECT_EQ(lines.out(), heard);
        EXPECT_EQ(time.limits(), (Limits{NO_LIMIT, long_us, long_us, long_us}));
        expect_silence();
        time.pass(draw.delay_us);
        EXPECT_TRUE(time.wait_for(5));
        for (int i = 0; i < 3; i++) {
            expect_answer(i);
        }
        expect_silence();
        EXPECT_EQ(lines.out(), joined_lines({heard,
                                             {response("127.0.0.2"), response("127.0.0.3"),
                                              response("127.0.0.4")}}));
        EXPECT_EQ(time.limits(), (Limits{NO_LIMIT, long_us, long_us, long_us, NO_LIMIT}));
        EXPECT_EQ(tv.sleeps(), Limits());
    });
}

/* A long wait may end late. */
TEST_F(SearchPlaces, AreLeftAfterAShortWait)
{
    with_television(1, [&](SignalledTelevision &tv) {
        EXPECT_TRUE(time.wait_for(1));
        search_from(phones[0]);
        time.pass(long_us);
        EXPECT_TRUE(time.wait_for(3));
        expect_silence();
        time.pass(LAST_WAIT_US);
        EXPECT_TRUE(time.wait_for(4));
        expect_answer(0);
        EXPECT_EQ(time.limits(), (Limits{NO_LIMIT, long_us, LAST_WAIT_US, NO_LIMIT}));
        EXPECT_EQ(tv.sleeps(), Limits());
    });
}

TEST_F(SearchPlaces, GiveEachAnswerADelayOfItsOwn)
{
    const uint64_t later_us = 10000;
    const Draw shorter = shorter_draw(draw, later_us);
    with_television(2, [&](SignalledTelevision &tv) {
        EXPECT_TRUE(time.wait_for(1));
        search_from(phones[0]);
        time.pass(later_us);
        time.draw(shorter);
        search_from(phones[1]);
        time.pass(shorter.delay_us);
        EXPECT_TRUE(time.wait_for(4));
        expect_answer(1);
        expect_silence();
        const uint64_t left_us = draw.delay_us - later_us - shorter.delay_us;
        time.pass(left_us);
        EXPECT_TRUE(time.wait_for(5));
        expect_answer(0);
        EXPECT_EQ(time.limits(), (Limits{NO_LIMIT, long_us, but_the_last(shorter.delay_us),
                                         but_the_last(left_us), NO_LIMIT}));
        EXPECT_EQ(lines.out(), joined_lines({recognised("127.0.0.2"),
                                             recognised("127.0.0.3"),
                                             {response("127.0.0.3"), response("127.0.0.2")}}));
        EXPECT_EQ(tv.sleeps(), Limits());
    });
}

TEST_F(SearchPlaces, AreOneForEachAddress)
{
    with_television(3, [&](SignalledTelevision &) {
        const Descriptor other_port = datagram_socket(0, "127.0.0.2");
        EXPECT_TRUE(time.wait_for(1));
        search_from(phones[0]);
        search_from(phones[0]);
        search_from(other_port);
        search_from(phones[1]);
        time.pass(draw.delay_us);
        EXPECT_TRUE(time.wait_for(6));
        expect_answer(0);
        expect_answer(1);
        search_from(phones[0]);
        time.pass(draw.delay_us);
        EXPECT_TRUE(time.wait_for(8));
        expect_answer(0);
        expect_silence();
        EXPECT_EQ(lines.out(), joined_lines({recognised("127.0.0.2"),
                                             recognised("127.0.0.2"),
                                             recognised("127.0.0.2"),
                                             recognised("127.0.0.3"),
                                             {response("127.0.0.2"), response("127.0.0.3")},
                                             recognised("127.0.0.2"),
                                             {response("127.0.0.2")}}));
    });
}

TEST_F(SearchPlaces, AreNotTakenFromThoseWhoHaveThem)
{
    with_television(2, [&](SignalledTelevision &) {
        EXPECT_TRUE(time.wait_for(1));
        for (const Descriptor &phone : phones) {
            search_from(phone);
        }
        time.pass(draw.delay_us);
        EXPECT_TRUE(time.wait_for(5));
        search_from(phones[2]);
        time.pass(draw.delay_us);
        EXPECT_TRUE(time.wait_for(7));
        for (int i = 0; i < 3; i++) {
            expect_answer(i);
        }
        expect_silence();
        EXPECT_EQ(lines.out(), joined_lines({recognised("127.0.0.2"),
                                             recognised("127.0.0.3"),
                                             recognised("127.0.0.4"),
                                             {response("127.0.0.2"), response("127.0.0.3")},
                                             recognised("127.0.0.4"),
                                             {response("127.0.0.4")}}));
    });
}

TEST_F(SearchPlaces, AreAtMost1024)
{
    with_television(UINT32_MAX, [&](SignalledTelevision &) {
        EXPECT_TRUE(time.wait_for(1));
        Lines expected;
        for (unsigned i = 1; i <= 1025; i++) {
            search_from(datagram_socket(0, address_number(i).c_str()));
        }
        EXPECT_EQ(lines.out().size(), 2 * 1025u);
        for (unsigned i = 1; i <= 1024; i++) {
            expected.push_back(response(address_number(i)));
        }
        lines.clear();
        time.pass(draw.delay_us);
        EXPECT_TRUE(time.wait_for(1027));
        EXPECT_EQ(lines.out(), expected);
        EXPECT_EQ(time.limits().back(), NO_LIMIT);
    });
}

TEST_F(SearchPlaces, AreEmptiedByAStop)
{
    with_television(3, [&](SignalledTelevision &tv) {
        EXPECT_TRUE(time.wait_for(1));
        search_from(phones[0]);
        search_from(phones[1]);
        EXPECT_EQ(tv.stop(), nullptr);
        EXPECT_EQ(
            lines.out(),
            joined_lines({recognised("127.0.0.2"), recognised("127.0.0.3"), {DISCOVERY_ENDS}}));
        EXPECT_EQ(tv.sleeps(), Limits());

        flags_start_run();
        const size_t waits = time.limits().size();
        const SignalledTelevision next(lines);
        EXPECT_TRUE(time.wait_for(waits + 1));
        EXPECT_EQ(time.limits().back(), NO_LIMIT) << "an answer of the former run";
        time.pass(draw.delay_us);
        search_from(phones[2]);
        time.pass(draw.delay_us);
        expect_answer(2);
        expect_silence();
    });
}

TEST_F(SearchPlaces, KeepWhatWaitsWhenTheGuardIsTakenAway)
{
    with_television(3, [&](SignalledTelevision &tv) {
        EXPECT_TRUE(time.wait_for(1));
        search_from(phones[0]);
        ASSERT_EQ(ipp_set_guard(nullptr), 0);
        search_from(phones[1]); /* answered at once, after a sleep that takes no time */
        expect_answer(1);
        expect_silence();
        EXPECT_EQ(tv.sleeps(), Limits{draw.delay_us});
        EXPECT_EQ(time.limits(), (Limits{NO_LIMIT, long_us, long_us}));
        time.pass(draw.delay_us);
        expect_answer(0);
        EXPECT_TRUE(time.wait_for(4));
        EXPECT_EQ(lines.out(), joined_lines({recognised("127.0.0.2"),
                                             recognised("127.0.0.3"),
                                             {response("127.0.0.3"), response("127.0.0.2")}}));
    });
}

TEST_F(SearchPlaces, AreAsManyAsTheGuardOfTheMomentSays)
{
    with_television(2, [&](SignalledTelevision &) {
        EXPECT_TRUE(time.wait_for(1));
        search_from(phones[0]);
        search_from(phones[1]);
        set_places(1);
        search_from(phones[2]);
        time.pass(draw.delay_us);
        EXPECT_TRUE(time.wait_for(5));
        expect_answer(0);
        expect_answer(1);
        search_from(phones[1]);
        search_from(phones[2]);
        set_places(2);
        search_from(phones[0]);
        time.pass(draw.delay_us);
        EXPECT_TRUE(time.wait_for(9));
        expect_answer(1);
        expect_answer(0);
        expect_silence();
    });
}

TEST_F(SearchPlaces, AreGivenToThoseWhomTheHostAdmits)
{
    Doorman doorman;
    const RecordedNotices notices;
    with_television(1, [&](SignalledTelevision &) {
        set_places(1, &doorman);
        EXPECT_TRUE(time.wait_for(1));
        doorman.answer = 0;
        search_from(phones[0]);
        doorman.answer = 1;
        search_from(phones[1]);
        search_from(phones[1]); /* has a place */
        search_from(phones[2]); /* finds none */
        const std::vector<uint32_t> asked = {inet_addr("127.0.0.2"), inet_addr("127.0.0.3")};
        EXPECT_EQ(doorman.all_asked(), asked);
        time.pass(draw.delay_us);
        EXPECT_TRUE(time.wait_for(6));
        expect_answer(1);
        expect_silence();
        EXPECT_EQ(lines.out(), joined_lines({recognised("127.0.0.2"),
                                             recognised("127.0.0.3"),
                                             recognised("127.0.0.3"),
                                             recognised("127.0.0.4"),
                                             {response("127.0.0.3")}}));
        EXPECT_EQ(doorman.all_asked(), asked);
        EXPECT_TRUE(notices.wait_for("search_answered"));
        EXPECT_EQ(notices.all(),
                  (Lines{"search_refused not admitted", "search_refused an answer waits already",
                         "search_refused too many", "search_answered"}));
        ipp_set_guard(nullptr);
    });
}

TEST_F(SearchPlaces, HoldWhatHeldWhenTheSearchCame)
{
    with_television(2, [&](SignalledTelevision &) {
        EXPECT_TRUE(time.wait_for(1));
        search_from(phones[0]);
        flags_set_device_type(0x7777);
        EXPECT_EQ(std::system("ip addr del 10.20.30.40/24 dev lo"), 0);
        EXPECT_EQ(std::system("ip addr add 10.20.30.41/24 dev lo"), 0);
        search_from(phones[1]);
        time.pass(draw.delay_us);
        expect_answer(0);
        EXPECT_EQ(received(phones[1].get()), "A5 A5 0C 00 0A 14 1E 29 61 22 77 77");
    });
}

TEST_F(SearchPlaces, AreNotWaitedForBehindEmptyDatagrams)
{
    const CountedReceives receives;
    with_television(2, [&](SignalledTelevision &tv) {
        for (int i = 0; i < 3; i++) {
            ASSERT_TRUE(send_datagram(phones[1].get(), {}, "127.0.0.1", SEARCH_PORT));
        }
        EXPECT_TRUE(time.wait_for(4));
        search_from(phones[0]);
        EXPECT_EQ(receives.all(), 4);
        EXPECT_EQ(tv.sleeps(), Limits());
        EXPECT_EQ(lines.out(), recognised("127.0.0.2"));
    });
}

TEST_F(SearchPlaces, DoNotKeepAFailedReceiveFromPausing)
{
    CountedReceives receives;
    with_television(2, [&](SignalledTelevision &tv) {
        EXPECT_TRUE(time.wait_for(1));
        for (const int error : {0, ENOMEM}) { /* 0: the socket has been shut down */
            receives.fail_next(error);
            search_from(phones[0]);
            EXPECT_TRUE(time.wait_for(error == 0 ? 3 : 5));
        }
        EXPECT_EQ(tv.sleeps(), Limits(2, RECEIVE_PAUSE_US));
    });
}

TEST_F(SearchPlaces, WorkWithoutAStopSignal)
{
    const CountedReceives receives;
    with_television(2, [&](SignalledTelevision &tv) {
        tv.stop();
        flags_start_run();
        const size_t waits = time.limits().size();
        WatchedCall signals(system_eventfd);
        signals.fail(EMFILE);
        SignalledTelevision next(lines);
        for (int i = 0; i < 2; i++) {
            send_search_from(phones[i]);
            EXPECT_TRUE(lines.wait_for(recognition(ADDRESSES[i])));
        }
        const int before = receives.all();
        EXPECT_TRUE(wait_until([&] { return receives.all() > before; }));
        time.pass(draw.delay_us);
        expect_answer(0);
        expect_answer(1);
        next.stop();
        EXPECT_EQ(time.limits().size(), waits);
        for (const uint64_t sleep : next.sleeps()) {
            EXPECT_EQ(sleep, RECEIVE_PAUSE_US);
        }
    });
}

/* In the system's own time. */
class SearchPlacesInTime : public SearchTest
{
};

TEST_F(SearchPlacesInTime, SendNoAnswerBeforeATenthOfASecondHasPassed)
{
    using Time = std::chrono::steady_clock;
    IppGuard guard = {};
    guard.max_search_answers = 2;
    ASSERT_EQ(ipp_set_guard(&guard), 0);
    in_network(NETWORK, [&] {
        const Descriptor first = datagram_socket(ANSWER_PORT, "127.0.0.2");
        const Descriptor second = datagram_socket(ANSWER_PORT, "127.0.0.3");
        const SignalledTelevision tv(lines);
        const Time::time_point begin = Time::now();
        send_search_from(first);
        send_search_from(second);
        EXPECT_EQ(received(first.get()), ANSWER);
        EXPECT_GE(Time::now() - begin, std::chrono::milliseconds(100));
        EXPECT_EQ(received(second.get()), ANSWER);
        EXPECT_LT(Time::now() - begin, std::chrono::seconds(10));
    });
}

} // namespace
