/* SPDX-License-Identifier: MIT */
/* Phones, workers, the server thread and the host's threads at the same connections. */
#include "base/flags.h"
#include "link/connection.h"
#include "link/registry.h"
#include "support/captured_lines.h"
#include "support/full_buffers.h"
#include "support/process_state.h"
#include "support/system_calls.h"
#include "support/tcp_service.h"
#include "support/wait_until.h"
#include "tvlink.h"
#include "tvlink/heartbeat.h"
#include "tvlink/reply.h"
#include "unit/link/listed_connection.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <future>
#include <memory>
#include <mutex>
#include <numeric>
#include <random>
#include <thread>

namespace
{

/* What the request worker has done, as "payload result". */
class Results
{
public:
    void add(const Bytes &body, int result)
    {
        const std::lock_guard<std::mutex> guard(lock_);
        all_.push_back(std::string(body.begin() + 1, body.end()) + " " + std::to_string(result));
    }

    std::vector<std::string> all() const
    {
        const std::lock_guard<std::mutex> guard(lock_);
        return all_;
    }

private:
    mutable std::mutex lock_;
    std::vector<std::string> all_;
};

/* Runs the call on a thread of its own. When it does not come back, `rescue` must make it. */
bool comes_back(const std::function<void()> &call, const std::function<void()> &rescue)
{
    std::future<void> result = std::async(std::launch::async, call);
    const bool back = result.wait_for(PATIENCE) == std::future_status::ready;
    if (!back) {
        rescue();
    }
    return back;
}

class SharedConnection : public testing::Test
{
protected:
    CapturedLines lines;
};

} // namespace

/* ---- A phone that vanishes */

TEST_F(SharedConnection, IsNotKeptByQueuedRequestsWhichGoNowhere)
{
    const Door working;
    Results results;
    const GetRequests requests([&](CtrlPoint *item, const Bytes &body) {
        if (body == bytes("05 'first'")) {
            working.pass();
        }
        results.add(body, echo(item, body));
    });
    const TcpService service;
    const Phone busy;
    Phone next{Phone::Later()};
    busy.send(text_request("first"));
    ASSERT_TRUE(working.wait_for_somebody());
    const Phone vanishing;
    const int number = number_of(vanishing);
    ASSERT_GE(number, 0);
    vanishing.send(joined({text_request("lost"), text_request("lost too")}));
    EXPECT_EQ(hex(vanishing.exchange_heartbeat()), hex(answer_heartbeat())); /* they are queued */
    vanishing.finish_sending();
    ASSERT_TRUE(wait_until([&] { return !is_open(number); }));

    next.connect();
    ASSERT_TRUE(registered(next));
    EXPECT_EQ(number_of(next), number);
    working.open();
    EXPECT_EQ(hex(busy.read_frame()), text_reply("first"));
    EXPECT_TRUE(wait_until([&] { return results.all().size() == 3; }));
    EXPECT_EQ(results.all(), std::vector<std::string>({"first 1", "lost -1", "lost too -1"}));
    EXPECT_EQ(lines.count("err:socket_send(): tcp_sendback:244,errno=32\n"), 2u);
    EXPECT_EQ(hex(next.exchange_heartbeat()), hex(answer_heartbeat()));
}

TEST_F(SharedConnection, IsNotKeptByQueuedHeartbeatsWhichGoNowhere)
{
    const Door answering;
    std::atomic<int> held{-1};
    const Replaced send(system_send, [&](int fd, const void *data, size_t size, int flags) {
        if (fd == held) {
            answering.pass();
        }
        return system_send.real(fd, data, size, flags);
    });
    const TcpService service;
    const Phone busy;
    ASSERT_TRUE(registered(busy));
    Phone next{Phone::Later()};
    held = number_of(busy);
    busy.send(phone_heartbeat());
    ASSERT_TRUE(answering.wait_for_somebody());
    const Phone vanishing;
    const int number = number_of(vanishing);
    ASSERT_GE(number, 0);
    vanishing.send(phone_heartbeat());
    vanishing.finish_sending();
    ASSERT_TRUE(wait_until([&] { return !is_open(number); }));
    next.connect();
    ASSERT_TRUE(registered(next));
    EXPECT_EQ(number_of(next), number);
    held = -1;
    answering.open();
    EXPECT_EQ(hex(busy.read_frame()), hex(answer_heartbeat()));
    EXPECT_TRUE(lines.wait_for("err:socket_send(): tcp_sendback:244,errno=32\n"));
    EXPECT_EQ(hex(next.exchange_heartbeat()), hex(answer_heartbeat()));
}

