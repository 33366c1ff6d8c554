/* SPDX-License-Identifier: MIT */
/* How the discovery thread waits while nothing arrives, and what ends its wait. */
#include "base/flags.h"
#include "discovery/discovery.h"
#include "net/stop_signal.h"
#include "support/system_calls.h"
#include "unit/discovery/search_steps.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cerrno>

#include <sys/socket.h>

namespace
{

using Lines = std::vector<std::string>;
using Sleeps = std::vector<uint64_t>;

/* Counts the waits of the discovery thread. */
class CountedWaits
{
public:
    using Wait = decltype(system_ppoll)::Function;

    /* `wait` takes the system's place. */
    explicit CountedWaits(Wait wait = real_wait) : wait_(std::move(wait))
    {
    }

    int all() const
    {
        return all_;
    }

    int limited() const
    {
        return limited_;
    }

    bool wait_for(int count) const
    {
        return wait_until([&] { return all_ >= count; });
    }

    static int real_wait(pollfd *entries, nfds_t count, const timespec *limit, const sigset_t *mask)
    {
        return system_ppoll.real(entries, count, limit, mask);
    }

private:
    const Wait wait_;
    std::atomic<int> all_{0};
    std::atomic<int> limited_{0};
    const Replaced<decltype(system_ppoll)> poll_{
        system_ppoll,
        [this](pollfd *entries, nfds_t count, const timespec *limit, const sigset_t *mask) {
            limited_ += limit != nullptr ? 1 : 0;
            all_++;
            return wait_(entries, count, limit, mask);
        }};
};

class SearchWait : public SearchTest
{
protected:
    /* Runs the body beside a discovery thread and a phone that listens for answers. */
    void with_television(
        const std::function<void(SignalledTelevision &tv, const Descriptor &phone)> &body)
    {
        in_network(NETWORK, [&] {
            const Descriptor phone = datagram_socket(ANSWER_PORT);
            SignalledTelevision tv(lines);
            body(tv, phone);
        });
    }
};

TEST_F(SearchWait, HasNoTimeOutAndReceivesOnlyWhatHasArrived)
{
    const CountedReceives receives;
    const CountedWaits waits;
    with_television([&](SignalledTelevision &tv, const Descriptor &phone) {
        for (int searches = 1; searches <= 3; searches++) {
            EXPECT_TRUE(waits.wait_for(searches));
            send_search_from(phone);
            EXPECT_EQ(received(phone.get()), ANSWER);
        }
        EXPECT_TRUE(waits.wait_for(4));
        EXPECT_EQ(tv.stop(), nullptr);
        EXPECT_EQ(waits.all(), 4);
        EXPECT_EQ(waits.limited(), 0);
        EXPECT_EQ(receives.all(), 3);
        EXPECT_EQ(tv.sleeps().size(), 3u) << "more than the delays before the answers";
    });
}

TEST_F(SearchWait, EndsWithTheStopSignal)
{
    const CountedReceives receives;
    const CountedWaits waits;
    with_television([&](SignalledTelevision &tv, const Descriptor &) {
        EXPECT_TRUE(waits.wait_for(1));
        EXPECT_EQ(tv.stop(), nullptr);
        EXPECT_EQ(waits.all(), 1);
        EXPECT_EQ(receives.all(), 0);
        EXPECT_EQ(tv.sleeps(), Sleeps());
        EXPECT_EQ(lines.out(), Lines{DISCOVERY_ENDS});
    });
}

TEST_F(SearchWait, EndsWithTheNextDatagramWhenOnlyTheFlagHasFallen)
{
    const CountedReceives receives;
    const CountedWaits waits;
    with_television([&](SignalledTelevision &tv, const Descriptor &phone) {
        EXPECT_TRUE(waits.wait_for(1));
        flags_stop_running();
        send_search_from(phone);
        EXPECT_EQ(tv.wait_for_end(), nullptr);
        EXPECT_EQ(receives.all(), 0);
        EXPECT_EQ(lines.out(), Lines{DISCOVERY_ENDS});
    });
}

TEST_F(SearchWait, EndsAfterTheAnswerThatIsBeingDelayed)
{
    with_television([&](SignalledTelevision &tv, const Descriptor &phone) {
        tv.during_next_sleep([] {
            flags_stop_running();
            stop_signal_raise();
        });
        send_search_from(phone);
        EXPECT_EQ(received(phone.get()), ANSWER);
        EXPECT_EQ(tv.wait_for_end(), nullptr);
        EXPECT_EQ(lines.out(), (Lines{receipt(8), recognition(), response(), DISCOVERY_ENDS}));
    });
}

TEST_F(SearchWait, IsFollowedByAPauseWhenTheReceiveFails)
{
    CountedReceives receives;
    const CountedWaits waits;
    with_television([&](SignalledTelevision &tv, const Descriptor &phone) {
        ASSERT_TRUE(send_datagram(phone.get(), {}, "127.0.0.1", SEARCH_PORT));
        EXPECT_TRUE(wait_until([&] { return tv.sleeps().size() == 1; }));
        receives.fail_next(ENOMEM);
        send_search_from(phone);
        EXPECT_EQ(received(phone.get()), ANSWER);
        tv.stop();
        const Sleeps sleeps = tv.sleeps();
        ASSERT_EQ(sleeps.size(), 3u);
        EXPECT_EQ(sleeps[0], RECEIVE_PAUSE_US) << "after an empty datagram";
        EXPECT_EQ(sleeps[1], RECEIVE_PAUSE_US) << "after an error";
        EXPECT_GE(sleeps[2], 100000u) << "before the answer";
        EXPECT_EQ(receives.all(), 3);
        EXPECT_EQ(lines.out(), (Lines{receipt(8), recognition(), response(), DISCOVERY_ENDS}));
    });
}

/* Without a wait the thread receives for 5 ms at a time and pauses in between. */
void expect_to_look_again_and_again(SignalledTelevision &tv, const CountedReceives &receives,
                                    const Descriptor &phone)
{
    const int before = receives.all();
    EXPECT_TRUE(wait_until([&] { return receives.all() >= before + 3; }));
    send_search_from(phone);
    EXPECT_EQ(received(phone.get()), ANSWER);
    flags_stop_running(); /* the signal is not raised */
    EXPECT_EQ(tv.wait_for_end(), nullptr);
    size_t pauses = 0;
    for (const uint64_t sleep : tv.sleeps()) {
        pauses += sleep == RECEIVE_PAUSE_US ? 1 : 0;
    }
    EXPECT_EQ(tv.sleeps().size(), pauses + 1) << "pauses, and the delay before the answer";
    EXPECT_EQ(pauses + 1, static_cast<size_t>(receives.all())) << "a receive without a pause";
}

TEST_F(SearchWait, IsReplacedByShortReceivesWhenItFails)
{
    const CountedReceives receives;
    const CountedWaits waits([](pollfd *, nfds_t, const timespec *, const sigset_t *) {
        errno = ENOMEM;
        return -1;
    });
    with_television([&](SignalledTelevision &tv, const Descriptor &phone) {
        expect_to_look_again_and_again(tv, receives, phone);
        EXPECT_LE(waits.all(), receives.all() + 1);
    });
}

TEST_F(SearchWait, IsReplacedByShortReceivesWhenTheSignalsDescriptorIsBad)
{
    const CountedReceives receives;
    const CountedWaits waits(
        [](pollfd *entries, nfds_t count, const timespec *limit, const sigset_t *mask) {
            EXPECT_EQ(entries[1].fd, stop_signal_fd());
            entries[1].fd = 1 << 30; /* of no file */
            return system_ppoll.real(entries, count, limit, mask);
        });
    with_television([&](SignalledTelevision &tv, const Descriptor &phone) {
        expect_to_look_again_and_again(tv, receives, phone);
        EXPECT_LE(waits.all(), receives.all() + 1);
    });
}

TEST_F(SearchWait, IsReplacedByShortReceivesWithoutASignal)
{
    const CountedReceives receives;
    const CountedWaits waits;
    in_network(NETWORK, [&] {
        const Descriptor phone = datagram_socket(ANSWER_PORT);
        WatchedCall signals(system_eventfd);
        signals.fail(EMFILE);
        SignalledTelevision tv(lines);
        EXPECT_EQ(stop_signal_fd(), -1);
        expect_to_look_again_and_again(tv, receives, phone);
        EXPECT_EQ(waits.all(), 0);
    });
}

} // namespace
