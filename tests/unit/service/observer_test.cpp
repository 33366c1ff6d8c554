/* SPDX-License-Identifier: MIT */
/* What the host's observer is told, over real connections. */
#include "base/clock.h"
#include "support/asked_television.h"
#include "support/bulk_client.h"
#include "support/captured_lines.h"
#include "support/recorded_notices.h"
#include "support/system_calls.h"
#include "support/taken_time.h"
#include "support/tcp_service.h"
#include "support/wait_until.h"
#include "transfer/bulk.h"
#include "tvlink.h"
#include "tvlink/ctrlpoint.h"
#include "tvlink/discovery.h"
#include "tvlink/heartbeat.h"
#include "tvlink/host/push.h"
#include "tvlink/reply.h"
#include "tvlink/work_queues.h"
#include "unit/link/listed_connection.h"
#include "unit/link/scripted_sends.h"

#include <cerrno>
#include <cstdlib>
#include <map>
#include <set>

namespace
{

const Bytes GOOD = wire_frame(7, bytes("01 01 02 03"));
const char *const GOOD_DONE = "request_done 07 0101 76 replied 0 none";

Bytes with(Bytes frame, size_t at, uint8_t byte)
{
    frame.at(at) = byte;
    return frame;
}

class Observer : public testing::Test
{
protected:
    Observer()
    {
        set({});
    }

    ~Observer() override
    {
        ipp_set_guard(nullptr);
    }

    /* Bad tags are refused, whatever else is set. */
    static void set(IppGuard guard)
    {
        guard.on_bad_tag = IPP_BAD_TAG_REFUSE;
        ASSERT_EQ(ipp_set_guard(&guard), 0);
    }