TEST_F(SharedConnection, KeepsItsNumberWhileTheServerReceives)
{
    const Door receiving;
    std::atomic<int> held{-1};
    const Replaced recv(system_recv, [&](int fd, void *to, size_t size, int flags) {
        if (fd == held) {
            receiving.pass();
        }
        return system_recv.real(fd, to, size, flags);
    });
    const TcpService service;
    const Phone phone;
    CtrlPoint *record = record_of(phone);
    ASSERT_NE(record, nullptr);
    const int number = number_of(phone);
    held = number;
    phone.send(phone_heartbeat());
    ASSERT_TRUE(receiving.wait_for_somebody());
    drop(record); /* as a failed event would on another thread */
    EXPECT_TRUE(is_open(number));
    held = -1;
    receiving.open();
    EXPECT_TRUE(wait_until([&] { return !is_open(number); }));
    EXPECT_EQ(hex(phone.read_frame()), "");
}

TEST_F(SharedConnection, IsShutDownAtOnceSoThatABlockedReplyFails)
{
    const FullBuffers full;
    const Bytes large(MORE_THAN_ALL_BUFFERS);
    Results results;
    const GetRequests requests([&](CtrlPoint *item, const Bytes &body) {
        results.add(body, tcp_sendback(item, 6, large.data(), static_cast<int32_t>(large.size())));
    });
    const TcpService service;
    const Phone stalled(SMALL_BUFFER);
    CtrlPoint *record = record_of(stalled);
    ASSERT_NE(record, nullptr);
    stalled.send(text_request("much"));
    ASSERT_TRUE(full.wait_for(5));
    drop(record);
    EXPECT_TRUE(wait_until([&] { return results.all().size() == 1; }));
    EXPECT_EQ(results.all(), std::vector<std::string>({"much -1"}));
}

/* ---- Stop */

TEST_F(SharedConnection, DoesNotKeepTheServiceFromStoppingWhileAnEventIsStalled)
{
    const FullBuffers full;
    const Bytes large(MORE_THAN_ALL_BUFFERS);
    TcpService service;
    Phone stalled(SMALL_BUFFER);
    ASSERT_TRUE(registered(stalled));
    std::thread host([&] {
        EXPECT_EQ(
            ipp_report_dev_event(1, 2, "text", large.data(), static_cast<uint32_t>(large.size())),
            0);
    });
    ASSERT_TRUE(full.wait_for(5));
    EXPECT_TRUE(comes_back([&] { service.stop(); }, [&] { stalled.reset(); }));
    host.join();
    EXPECT_EQ(lines.count("err:socket_send(): tcp_sendbackall:177,errno=" +
                          std::to_string(ESHUTDOWN) + "\n"),
              1u);
}

TEST_F(SharedConnection, DoesNotKeepTheWholeServiceFromStoppingEither)
{
    const FullBuffers full;
    const Bytes large(MORE_THAN_ALL_BUFFERS);
    ASSERT_EQ(ipp_init(1, "TV", "SN"), IPP_OK);
    Phone stalled(SMALL_BUFFER);
    ASSERT_TRUE(registered(stalled));
    std::thread host([&] {
        EXPECT_EQ(ipp_report_dev_event2(1, 2, "text", nullptr, large.data(),
                                        static_cast<uint32_t>(large.size())),
                  0);
    });
    ASSERT_TRUE(full.wait_for(5));
    EXPECT_TRUE(comes_back([] { EXPECT_EQ(ipp_finish(), 0); }, [&] { stalled.reset(); }));
    host.join();
}

TEST_F(SharedConnection, DoesNotKeepAWorkerBeyondTheStopOfTheService)
{
    const FullBuffers full;
    const Bytes large(MORE_THAN_ALL_BUFFERS);
    Results results;
    const GetRequests requests([&](CtrlPoint *item, const Bytes &body) {
        const bool much = body == bytes("05 'much'");
        results.add(body,
                    much ? tcp_sendback(item, 6, large.data(), static_cast<int32_t>(large.size()))
                         : echo(item, body));
    });
    TcpService service;
    Phone stalled(SMALL_BUFFER);
    stalled.send(text_request("much"));
    ASSERT_TRUE(full.wait_for(5));
    EXPECT_TRUE(comes_back([&] { service.stop(); }, [&] { stalled.reset(); }));
    EXPECT_TRUE(wait_until([&] { return results.all().size() == 1; }));
    service.start();
    const Phone next;
    next.send(text_request("next"));
    EXPECT_EQ(hex(next.read_frame()), text_reply("next"));
    EXPECT_TRUE(wait_until([&] { return results.all().size() == 2; }));
    EXPECT_EQ(results.all(), std::vector<std::string>({"much -1", "next 1"}));
}

