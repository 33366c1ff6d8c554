/* SPDX-License-Identifier: MIT */
/* Phones come, ask, stall and go while threads of the host report events, push data, look after
 * heartbeats, change the name and replace the method table, and the service stops and starts.
 *
 * Whatever arrives at a phone is checked byte by byte: no frame may hold a byte of another one, and
 * the events of one thread stay in their order. */
#include "support/long_form.h"
#include "support/phone.h"
#include "support/process_state.h"
#include "support/running_service.h"
#include "support/service_facts.h"
#include "support/wait_until.h"
#include "tvlink.h"
#include "tvlink/frame.h"
#include "tvlink/heartbeat.h"
#include "tvlink/host/push.h"
#include "tvlink/host/sized_block.h"

#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <cstring>
#include <functional>
#include <random>
#include <thread>

#include <sys/socket.h>

namespace
{

#ifdef __SANITIZE_THREAD__
const std::chrono::seconds NORMAL_TIME(30);
#else
const std::chrono::seconds NORMAL_TIME(2);
#endif
const std::chrono::seconds LONG_TIME(300);

const int PHONES = 6;
const int REPORTERS = 2;
const int MOST_PUSHES = 4; /* at a time */
const long FEWEST_RUNS = 3;
const long EXCHANGES_OF_A_RUN = 200;
const size_t LIST_SIZE = 60000;
const size_t EVENT_DATA_AT = 67;
const size_t PUSH_DATA_AT = FRAME_PAYLOAD_OFFSET + 2;
const uint8_t PUSH_MARK = 0x77; /* in the place of a method code */

struct Totals {
    std::atomic<long> connections{0};
    std::atomic<long> calls{0};
    std::atomic<long> lists{0};
    std::atomic<long> heartbeats{0};
    std::atomic<long> events{0};
    std::atomic<long> pushes{0};
    std::atomic<long> lost{0}; /* exchanges that ended with the connection */
    std::atomic<long> runs{0};

    long exchanges() const
    {
        return calls + lists + heartbeats + lost;
    }
};

/* Bytes that tell whose they are. */
Bytes marked(uint32_t source, uint32_t number, size_t size)
{
    Bytes data(size);
    const uint32_t head[] = {source, number};
    std::memcpy(data.data(), head, sizeof head);
    for (size_t i = sizeof head; i < size; i++) {
        data[i] = static_cast<uint8_t>(source * 101 + number * 31 + i);
    }
    return data;
}

bool is_marked(const uint8_t *data, size_t size, uint32_t *source, uint32_t *number)
{
    if (size < 8) {
        return false;
    }
    std::memcpy(source, data, 4);
    std::memcpy(number, data + 4, 4);
    const Bytes wanted = marked(*source, *number, size);
    return std::memcmp(wanted.data(), data, size) == 0;
}

/* ---- The host */

void *list_of(uint8_t first, uint16_t *count)
{
    uint8_t *block = static_cast<uint8_t *>(mem_alloc(1, LIST_SIZE));
    for (size_t i = 0; i < LIST_SIZE; i++) {
        block[i] = static_cast<uint8_t>(first + i * i / 7);
    }
    *count = first;
    return block;
}

/* Either of two; the last request of all may still look into one when the test has ended. */
const TvMethodTable *table(size_t which)
{
    static const std::array<TvMethodTable, 2> tables = [] {
        std::array<TvMethodTable, 2> made = {};
        made[0].get_tv_channelcode = [](uint16_t *count) { return list_of(1, count); };
        made[1].get_tv_channelcode = [](uint16_t *count) { return list_of(2, count); };
        return made;
    }();
    return &tables[which];
}

/* ---- A phone */

using Lists = std::array<Bytes, 2>; /* the reply with either table */

class Visitor
{
public:
    Visitor(int number, const Lists &lists, Totals &totals)
        : number_(number), lists_(lists), totals_(totals), random_(static_cast<uint32_t>(number))
    {
    }

    /* One connection, from coming to going. */
    void visit()
    {
        Phone phone{Phone::Later()};
        if (!phone.try_connect()) {
            std::this_thread::yield(); /* between two runs */
            return;
        }
        totals_.connections++;
        latest_.fill(0);
        bool there = true;
        for (auto steps = 1 + random_() % 20; there && steps > 0; steps--) {
            there = exchange(phone);
        }
        leave(phone, there);
    }

private:
    bool exchange(const Phone &phone)
    {
        switch (random_() % 8) {
        case 0:
            return count(totals_.lists, ask_for_list(phone));
        case 1:
            return count(totals_.heartbeats,
                         ask(phone, phone_heartbeat(), FRAME_HEARTBEAT) == answer_heartbeat());
        case 2:
            stall();
            return true;
        default:
            return count(totals_.calls, call(phone));
        }
    }

    bool count(std::atomic<long> &total, bool done)
    {
        (done ? total : totals_.lost)++;
        return done;
    }