    CapturedLines lines;
    RecordedNotices notices;
};

/* ---- Requests */

const struct {
    const char *what;
    Bytes sent;
    std::string refused;
} WRONG_REQUESTS[] = {
    {"unknown get code", wire_frame(5, bytes("01 99 09")),
     "05 0999 75 silent 0 no operation has this code"},
    {"unknown set code", wire_frame(7, bytes("99 09")),
     "07 0999 74 silent 0 no operation has this code"},
    {"unknown code of a string call", wire_frame(0x21, bytes("99 09")),
     "21 0999 74 silent 0 no operation has this code"},
    {"kind 2", wire_frame(5, bytes("02 00 20")), "05 ---- 75 silent 0 not a kind of get request"},
    {"no kind", wire_frame(5, {}), "05 ---- 72 silent 0 too short"},
    {"no code of a get request", wire_frame(5, bytes("01 99")), "05 ---- 74 silent 0 too short"},
    {"no code of a set request", wire_frame(7, bytes("99")), "07 ---- 73 silent 0 too short"},
    {"no code of a string call", wire_frame(0x21, bytes("99")), "21 ---- 73 silent 0 too short"},
    {"too short for its argument", wire_frame(7, bytes("01 01 02")),
     "07 0101 75 replied 255 too short"},
    {"too short for its tag", wire_frame(7, bytes("01 01")), "07 0101 74 replied 255 too short"},
    {"too long a text", wire_frame(5, joined({bytes("01 03 20 01 08 00 04"), Bytes(1024, 'x')})),
     "05 2003 1103 replied -1 a text is too long"},
    {"a shorter text than it says", wire_frame(5, bytes("01 03 20 01 08 05 00 'xxxx'")),
     "05 2003 83 replied -1 too short"},
    {"bad tag", wire_frame(7, bytes("01 01 06 03")), "07 0101 76 replied 255 a wrong value tag"},
    {"unknown frame type", wire_frame(0x55, bytes("01 01")),
     "55 ---- 74 silent 0 not the type of a request"},
    {"a television's frame type", wire_frame(6, bytes("01 01")),
     "06 ---- 74 silent 0 not the type of a request"},
    {"bad magic, first byte", with(GOOD, 0, 0xA4), "00 ---- 76 silent 0 a bad magic number"},
    {"bad magic, second byte", with(GOOD, 1, 0), "00 ---- 76 silent 0 a bad magic number"},
    {"a length that no frame has", with(with(GOOD, 3, 71), 70, 0),
     "00 ---- 71 silent 0 a bad frame length"},
};

/* Of the 76 bytes of a good request that says 71, the other five are the begin of nothing: the
 * connection is not used again. */
TEST_F(Observer, IsToldOnceWhyARequestWasRefused)
{
    RecordingHost host;
    const TcpService service;
    for (const auto &wrong : WRONG_REQUESTS) {
        SCOPED_TRACE(wrong.what);
        const Phone phone;
        notices.clear();
        phone.send(first_bytes(wrong.sent, wrong.sent[3] == 71 ? 71 : wrong.sent.size()));
        phone.send(GOOD);
        ASSERT_TRUE(notices.wait_for(GOOD_DONE));
        EXPECT_EQ(notices.of("request_refused"), Lines{wrong.refused});
        EXPECT_EQ(notices.of("request_done").size(), 1u);
        const bool is_request = wrong.refused.rfind("00", 0) != 0;
        EXPECT_EQ(notices.of("request_arrived").size(), is_request ? 2u : 1u);
    }
}

/* Nothing behind it can be told apart from it. */
TEST_F(Observer, IsToldOnceOfAFrameWithoutLength)
{
    const TcpService service;
    const Phone phone;
    phone.send(with(GOOD, 3, 0));
    ASSERT_TRUE(notices.wait_for("request_refused 00 ---- 76 silent 0 a bad frame length"));
    phone.send(wire_frame(0x0A, {}));
    ASSERT_TRUE(notices.wait_for("request_done 0a ---- 72 silent 0 none"));
    EXPECT_EQ(notices.of("request_refused").size(), 1u);
}

TEST_F(Observer, IsToldOfAMissingSlot)
{
    RecordingHost host;
    host.leave_out(3);
    const TcpService service;
    const Phone phone;
    host.withdraw();
    const std::map<std::string, Bytes> requests = {
        {"07 0101 76 replied 255 the host has no such slot", GOOD},
        {"05 1501 75 silent 0 the host has no such slot", wire_frame(5, bytes("01 01 15"))},
        {"05 ---- 73 silent 0 the host has no such slot", wire_frame(5, bytes("00"))},
        {"21 5004 79 silent 0 the host has no such slot",
         wire_frame(0x21, bytes("04 50 08 02 00 'hi'"))},
    };
    for (const auto &request : requests) {
        phone.send(request.second);
        EXPECT_TRUE(notices.wait_for("request_refused " + request.first)) << request.first;
    }
    EXPECT_EQ(notices.of("request_refused").size(), requests.size());
}

int give_no_answer(char *, const char *)
{
    return 0;
}

TEST_F(Observer, IsToldThatAStringCallGotNoAnswer)
{
    tv_ippRpcFunSet = give_no_answer;
    {
        const TcpService service;
        const Phone phone;
        phone.send(wire_frame(0x21, bytes("04 50 08 02 00 'hi'")));
        EXPECT_TRUE(
            notices.wait_for("request_refused 21 5004 79 silent 0 the host gave no answer"));
    }
    tv_ippRpcFunSet = nullptr;
}

TEST_F(Observer, IsToldOfAWrongChecksumAlthoughItDoesNotMatter)
{
    RecordingHost host;
    const TcpService service;
    const Phone phone;
    phone.send(with(GOOD, 75, static_cast<uint8_t>(GOOD[75] + 1)));
    ASSERT_TRUE(notices.wait_for("request_done 07 0101 76 replied 0 a wrong checksum"));
    EXPECT_EQ(hex(phone.read_frame()), hex(wire_frame(8, bytes("01 01 00"))));
    EXPECT_EQ(host.calls(), Lines{"set_tv_channel 3"});
    EXPECT_TRUE(notices.of("request_refused").empty());
}

TEST_F(Observer, IsToldThatTheQueueIsFull)
{
    const Door door;
    const GetRequests requests([&](CtrlPoint *, const Bytes &) { door.pass(); });
    const TcpService service;
    const Phone phone;
    phone.send(text_request("first"));
    ASSERT_TRUE(door.wait_for_somebody());
    for (int i = 0; i < 49; i++) {
        phone.send(text_request("waits"));
    }
    phone.send(text_request("one too many"));
    EXPECT_TRUE(notices.wait_for("request_refused 05 ---- 84 silent 0 the queue is full"));
    EXPECT_EQ(notices.of("request_refused").size(), 1u);
    EXPECT_EQ(notices.of("request_arrived").size(), 51u);
    IppStats stats;
    ASSERT_EQ(ipp_stats(&stats, sizeof stats), 0);
    EXPECT_EQ(stats.queue_highest, 49u);
    door.open();
    EXPECT_TRUE(wait_until([&] { return notices.of("request_done").size() == 50; }));
}

TEST_F(Observer, IsToldThatMemoryIsOut)
{
    RecordingHost host;
    const TcpService service;
    const Phone phone;
    ASSERT_TRUE(registered(phone));
    phone.send(GOOD);
    ASSERT_TRUE(notices.wait_for(GOOD_DONE));
    (void)phone.read_frame();
    {
        WatchedCall memory(system_malloc, Threads::EVERY);
        memory.fail(ENOMEM);
        phone.send(GOOD);
        EXPECT_TRUE(notices.wait_for("request_refused 07 0101 76 silent 0 no memory"));
    }
}

TEST_F(Observer, IsToldOfRequestsThatAStopLeavesBehind)
{
    const Door door;
    const GetRequests requests([&](CtrlPoint *, const Bytes &) { door.pass(); });
    TcpService service;
    const Phone phone;
    phone.send(text_request("runs"));
    phone.send(text_request("waits"));
    ASSERT_TRUE(door.wait_for_somebody());
    ASSERT_TRUE(wait_until([&] { return notices.of("request_arrived").size() == 2; }));
    service.stop();
    door.open();
    EXPECT_TRUE(notices.wait_for("request_refused 05 ---- 77 silent 0 the service has stopped"));
    EXPECT_TRUE(notices.wait_for("gone 0 the service has stopped"));
    service.start();
}

TEST_F(Observer, IsToldHowLongARequestWaitedAndRan)
{
    static IppRequest seen[2];
    const Door door;
    const GetRequests requests([&](CtrlPoint *, const Bytes &body) {
        if (body[1] == 'f') {
            door.pass();
        }
    });
    IppObserver to = {};
    to.request_done = [](const IppRequest *request, void *context) {
        int *count = static_cast<int *>(context);
        seen[*count] = *request;
        __atomic_add_fetch(count, 1, __ATOMIC_RELEASE);
    };
    int done = 0;
    to.context = &done;
    const TcpService service;
    ASSERT_EQ(ipp_set_observer(&to), 0);
    const Phone phone;
    const uint64_t begin_us = clock_elapsed_us();
    phone.send(text_request("first"));
    ASSERT_TRUE(door.wait_for_somebody());
    const uint64_t running_us = clock_elapsed_us();
    phone.send(text_request("waits"));
    ASSERT_TRUE(wait_until([] { return queueIsEmpty(devCallBackQueue) == 0; }));
    const uint64_t queued_us = clock_elapsed_us();
    const uint64_t opened_us = clock_elapsed_us();
    door.open();
    ASSERT_TRUE(wait_until([&] { return __atomic_load_n(&done, __ATOMIC_ACQUIRE) == 2; }));
    const uint64_t end_us = clock_elapsed_us();
    EXPECT_GE(seen[0].slot_us, opened_us - running_us);
    EXPECT_GE(seen[1].queue_us, opened_us - queued_us);
    EXPECT_LE(seen[0].queue_us + seen[0].slot_us, end_us - begin_us);
    EXPECT_LE(seen[1].queue_us + seen[1].slot_us, end_us - begin_us);
}

/* ---- Slow slots */

TEST_F(Observer, IsToldOfASlowSlotWhileItRuns)
{
    IppGuard guard = {};
    guard.slot_warn_ms = 30;
    set(guard);
    const Door door;
    const GetRequests requests([&](CtrlPoint *, const Bytes &body) {
        if (body[1] == 's') {
            door.pass();
        }
    });
    const TcpService service;
    const Phone phone;
    phone.send(text_request("quick"));
    ASSERT_TRUE(notices.wait_for("request_done 05 ---- 77 silent 0 none"));
    phone.send(text_request("slow"));
    EXPECT_TRUE(notices.wait_for("slot_is_slow 05 ---- 76"));
    EXPECT_EQ(notices.of("request_done").size(), 1u);
    for (int pass = 0; pass < 3; pass++) { /* in none of these it is told again */
        EXPECT_EQ(hex(phone.exchange_heartbeat()), hex(answer_heartbeat()));
    }
    door.open();
    ASSERT_TRUE(notices.wait_for("request_done 05 ---- 76 silent 0 none"));
    EXPECT_EQ(notices.of("slot_is_slow").size(), 1u);
    ASSERT_EQ(lines.err().size(), 0u);
    size_t warnings = 0;
    for (const Line &line : lines.all()) {
        warnings += line.stream == IPP_LOG_WARNING ? 1 : 0;
    }
    EXPECT_EQ(warnings, 1u);
}

/* ---- Connections */

TEST_F(Observer, IsToldOfConnectionsAndTheirEnds)
{
    const TcpService service;
    Phone first;
    ASSERT_TRUE(notices.wait_for("connected 1"));
    Phone second;
    ASSERT_TRUE(notices.wait_for("connected 2"));
    first.hang_up();
    ASSERT_TRUE(notices.wait_for("gone 1 closed by the peer"));
    second.reset();
    ASSERT_TRUE(notices.wait_for("gone 0 broken by the peer or the network"));
    EXPECT_EQ(notices.all().size(), 4u);
}

TEST_F(Observer, IsToldOfTooLongAFrame)
{
    IppGuard guard = {};
    guard.max_frame_length = 75;
    set(guard);
    const TcpService service;
    const Phone phone;
    phone.send(GOOD);
    EXPECT_TRUE(notices.wait_for("gone 0 announced too long a frame"));
    EXPECT_EQ(notices.all(), (Lines{"connected 1", "gone 0 announced too long a frame"}));
}

int admit_nobody(uint32_t, void *)
{
    return 0;
}

TEST_F(Observer, IsToldOfRefusedConnections)
{
    const TcpService service;
    IppGuard guard = {};
    guard.admit = admit_nobody;
    set(guard);
    const Phone stranger;
    EXPECT_TRUE(notices.wait_for("connection_refused not admitted"));
    guard = {};
    guard.max_ctrlpoints = 1;
    set(guard);
    const Phone first;
    const Phone second;
    EXPECT_TRUE(notices.wait_for("connection_refused too many"));
    EXPECT_EQ(notices.of("connected"), Lines{"1"});
    EXPECT_TRUE(notices.of("gone").empty());
}

class ObservedRegistry : public OpenRegistry
{
protected:
    RecordedNotices notices;
};

TEST_F(ObservedRegistry, TellsOfIdleAndStalledPhonesAndOfThoseThatTheHostRemoves)
{
    const ListedConnection idle(local_pair());
    __atomic_store_n(&idle.record->last_active, idle.record->connect_time - 40, __ATOMIC_RELAXED);
    EXPECT_EQ(check_ctrlpoint_timeout(), 0);
    const ListedConnection stalled(local_pair());
    IppGuard guard = {};
    guard.send_stall_ms = 1;
    ASSERT_EQ(ipp_set_guard(&guard), 0);
    const ScriptedSends sends(stalled.number, std::vector<int>(1000, -EAGAIN));
    EXPECT_EQ(ipp_report_dev_event(0x1234, 2, nullptr, nullptr, 0), 0);
    const ListedConnection removed(local_pair());
    registry_lock();
    list_remove(&g_cp_list, removed.record, ctrlpoint_free);
    EXPECT_EQ(notices.of("gone").size(), 2u) << "told with the lock held";
    registry_unlock();
    EXPECT_EQ(notices.all(), (Lines{"connected 1", "gone 0 silent for too long", "connected 1",
                                    "gone 0 took nothing for too long", "event_sent 4660 0 1",
                                    "connected 1", "gone 0 removed by the host"}));
}

TEST_F(ObservedRegistry, TellsOfWhatIsLeftWaiting)
{
    IppGuard guard = {};
    guard.send_backlog_bytes = 100;
    ASSERT_EQ(ipp_set_guard(&guard), 0);
    const ListedConnection slow(local_pair());
    const ListedConnection quick(local_pair());
    const ScriptedSends sends(slow.number, std::vector<int>(1000, -EAGAIN));
    const Bytes text(100, 'x');
    for (int i = 0; i < 3; i++) {
        EXPECT_EQ(ipp_report_dev_event(7, 2, nullptr, text.data(), 100), 0);
    }
    EXPECT_EQ(notices.of("event_sent"), (Lines{"7 2 0", "7 1 1", "7 1 0"}));
    EXPECT_EQ(notices.of("gone"), Lines{"1 left too much waiting"});
}

TEST_F(ObservedRegistry, IsSilentWithoutAnObserver)
{
    ASSERT_EQ(ipp_set_observer(nullptr), 0);
    const ListedConnection connection(local_pair());
    EXPECT_EQ(ipp_report_dev_event(1, 2, nullptr, nullptr, 0), 0);
    EXPECT_TRUE(notices.all().empty());
}

/* ---- Pushes and captures */

TEST_F(ObservedRegistry, TellsOfPushes)
{
    const ListedConnection connection(local_pair());
    CtrlPoint *cp = connection.record;
    ASSERT_EQ(start_egp_thread(&cp, std::calloc(1, 5), 5), 0);
    EXPECT_TRUE(notices.wait_for("push_ended none"));
    CtrlPoint copy = *connection.record;
    cp = &copy;
    registry_remove(connection.record);
    ASSERT_EQ(start_egp_thread(&cp, std::calloc(1, 6), 6), 0);
    EXPECT_TRUE(notices.wait_for("push_ended the phone has gone"));
    EXPECT_EQ(notices.of("push_begun"), (Lines{"5", "6"}));
}

TEST_F(ObservedRegistry, TellsOfAPushWithoutThread)
{
    const ListedConnection connection(local_pair());
    CtrlPoint *cp = connection.record;
    void *data = std::calloc(1, 5);
    {
        WatchedCall threads(system_pthread_create);
        threads.fail(EAGAIN);
        EXPECT_EQ(start_egp_thread(&cp, data, 5), -1);
    }
    std::free(data);
    EXPECT_EQ(notices.all(),
              (Lines{"connected 1", "push_begun 5", "push_ended no thread could be made"}));
}

TEST_F(ObservedRegistry, TellsOfCaptures)
{
    CtrlPoint cp = {};
    cp.peer_addr = inet_addr("127.0.0.1");
    uint16_t port = 0;
    ASSERT_TRUE(bulk_offer(&cp, "abc", 3, "test", &port));
    const Descriptor client = bulk_connection(port);
    EXPECT_EQ(hex(receive_bytes(client.get(), 7)), "03 00 00 00 61 62 63");
    EXPECT_TRUE(notices.wait_for("capture_ended 7 none"));
    IppGuard guard = {};
    guard.bulk_accept_ms = 1;
    ASSERT_EQ(ipp_set_guard(&guard), 0);
    ASSERT_TRUE(bulk_offer(&cp, "abc", 3, "test", &port));
    EXPECT_TRUE(notices.wait_for("capture_ended 0 nobody came for it"));
    EXPECT_EQ(notices.of("capture_begun"), (Lines{"7", "7"}));
}

TEST_F(ObservedRegistry, TellsOfAnsweredSearches)
{
    const TakenSleeps sleeps;
    const sockaddr_in from = address_of("192.0.2.7", 1);
    response_cp_search(&from);
    EXPECT_EQ(notices.all(), Lines{"search_answered"});
}

/* ---- The record of the host */

TEST_F(Observer, IsOfAnySizeThatTheLibraryUnderstands)
{
    struct Newer {
        IppObserver known;
        void (*unknown)(void);
    } newer = {};
    EXPECT_EQ(ipp_set_observer_sized(&newer.known, sizeof newer), 0);
    newer.unknown = [] {};
    EXPECT_EQ(ipp_set_observer_sized(&newer.known, sizeof newer), -1);
    EXPECT_EQ(ipp_set_observer_sized(nullptr, sizeof newer), 0);
    EXPECT_EQ(ipp_set_observer_sized(&newer.known, sizeof(void *)), 0);
}

TEST(Reasons, HaveTexts)
{
    EXPECT_STREQ(ipp_reason_text(IPP_REASON_NONE), "none");
    EXPECT_STREQ(ipp_reason_text(IPP_REASON_NO_THREAD), "no thread could be made");
    std::set<std::string> texts;
    for (int reason = 0; reason < IPP_REASON_COUNT; reason++) {
        texts.insert(ipp_reason_text(reason));
    }
    EXPECT_EQ(texts.size(), size_t{IPP_REASON_COUNT});
    EXPECT_STREQ(ipp_reason_text(-1), "unknown");
    EXPECT_STREQ(ipp_reason_text(IPP_REASON_COUNT), "unknown");
}

} // namespace