TEST_F(SharedConnection, DoesNotKeepTheServerInARead)
{
    std::atomic<int> held{-1};
    std::atomic<int> reads{0};
    const Replaced recv(system_recv, [&](int fd, void *to, size_t size, int flags) {
        if (fd == held) {
            reads++;
            errno = EAGAIN;
            return ssize_t{-1};
        }
        return system_recv.real(fd, to, size, flags);
    });
    TcpService service;
    const Phone phone;
    ASSERT_TRUE(registered(phone));
    held = number_of(phone);
    phone.send(phone_heartbeat());
    ASSERT_TRUE(wait_until([&] { return reads > 3; }));
    EXPECT_TRUE(comes_back([&] { service.stop(); }, [&] { held = -1; }));
}

TEST_F(SharedConnection, EndsWithTheService)
{
    const std::set<int> before = open_descriptors();
    TcpService service;
    const Phone one;
    const Phone two;
    ASSERT_TRUE(wait_for_connected(2));
    const std::set<int> of_the_service = {g_tcp_sock, number_of(one), number_of(two)};
    ASSERT_EQ(of_the_service.size(), 3u);
    service.stop();
    EXPECT_TRUE(one.is_dropped());
    EXPECT_TRUE(two.is_dropped());
    std::set<int> allowed = before;
    allowed.insert({one.fd(), two.fd()});
    EXPECT_TRUE(no_more_descriptors_than(allowed));
    for (const int fd : of_the_service) {
        EXPECT_FALSE(is_open(fd)) << fd;
    }
    EXPECT_EQ(connected(), 0u);
}

TEST_F(SharedConnection, IsNotAnsweredByARunThatHasEnded)
{
    const Door working;
    Results results;
    const GetRequests requests([&](CtrlPoint *item, const Bytes &body) {
        if (body == bytes("05 'first'")) {
            working.pass();
        }
        results.add(body, echo(item, body));
    });
    TcpService service;
    const Phone before;
    before.send(text_request("first"));
    ASSERT_TRUE(working.wait_for_somebody());
    before.send(joined({text_request("queued"), text_request("queued too")}));
    EXPECT_EQ(hex(before.exchange_heartbeat()), hex(answer_heartbeat()));
    const int number = number_of(before);
    ASSERT_GE(number, 0);
    service.stop();
    EXPECT_TRUE(before.is_dropped());
    EXPECT_TRUE(is_open(number));
    service.start();
    const Phone after;
    after.send(text_request("new"));
    ASSERT_TRUE(registered(after));
    working.open();
    EXPECT_EQ(hex(after.read_frame()), text_reply("new"));
    EXPECT_TRUE(wait_until([&] { return results.all().size() == 2; }));
    EXPECT_EQ(results.all(), std::vector<std::string>({"first -1", "new 1"}));
    EXPECT_TRUE(wait_until([&] { return !is_open(number); }));
}

TEST_F(SharedConnection, MayBeReachedForAtAnyTimeOfStartAndStop)
{
    TcpService service;
    const Phone first;
    CtrlPoint *record = record_of(first);
    ASSERT_NE(record, nullptr);
    hold_record(record);
    CtrlPoint *stale = connection_copy(record);
    std::atomic<bool> enough{false};
    const std::function<void()> calls[] = {
        [] { EXPECT_EQ(ipp_report_dev_event(1, 2, "text", "data", 4), 0); },
        [] { EXPECT_EQ(check_ctrlpoint_heart(), 0); },
        [] { EXPECT_EQ(check_ctrlpoint_timeout(), 0); },
        [&] { tcp_sendback(stale, 6, "data", 4); },
        [&] { device_heartbeat(stale); },
    };
    std::atomic<long> counts[5] = {};
    std::vector<std::thread> threads;
    for (size_t i = 0; i < 5; i++) {
        threads.emplace_back([&, i] {
            while (!enough) {
                calls[i]();
                counts[i]++;
                std::this_thread::yield();
            }
        });
    }
    for (int round = 0; round < 25; round++) {
        long before[5];
        std::copy(std::begin(counts), std::end(counts), before);
        service.stop();
        ASSERT_TRUE(wait_until([&] { /* while it is stopped, too */
                                     return std::equal(std::begin(counts), std::end(counts), before,
                                                       [](const std::atomic<long> &now, long then) {
                                                           return now > then;
                                                       });
        }));
        service.start();
        const Phone phone;
        ASSERT_TRUE(registered(phone));
    }
    enough = true;
    for (std::thread &thread : threads) {
        thread.join();
    }
    EXPECT_EQ(tcp_sendback(stale, 6, "data", 4), -1);
    std::free(stale);
    release_record(record);
    service.stop();
    EXPECT_EQ(ipp_report_dev_event(1, 2, "text", "data", 4), 0);
}

