/* SPDX-License-Identifier: MIT */
/* The guard's bounds as phones meet them, and as the host may change them at any time. */
#include "support/captured_lines.h"
#include "support/counted_threads.h"
#include "support/full_buffers.h"
#include "support/recording_host.h"
#include "support/service_facts.h"
#include "support/taken_time.h"
#include "support/tcp_service.h"
#include "support/wait_until.h"
#include "tvlink.h"
#include "tvlink/flags.h"
#include "tvlink/reply.h"
#include "tvlink/work_queues.h"

#include <algorithm>
#include <atomic>
#include <csignal>
#include <functional>
#include <memory>
#include <thread>

#include <gtest/gtest.h>

#include <netinet/in.h>

namespace
{

class GuardedService : public testing::Test
{
protected:
    ~GuardedService() override
    {
        ipp_set_guard(nullptr);
    }

    static void set(const IppGuard &guard)
    {
        ASSERT_EQ(ipp_set_guard(&guard), 0);
    }

    CapturedLines lines;
};

IppGuard with_max_frame_length(uint32_t most)
{
    IppGuard guard = {};
    guard.max_frame_length = most;
    return guard;
}

IppGuard with_max_ctrlpoints(uint32_t most)
{
    IppGuard guard = {};
    guard.max_ctrlpoints = most;
    return guard;
}

IppGuard with_send_stall(uint32_t ms)
{
    IppGuard guard = {};
    guard.send_stall_ms = ms;
    return guard;
}

IppGuard with_admit(int (*admit)(uint32_t, void *), void *context = nullptr)
{
    IppGuard guard = {};
    guard.admit = admit;
    guard.admit_context = context;
    return guard;
}

void expect_answer(const Phone &phone)
{
    EXPECT_EQ(hex(phone.exchange_heartbeat()), hex(answer_heartbeat()));
}

/* ---- Bad tags */

const Bytes BAD_CHANNEL = wire_frame(7, bytes("01 01 06 03"));
const Bytes GOOD_CHANNEL = wire_frame(7, bytes("01 01 02 03"));

TEST_F(GuardedService, RefusesABadTagAndGoesOn)
{
    IppGuard guard = {};
    guard.on_bad_tag = IPP_BAD_TAG_REFUSE;
    set(guard);
    RecordingHost host;
    const TcpService service;
    const Phone phone;
    phone.send(joined({BAD_CHANNEL, GOOD_CHANNEL}));
    EXPECT_EQ(hex(phone.read_frame()), hex(wire_frame(8, bytes("01 01 FF"))));
    EXPECT_EQ(hex(phone.read_frame()), hex(wire_frame(8, bytes("01 01 00"))));
    EXPECT_EQ(host.calls(), std::vector<std::string>{"set_tv_channel 3"});
    EXPECT_EQ(lines.err().size(), 1u);
}

/* In a suite of its own: the child must not miss threads that its parent had. */
TEST(GuardedServiceDeathTest, EndsWithABadTagInThePlainService)
{
    EXPECT_EXIT(
        {
            const RecordingHost host;
            const TcpService service;
            const Phone phone;
            phone.send(BAD_CHANNEL);
            (void)phone.is_dropped();
        },
        testing::KilledBySignal(SIGABRT), "Assertion `frame_data.2. == 0x02' failed");
}

/* ---- The longest frame */

Bytes frame_of(size_t size)
{
    return wire_frame(5, Bytes(size - 72, 'f'));
}

/* The first bytes of a frame, as far as its length. */
Bytes announcement_of(uint32_t size)
{
    Bytes begin = bytes("A5 A5 A5");
    for (unsigned shift = 0; shift < 32; shift += 8) {
        begin.push_back(static_cast<uint8_t>(size >> shift));
    }
    return begin;
}

/* Answers a request with the length of its frame. */
class LengthTeller
{
public:
    static std::string answer(uint32_t size)
    {
        return hex(wire_frame(6, Bytes(reinterpret_cast<const uint8_t *>(&size),
                                       reinterpret_cast<const uint8_t *>(&size + 1))));
    }

private:
    const GetRequests requests_{[](CtrlPoint *item, const Bytes &body) {
        const uint32_t size = static_cast<uint32_t>(body.size()) + 71;
        tcp_sendback(item, 6, &size, sizeof size);
    }};
};

TEST_F(GuardedService, AnswersAFrameOfTheGreatestLengthAndEndsAConnectionThatAnnouncesMore)
{
    const IppGuard recommended = IPP_GUARD_RECOMMENDED;
    const uint32_t most = recommended.max_frame_length;
    set(recommended);
    const LengthTeller teller;
    const TcpService service;
    const Phone good;
    for (const uint32_t size : {most - 1, most}) {
        good.send(frame_of(size));
        EXPECT_EQ(hex(good.read_frame()), LengthTeller::answer(size));
    }
    for (const uint32_t size : {most + 1, UINT32_MAX}) {
        const Phone bad;
        bad.send(frame_of(100));
        EXPECT_EQ(hex(bad.read_frame()), LengthTeller::answer(100));
        bad.send(announcement_of(size));
        EXPECT_TRUE(bad.is_dropped());
        EXPECT_TRUE(wait_for_connected(1));
    }
    expect_answer(good);
}

TEST_F(GuardedService, AnswersAFrameOfAnyLengthWithoutABound)
{
    for (const uint32_t no_bound : {0u, UINT32_MAX}) {
        set(with_max_frame_length(no_bound));
        const LengthTeller teller;
        const TcpService service;
        const Phone phone;
        const uint32_t size = (1 << 20) + 1;
        phone.send(frame_of(size));
        EXPECT_EQ(hex(phone.read_frame()), LengthTeller::answer(size));
        phone.send(announcement_of(UINT32_MAX));
        const Phone other;
        expect_answer(other);
        EXPECT_EQ(connected(), 2u);
    }
}

/* The server thread has read this, and is done with it. */
void send_and_wait(const Phone &phone, const Bytes &data, FrozenClock *clock)
{
    clock->advance(1);
    phone.send(data);
    ASSERT_TRUE(wait_until([&] {
        uint32_t active = 0;
        look_at(phone, [&](const CtrlPoint &record) {
            active = __atomic_load_n(&record.last_active, __ATOMIC_RELAXED);
        });
        return active == clock->now();
    }));
    const Phone visitor; /* who is let in by the same thread */
    ASSERT_TRUE(registered(visitor));
}

/* What is too short for a frame is skipped when the bound allows its length; the shortest frame has
 * 72 bytes. */
TEST_F(GuardedService, KnowsNoFrameBelow72Bytes)
{
    const struct {
        uint32_t most;
        uint32_t announced;
    } rows[] = {{73, 73}, {73, 74}, {72, 71}, {72, 72}, {72, 73}, {71, 71},
                {71, 72}, {8, 8},   {8, 9},   {1, 0},   {1, 7}};
    FrozenClock clock;
    const LengthTeller teller;
    const TcpService service;
    for (const auto &row : rows) {
        SCOPED_TRACE(std::to_string(row.announced) + " of " + std::to_string(row.most));
        const Phone phone;
        ASSERT_TRUE(registered(phone));
        Bytes frame = announcement_of(row.announced);
        frame.resize(std::max<size_t>(row.announced, 51));
        frame[50] = 5;
        frame.resize(std::max<size_t>(row.announced, 7));
        set(with_max_frame_length(row.most));
        if (row.announced > row.most) {
            phone.send(announcement_of(row.announced));
            EXPECT_TRUE(phone.is_dropped());
        } else if (row.announced >= 72) {
            phone.send(frame);
            EXPECT_EQ(hex(phone.read_frame()), LengthTeller::answer(row.announced));
        } else {
            send_and_wait(phone, frame, &clock);
            set(with_max_frame_length(72));
            expect_answer(phone);
        }
        ipp_set_guard(nullptr);
    }
}

TEST_F(GuardedService, MeasuresAFrameThatHasBegunByTheBoundOfTheMoment)
{
    FrozenClock clock;
    set(with_max_frame_length(200));
    const LengthTeller teller;
    const TcpService service;
    const Phone phones[2];
    const Bytes whole = frame_of(200);
    const Bytes half(whole.begin(), whole.begin() + 100);
    const Bytes rest(whole.begin() + 100, whole.end());
    for (const Phone &phone : phones) {
        send_and_wait(phone, half, &clock);
    }
    set(with_max_frame_length(199));
    phones[0].send(rest);
    EXPECT_TRUE(phones[0].is_dropped());
    set(with_max_frame_length(200));
    phones[1].send(rest);
    EXPECT_EQ(hex(phones[1].read_frame()), LengthTeller::answer(200));
}

/* ---- The greatest number of phones */

/* So many phones are connected, the service is full, and has room again when one has gone. */
void expect_room_for(size_t most, const std::function<void(Phone &)> &leave)
{
    std::vector<std::unique_ptr<Phone>> phones;
    for (size_t i = 0; i < most; i++) {
        phones.push_back(std::make_unique<Phone>());
        expect_answer(*phones.back());
    }
    EXPECT_TRUE(Phone().is_dropped());
    EXPECT_TRUE(Phone().is_dropped());
    leave(*phones.front());
    ASSERT_TRUE(wait_for_connected(most - 1));
    const Phone next;
    expect_answer(next);
    EXPECT_TRUE(Phone().is_dropped());
    EXPECT_EQ(connected(), most);
    phones.front()->hang_up();
}

TEST_F(GuardedService, HasRoomAgainHoweverAPhoneHasGone)
{
    FrozenClock clock;
    const std::function<void(Phone &)> ways[] = {
        [](Phone &phone) { phone.hang_up(); },
        [](Phone &phone) { phone.finish_sending(); },
        [](Phone &phone) { phone.reset(); },
        [](Phone &phone) { drop(record_of(phone)); },
        [](Phone &phone) { phone.send(announcement_of(1001)); },
    };
    for (const uint32_t most : {1u, 3u}) {
        for (const std::function<void(Phone &)> &leave : ways) {
            IppGuard guard = with_max_ctrlpoints(most);
            guard.max_frame_length = 1000;
            set(guard);
            const TcpService service;
            expect_room_for(most, leave);
        }
    }
}

TEST_F(GuardedService, HasRoomAgainWhenASilentPhoneIsDropped)
{
    FrozenClock clock;
    set(with_max_ctrlpoints(1));
    const TcpService service;
    expect_room_for(1, [&](Phone &silent) {
        clock.advance(31);
        EXPECT_TRUE(Phone().is_dropped()); /* its pass ends with a look at the silent ones */
        EXPECT_TRUE(silent.is_dropped());
    });
    EXPECT_EQ(lines.count(TIMEOUT_LINE), 1u);
}

TEST_F(GuardedService, KeepsItsPhonesWhenTheHostAllowsFewer)
{
    const TcpService service;
    Phone phones[3];
    for (const Phone &phone : phones) {
        expect_answer(phone);
    }
    set(with_max_ctrlpoints(2));
    for (size_t left = 3; left >= 2; left--) {
        EXPECT_TRUE(Phone().is_dropped());
        EXPECT_EQ(connected(), left);
        for (size_t i = 3 - left; i < 3; i++) {
            expect_answer(phones[i]);
        }
        phones[3 - left].hang_up();
        ASSERT_TRUE(wait_for_connected(left - 1));
    }
    const Phone second;
    expect_answer(second);
    EXPECT_TRUE(Phone().is_dropped());
    set(with_max_ctrlpoints(3));
    const Phone third;
    expect_answer(third);
    EXPECT_TRUE(Phone().is_dropped());
    for (const uint32_t no_bound : {UINT32_MAX, 0u}) {
        set(with_max_ctrlpoints(no_bound));
        expect_answer(Phone());
        EXPECT_TRUE(wait_for_connected(3));
    }
}

/* ---- Phones that take nothing */

const Bytes LARGE(10000, 'e');
const size_t LARGE_EVENT_SIZE = 10000 + 16 + 72;

int32_t report_large_event()
{
    return ipp_report_dev_event(1, 2, "", LARGE.data(), static_cast<uint32_t>(LARGE.size()));
}

TEST_F(GuardedService, DropsAPhoneThatTakesNothingAndServesTheOthers)
{
    set(with_send_stall(20));
    const TcpService service;
    const Phone stalled(4096);
    ASSERT_TRUE(registered(stalled));
    const Phone good;
    ASSERT_TRUE(registered(good));
    Bytes first;
    for (int events = 0; connected() == 2 && events < 5000; events++) {
        ASSERT_EQ(report_large_event(), 0);
        const Bytes event = good.read_frame();
        first = first.empty() ? event : first;
        ASSERT_EQ(event, first);
    }
    EXPECT_EQ(first.size(), LARGE_EVENT_SIZE);
    EXPECT_EQ(connected(), 1u);
    EXPECT_EQ(lines.count("err:socket_send(): tcp_sendbackall:177,errno=" +
                          std::to_string(ETIMEDOUT) + "\n"),
              1u);
    expect_answer(good);
}

TEST_F(GuardedService, KeepsAPhoneThatReadsAgainBelowTheLimit)
{
    for (const uint32_t limit : {0u, UINT32_MAX}) {
        set(with_send_stall(limit));
        const FullBuffers full;
        const TcpService service;
        const Phone slow(4096);
        ASSERT_TRUE(registered(slow));
        std::atomic<bool> enough{false};
        int reported = 0;
        std::thread host([&] {
            for (; !enough; reported++) {
                report_large_event();
            }
            ipp_report_dev_event(1, 2, "last", nullptr, 0);
        });
        EXPECT_TRUE(full.wait_for(3));
        enough = true;
        int read = 0;
        Bytes frame = slow.read_frame();
        for (; frame.size() == LARGE_EVENT_SIZE; read++) {
            frame = slow.read_frame();
        }
        EXPECT_EQ(frame.size(), LARGE_EVENT_SIZE - LARGE.size() + 4);
        host.join();
        EXPECT_EQ(read, reported);
        expect_answer(slow);
    }
}

/* ---- Who is admitted */

TEST_F(GuardedService, AdmitsEverybodyWithoutTheHostsWord)
{
    set(with_admit(nullptr));
    const TcpService service;
    expect_answer(Phone());
}

TEST_F(GuardedService, KeepsPhonesThatTheHostWouldAdmitNoMore)
{
    const TcpService service;
    const Phone phone;
    expect_answer(phone);
    set(with_admit([](uint32_t, void *) { return 0; }));
    EXPECT_TRUE(Phone().is_dropped());
    expect_answer(phone);
    ASSERT_EQ(ipp_set_guard(nullptr), 0);
    expect_answer(Phone());
    expect_answer(phone);
}

/* A host that takes its time to decide. */
struct SlowHost {
    Door door;
    std::atomic<int> asked{0};
    std::atomic<bool> inside{false};
    std::atomic<int> answer{0};
};

int decide_slowly(uint32_t, void *context)
{
    SlowHost *host = static_cast<SlowHost *>(context);
    host->inside = true;
    host->asked++;
    host->door.pass();
    const int answer = host->answer;
    host->inside = false;
    return answer;
}

TEST_F(GuardedService, TakesTheWordOfAHostThatIsBeingAskedWhileTheGuardChanges)
{
    for (const int answer : {0, 1}) {
        SlowHost host;
        host.answer = answer;
        set(with_admit(decide_slowly, &host));
        const TcpService service;
        const Phone asked_about;
        ASSERT_TRUE(host.door.wait_for_somebody());
        ASSERT_EQ(ipp_set_guard(nullptr), 0); /* does not wait for the host */
        host.door.open();
        if (answer == 0) {
            EXPECT_TRUE(asked_about.is_dropped());
        } else {
            expect_answer(asked_about);
        }
        expect_answer(Phone());
        EXPECT_EQ(host.asked, 1);
    }
}

TEST_F(GuardedService, AsksNobodyAnyMoreOnceItHasStopped)
{
    auto host = std::make_unique<SlowHost>();
    set(with_admit(decide_slowly, host.get()));
    TcpService service;
    const Phone asked_about;
    ASSERT_TRUE(host->door.wait_for_somebody());
    std::thread opener([&] {
        wait_until([] { return __atomic_load_n(&g_thread_run, __ATOMIC_ACQUIRE) == 0; });
        host->door.open();
    });
    service.stop();
    EXPECT_FALSE(host->inside);
    opener.join();
    host.reset(); /* though the guard still names it */
}

/* ---- Any change at any time */

const Bytes CAPTURE = wire_frame(5, bytes("01 18 01 02 03 01 00 03 02 00"));

TEST_F(GuardedService, StandsAGuardThatChangesAllTheTime)
{
    RecordingHost host;
    HostAnswers answers;
    answers.outs = {5};
    answers.data = bytes("'image'");
    host.answer(answers);
    std::atomic<int> asked{0};
    IppGuard guards[] = {{}, IPP_GUARD_RECOMMENDED, IPP_GUARD_RECOMMENDED, IPP_GUARD_RECOMMENDED};
    for (IppGuard &guard : guards) {
        guard.bulk_accept_ms = 1; /* nobody fetches the captures */
    }
    guards[2].max_ctrlpoints = 2;
    guards[2].send_stall_ms = 1;
    guards[2].max_frame_length = 100;
    guards[3].max_captures = 1;
    guards[3].admit_context = &asked;
    guards[3].admit = [](uint32_t, void *context) {
        return (*static_cast<std::atomic<int> *>(context))++ % 4 == 0 ? 0 : 1;
    };
    {
        set(guards[0]); /* without a guard a capture would wait for ever */
        const TcpService service;
        const CountedThreads threads;
        std::atomic<bool> enough{false};
        std::thread changing([&] {
            for (size_t i = 0; !enough; i++) {
                ipp_set_guard(&guards[i % 4]);
                std::this_thread::yield();
            }
        });
        std::thread reporting([&] {
            while (!enough) {
                EXPECT_EQ(ipp_report_dev_event(1, 2, "text", "data", 4), 0);
                std::this_thread::yield();
            }
        });
        std::vector<std::thread> phones;
        for (int i = 0; i < 3; i++) {
            phones.emplace_back([] {
                for (int life = 0; life < 100; life++) {
                    Phone phone{Phone::Later()};
                    phone.try_connect();
                    const Bytes data = joined({frame_of(101), CAPTURE});
                    send(phone.fd(), data.data(), data.size(), MSG_NOSIGNAL);
                    (void)phone.read_frame();
                }
            });
        }
        for (std::thread &phone : phones) {
            phone.join();
        }
        enough = true;
        changing.join();
        reporting.join();
        set(guards[0]);
        EXPECT_TRUE(wait_for_connected(0));
        EXPECT_TRUE(wait_until([] { /* the queue has room again */
                                    int waiting = 1;
                                    sem_getvalue(&devCallBackSem, &waiting);
                                    return waiting == 0;
        }));
        const Phone phone;
        phone.send(wire_frame(7, bytes("09 01 02 06 05 00 00 00 06 00 00 00 00")));
        EXPECT_EQ(hex(phone.read_frame()), hex(wire_frame(8, bytes("09 01 00"))));
        EXPECT_TRUE(threads.are_as_before()); /* the captures have been given up */
    }
}

} // namespace