    bool call(const Phone &phone)
    {
        const std::string text = std::to_string(number_) + "." + std::to_string(calls_++);
        const auto size = static_cast<uint8_t>(text.size());
        const Bytes request =
            joined({bytes("04 50 08"), {size, 0}, Bytes(text.begin(), text.end())});
        const Bytes reply = ask(phone, wire_frame(FRAME_RPC, request), FRAME_RPC_REPLY);
        const Bytes wanted =
            joined({bytes("04 50 01"), {size, 0}, Bytes(text.begin(), text.end()), {0}});
        EXPECT_TRUE(reply.empty() || reply == wire_frame(FRAME_RPC_REPLY, wanted)) << hex(reply);
        return !reply.empty();
    }

    bool ask_for_list(const Phone &phone)
    {
        const Bytes reply = ask(phone, wire_frame(FRAME_GET, bytes("01 00 30")), FRAME_GET_REPLY);
        EXPECT_TRUE(reply.empty() || reply == lists_[0] || reply == lists_[1])
            << reply.size() << " bytes, and not those of a list";
        return !reply.empty();
    }

    /* Reads nothing while events arrive. */
    void stall() const
    {
        const long before = totals_.events;
        wait_until([&] { return totals_.events > before + 100; }, std::chrono::milliseconds(20));
    }

    /* The reply of that type; nothing when the connection has ended. What arrives before it is
     * checked and counted. */
    Bytes ask(const Phone &phone, const Bytes &request, uint8_t reply_type)
    {
        say(phone, request);
        for (;;) {
            const Bytes frame = phone.read_frame();
            if (!is_whole(frame)) {
                return {};
            }
            if (!is_unasked(frame, reply_type)) {
                EXPECT_EQ(frame[FRAME_BODY_OFFSET], reply_type);
                return frame;
            }
        }
    }

    /* An event, a push, or a heartbeat from the host's own thread? They are checked and counted. */
    bool is_unasked(const Bytes &frame, uint8_t reply_type)
    {
        switch (frame[FRAME_BODY_OFFSET]) {
        case FRAME_EVENT:
            check_event(frame);
            return true;
        case FRAME_GET_REPLY:
            if (frame[FRAME_PAYLOAD_OFFSET] != PUSH_MARK) {
                return false;
            }
            check_push(frame);
            return true;
        case FRAME_HEARTBEAT:
            EXPECT_EQ(frame, answer_heartbeat());
            return reply_type != FRAME_HEARTBEAT;
        default:
            return false;
        }
    }

    static void say(const Phone &phone, const Bytes &frame)
    {
        ::send(phone.fd(), frame.data(), frame.size(), MSG_NOSIGNAL); /* it may have ended */
    }

    /* A frame may be cut where the connection ends, and nowhere else. */
    static bool is_whole(const Bytes &frame)
    {
        if (frame.size() < FRAME_OVERHEAD) {
            return false;
        }
        uint32_t length = 0;
        std::memcpy(&length, frame.data() + FRAME_LENGTH_OFFSET, sizeof length);
        if (frame.size() < length) {
            return false;
        }
        const Bytes payload(frame.begin() + FRAME_PAYLOAD_OFFSET, frame.end() - 21);
        EXPECT_EQ(frame, wire_frame(frame[FRAME_BODY_OFFSET], payload));
        return true;
    }

    void check_event(const Bytes &frame)
    {
        uint32_t source = 0;
        uint32_t number = 0;
        const size_t size = frame.size() - EVENT_DATA_AT - 21;
        ASSERT_TRUE(is_marked(frame.data() + EVENT_DATA_AT, size, &source, &number));
        ASSERT_LT(source, latest_.size());
        EXPECT_GT(number, latest_[source]);
        latest_[source] = number;
        totals_.events++;
    }

    void check_push(const Bytes &frame)
    {
        uint32_t source = 0;
        uint32_t number = 0;
        const size_t size = frame.size() - PUSH_DATA_AT - 21;
        EXPECT_TRUE(is_marked(frame.data() + PUSH_DATA_AT, size, &source, &number));
        totals_.pushes++;
    }

    void leave(Phone &phone, bool there)
    {
        const Bytes request = wire_frame(FRAME_GET, bytes("01 00 30"));
        switch (random_() % 4) {
        case 0:
            phone.reset();
            return;
        case 1:
            say(phone, Bytes(request.begin(), request.begin() + (there ? 40 : 0)));
            break;
        case 2:
            say(phone, request); /* nobody waits for the reply */
            break;
        default:
            break;
        }
        phone.hang_up();
    }

    int number_;
    const Lists &lists_;
    Totals &totals_;
    std::mt19937 random_;
    long calls_ = 0;
    std::array<uint32_t, REPORTERS> latest_ = {}; /* events of each thread on this connection */
};

/* ---- Everything at once */

class EverythingAtOnce : public testing::Test
{
protected:
    EverythingAtOnce()
    {
        ipp_set_log_sink([](int, const char *, void *) {}, nullptr);
        tv_ippRpcFunSet = echo_text;
    }