/* ---- Everything at once */

namespace
{

/* A connection may end in the middle of a frame, but what is there must be good. */
bool is_good(const Bytes &frame)
{
    const size_t size = frame.size();
    const Bytes magic(std::min<size_t>(size, 3), 0xA5);
    if (!std::equal(magic.begin(), magic.end(), frame.begin())) {
        return false;
    }
    if (size < 7) {
        return true;
    }
    const size_t announced = static_cast<size_t>(frame[3] | frame[4] << 8 | frame[5] << 16);
    const auto sum = std::accumulate(frame.begin(), frame.end() - 1, 0u);
    return announced >= 72 && announced <= 20072 &&
           (size < announced || frame.back() == static_cast<uint8_t>(sum));
}

/* The service may have dropped the phone meanwhile. */
void try_send(const Phone &phone, const Bytes &data)
{
    (void)send(phone.fd(), data.data(), data.size(), MSG_NOSIGNAL);
}

/* A phone with moods. False when it got a frame that is broken. */
bool live_a_life(unsigned seed)
{
    std::mt19937 random(seed);
    const auto pick = [&](size_t below) { return static_cast<size_t>(random() % below); };
    Phone phone(pick(3) == 0 ? SMALL_BUFFER : 0);
    const size_t manners = pick(5);
    const size_t exchanges = pick(6);
    bool good = true;
    for (size_t i = 0; i < exchanges && good; i++) {
        try_send(phone, phone_heartbeat());
        try_send(phone, text_request(std::string(1 + pick(2000), 'x')));
        if (manners != 0) { /* or it does not read at all */
            good = is_good(phone.read_frame());
        }
    }
    if (manners == 1) {
        phone.reset();
    } else if (manners == 2) {
        try_send(phone, bytes("A5 A5 A5 FF FF")); /* leaves in the middle of a frame */
    } else if (manners == 3) {
        try_send(phone, Bytes(300)); /* nonsense */
    }
    return good;
}

CtrlPoint *first_record()
{
    return g_cp_list.head == nullptr ? nullptr : static_cast<CtrlPoint *>(g_cp_list.head->data);
}

const CtrlPoint *make_first_idle()
{
    registry_lock();
    CtrlPoint *record = first_record();
    if (record != nullptr) {
        __atomic_store_n(&record->last_heartbeat, 0, __ATOMIC_RELAXED);
        __atomic_store_n(&record->last_active, record->connect_time - 31, __ATOMIC_RELAXED);
    }
    registry_unlock();
    return record;
}

bool is_first(const CtrlPoint *record)
{
    registry_lock();
    const bool first = first_record() == record;
    registry_unlock();
    return first;
}

} // namespace

TEST_F(SharedConnection, StandsAnyMixOfPhonesEventsAndReplies)
{
    IppGuard guard = {};
    guard.send_stall_ms = 200;
    ASSERT_EQ(ipp_set_guard(&guard), 0);
    const std::set<int> before = open_descriptors();
    {
        const GetRequests requests([](CtrlPoint *item, const Bytes &body) {
            Bytes large(20000, body[1]);
            tcp_sendback(item, 6, large.data(), static_cast<int32_t>(large.size()));
        });
        const TcpService service;
        std::atomic<bool> enough{false};
        std::atomic<int> broken{0};
        const std::function<void()> calls[] = {
            [] { EXPECT_EQ(ipp_report_dev_event(1, 2, "text", "data", 4), 0); },
            [] { EXPECT_EQ(check_ctrlpoint_heart(), 0); },
            [&] { /* one phone is idle at a time */
                  const CtrlPoint *idle = make_first_idle();
                  wait_until([&] { return enough || idle == nullptr || !is_first(idle); });
            },
        };
        std::vector<std::thread> hosts;
        for (const std::function<void()> &call : calls) {
            hosts.emplace_back([&] {
                while (!enough) {
                    call();
                    std::this_thread::yield();
                }
            });
        }
        std::vector<std::thread> phones;
        for (unsigned i = 0; i < 4; i++) {
            phones.emplace_back([&, i] {
                for (unsigned life = 0; life < 40; life++) {
                    broken += live_a_life(1 + i * 1000 + life) ? 0 : 1;
                }
            });
        }
        for (std::thread &phone : phones) {
            phone.join();
        }
        enough = true;
        for (std::thread &host : hosts) {
            host.join();
        }
        EXPECT_EQ(broken, 0);
        EXPECT_TRUE(wait_for_connected(0));
    }
    ipp_set_guard(nullptr);
    EXPECT_TRUE(wait_until([&] { return no_more_descriptors_than(before); }));
}