    ~EverythingAtOnce() override
    {
        register_tv_method(nullptr);
        tv_ippRpcFunSet = nullptr;
        ipp_set_log_sink(nullptr, nullptr);
    }

    void learn_lists()
    {
        const RunningService service;
        for (size_t i = 0; i < lists_.size(); i++) {
            register_tv_method(table(i));
            const Phone phone;
            phone.send(wire_frame(FRAME_GET, bytes("01 00 30")));
            lists_[i] = phone.read_frame();
        }
        ASSERT_NE(lists_[0], lists_[1]);
    }

    /* Runs the body again and again until the end. */
    void go_on(const std::function<void()> &body)
    {
        threads_.emplace_back([this, body] {
            while (!over_) {
                body();
            }
        });
    }

    void let_phones_come()
    {
        for (int i = 0; i < PHONES; i++) {
            const auto visitor = std::make_shared<Visitor>(i, lists_, totals_);
            go_on([visitor] { visitor->visit(); });
        }
    }

    void let_host_work()
    {
        for (uint32_t i = 0; i < REPORTERS; i++) {
            go_on([i, number = uint32_t{0}]() mutable { report(i, ++number); });
        }
        go_on([this, number = uint32_t{0}]() mutable { push(++number); });
        go_on([] { check_ctrlpoint_heart(); });
        go_on([number = size_t{0}]() mutable {
            register_tv_method(table(++number % 2));
            std::this_thread::yield();
        });
    }

    static void report(uint32_t source, uint32_t number)
    {
        const Bytes data = marked(source, number, 8 + number % 3000);
        EXPECT_EQ(ipp_report_dev_event(static_cast<int32_t>(source), number, nullptr, data.data(),
                                       static_cast<uint32_t>(data.size())),
                  0);
    }

    void push(uint32_t number)
    {
        std::array<CtrlPoint, PHONES> references = {};
        const uint32_t found = ipp_connected_ctrlpoints(references.data(), PHONES);
        if (found == 0 || thread_count() > most_threads_) {
            std::this_thread::yield();
            return;
        }
        const Bytes data =
            joined({{PUSH_MARK, PUSH_MARK}, marked(REPORTERS, number, 8 + number % 20000)});
        void *given = std::malloc(data.size());
        std::memcpy(given, data.data(), data.size());
        CtrlPoint *cp = &references[number % std::min<uint32_t>(found, PHONES)];
        if (start_egp_thread(&cp, given, static_cast<uint32_t>(data.size())) != 0) {
            std::free(given);
        }
    }

    /* Starts and stops, and changes the name in between. */
    void run_service_until(std::chrono::steady_clock::time_point end)
    {
        for (int name = 0; totals_.runs < FEWEST_RUNS || std::chrono::steady_clock::now() < end;
             name++) {
            const RunningService service;
            const long before = totals_.exchanges();
            totals_.runs++;
            EXPECT_TRUE(wait_until([&] {
                ipp_init(1, ("name " + std::to_string(name++)).c_str(), "serial");
                return totals_.exchanges() > before + EXCHANGES_OF_A_RUN;
            }));
        }
    }

    void end_all()
    {
        over_ = true;
        for (std::thread &thread : threads_) {
            thread.join();
        }
    }

    Lists lists_;
    Totals totals_;
    std::atomic<bool> over_{false};
    std::vector<std::thread> threads_;
    size_t most_threads_ = 0;
};

TEST_F(EverythingAtOnce, LeavesEveryFrameWholeAndInOrder)
{
    ASSERT_NO_FATAL_FAILURE(learn_lists());
    const size_t descriptors = open_descriptors().size();
    let_phones_come();
    let_host_work();
    most_threads_ = thread_count() + 6 + MOST_PUSHES; /* the service has six of its own */
    run_service_until(std::chrono::steady_clock::now() +
                      (in_long_form() ? LONG_TIME : NORMAL_TIME));
    end_all();
    std::printf("%ld runs, %ld connections, %ld calls, %ld lists, %ld heartbeats, %ld events, "
                "%ld pushes, %ld exchanges cut off\n",
                totals_.runs.load(), totals_.connections.load(), totals_.calls.load(),
                totals_.lists.load(), totals_.heartbeats.load(), totals_.events.load(),
                totals_.pushes.load(), totals_.lost.load());
    EXPECT_GT(totals_.calls, 0);
    EXPECT_GT(totals_.lists, 0);
    EXPECT_GT(totals_.heartbeats, 0);
    EXPECT_GT(totals_.events, 0);
    EXPECT_GT(totals_.pushes, 0);
    /* Announcing threads may sleep out their pause with a socket each. */
    EXPECT_TRUE(wait_until([&] { return open_descriptors().size() <= descriptors; },
                           std::chrono::seconds(64) + PATIENCE));
}

} // namespace
