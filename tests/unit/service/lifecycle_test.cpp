/* SPDX-License-Identifier: MIT */
#include "tvlink.h"

#include "base/flags.h"
#include "support/child_process.h"
#include "support/datagrams.h"
#include "support/emulator.h"
#include "support/libc_texts.h"
#include "support/mutex_state.h"
#include "support/process_state.h"
#include "support/service_state.h"
#include "support/system_calls.h"
#include "support/tcp_service.h"
#include "support/wait_until.h"
#include "tvlink/discovery.h"
#include "tvlink/flags.h"
#include "tvlink/frame.h"
#include "tvlink/identity.h"
#include "tvlink/registry.h"
#include "tvlink/tcp_server.h"
#include "tvlink/workers.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cerrno>
#include <thread>

namespace
{

using Lines = std::vector<std::string>;

/* ---- Before main(): the library as it is loaded. */

struct Initial {
    int32_t tcp_socket = g_tcp_sock;
    int32_t udp_socket = g_udp_sock;
    pthread_t tcp_thread_id = g_tcp_tid;
    pthread_t udp_thread_id = g_udp_tid;
    uint32_t count = g_cp_list.count;
    const void *head = g_cp_list.head;
    const void *tail = g_cp_list.tail;
} const initial;

TEST(Lifecycle, BeginsWithNothing)
{
    EXPECT_EQ(initial.tcp_socket, -1);
    EXPECT_EQ(initial.udp_socket, -1);
    EXPECT_EQ(initial.tcp_thread_id, pthread_t{});
    EXPECT_EQ(initial.udp_thread_id, pthread_t{});
    EXPECT_EQ(initial.count, 0u);
    EXPECT_EQ(initial.head, nullptr);
    EXPECT_EQ(initial.tail, nullptr);
}

/* ---- Start */

TEST(Lifecycle, StartsWithItsDefaults)
{
    in_child([] {
        const CapturedLines lines;
        EXPECT_EQ(ipp_init(0x12345, nullptr, nullptr), 0);
        EXPECT_STREQ(gTvName, "KV-EU-TV");
        EXPECT_STREQ(gTvSN, "EU-TVsn001");
        EXPECT_EQ(g_dev_type, 0x2345);
        EXPECT_EQ(g_is_inited, 1);
        EXPECT_EQ(g_thread_run, 1);
        EXPECT_GE(g_tcp_sock, 0);
        EXPECT_EQ(port_of(g_tcp_sock), 8801);
        EXPECT_NE(g_tcp_tid, pthread_t{});
        EXPECT_NE(g_udp_tid, pthread_t{});
        EXPECT_NE(devCallBackTid, pthread_t{});
        EXPECT_NE(heartBeatFeedbackTid, pthread_t{});
        EXPECT_EQ(g_cp_list.count, 0u);
        EXPECT_EQ(own_lines(lines), "") << "a start that succeeds prints";
        EXPECT_EQ(lines.err(), Lines());
        expect_alive(Phone());
    });
}

TEST(Lifecycle, KeepsWhatTheHostGives)
{
    in_child([] {
        const CapturedLines lines;
        const std::string name(300, 'n');
        const std::string serial(300, 's');
        EXPECT_EQ(ipp_init(7, name.c_str(), serial.c_str()), 0);
        EXPECT_EQ(gTvName, std::string(255, 'n'));
        EXPECT_EQ(gTvSN, std::string(255, 's'));
        EXPECT_EQ(g_dev_type, 7);
    });
}

TEST(Lifecycle, RefreshesNameAndSerialOnlyWhenItRunsAlready)
{
    in_child([] {
        const CapturedLines lines;
        ASSERT_EQ(ipp_init(7, "Living room television", "SN-0123456789"), 0);
        const pthread_t tcp_thread_id = g_tcp_tid;
        const pthread_t worker = devCallBackTid;
        const int32_t listener = g_tcp_sock;
        const uint32_t run = flags_run_number();
        const Phone connected;
        expect_alive(connected);
        EXPECT_EQ(ipp_init(8, "Den", "7"), 0);
        EXPECT_EQ(std::string(gTvName, 256), "Den" + std::string(253, '\0'));
        EXPECT_EQ(std::string(gTvSN, 256), "7" + std::string(255, '\0'));
        EXPECT_EQ(g_dev_type, 7) << "the device type is changed";
        EXPECT_EQ(ipp_init(9, "Living room television", "SN-0123456789"), 0);
        EXPECT_EQ(ipp_init(9, nullptr, nullptr), 0);
        EXPECT_STREQ(gTvName, "KV-EU-TVoom television");
        EXPECT_STREQ(gTvSN, "EU-TVsn001789");
        EXPECT_TRUE(pthread_equal(g_tcp_tid, tcp_thread_id));
        EXPECT_TRUE(pthread_equal(devCallBackTid, worker));
        EXPECT_EQ(g_tcp_sock, listener);
        EXPECT_EQ(flags_run_number(), run);
        EXPECT_EQ(g_is_inited, 1);
        expect_alive(connected);
    });
}

TEST(Lifecycle, TakesItselfForStartedWhenTheHostsFlagSaysSo)
{
    in_child([] {
        const CapturedLines lines;
        const std::set<int> descriptors = open_descriptors();
        const WatchedCall threads(system_pthread_create);
        g_is_inited = 1;
        EXPECT_EQ(ipp_init(7, "Den", "SN-1"), 0);
        EXPECT_STREQ(gTvName, "Den");
        EXPECT_STREQ(gTvSN, "SN-1");
        EXPECT_EQ(g_dev_type, 0);
        EXPECT_EQ(g_thread_run, 0);
        EXPECT_EQ(flags_run_number(), 0u);
        EXPECT_EQ(g_tcp_sock, -1);
        EXPECT_EQ(open_descriptors(), descriptors);
        EXPECT_EQ(threads.calls(), 0);
    });
}

TEST(Lifecycle, StartsWhenOnlyTheFlagOfTheThreadsSaysThatItRuns)
{
    in_child([] {
        const CapturedLines lines;
        g_thread_run = 1;
        EXPECT_EQ(ipp_init(7, "Den", "SN-1"), 0);
        EXPECT_EQ(g_dev_type, 7);
        EXPECT_EQ(g_is_inited, 1);
        EXPECT_EQ(flags_run_number(), 1u);
        expect_alive(Phone());
    });
}

TEST(Lifecycle, StartsOnceMoreWhenTheHostClearsItsFlag)
{
    in_child([] {
        const CapturedLines lines;
        IppGuard guard = {};
        guard.bind_wait_ms = 1;
        ASSERT_EQ(ipp_set_guard(&guard), 0);
        ASSERT_EQ(ipp_init(7, "Den", "SN-1"), 0);
        EXPECT_TRUE(lines.wait_for(JOINED));
        __atomic_store_n(&g_is_inited, 0, __ATOMIC_RELEASE);
        /* The threads of the first start wait for the signal that the second one's end raises. */
        EXPECT_EQ(ipp_init(8, "Attic", "SN-2"), -1) << "the first start has the control port";
        EXPECT_EQ(own_lines(lines), "err: tcp_sock_init() fail\n"
                                    "err: start_tcp_rcv_thread() fail\n"
                                    "zqt===  tcp_thread 637\n");
        EXPECT_EQ(g_dev_type, 8);
        EXPECT_EQ(flags_run_number(), 2u);
    });
}

TEST(Lifecycle, NeverTakesTheMouseLock)
{
    in_child([] {
        const CapturedLines lines;
        pthread_mutex_lock(&mouseLok);
        ASSERT_EQ(ipp_init(7, nullptr, nullptr), 0);
        expect_alive(Phone());
        EXPECT_EQ(ipp_finish(), 0);
        EXPECT_EQ(gIsInited, 1);
        pthread_mutex_unlock(&mouseLok);
    });
}

TEST(Lifecycle, LeavesNoDescriptorToChildProcesses)
{
    in_child([] {
        const CapturedLines lines;
        const std::set<int> before = inheritable_descriptors();
        ASSERT_EQ(ipp_init(7, nullptr, nullptr), 0);
        const Phone connected;
        expect_alive(connected);
        /* The discovery socket and the announcing one. */
        EXPECT_TRUE(wait_until([] { return discovery_socket() >= 0; }));
        EXPECT_TRUE(lines.wait_for("groupcast notfit 9988 \n"));
        EXPECT_GE(open_descriptors().size(), before.size() + 4);
        EXPECT_EQ(inheritable_descriptors(), before);
    });
}

std::atomic<int> lines_under_a_lock;
std::atomic<int> lines_at_all;

void look_for_locks(int, const char *, void *)
{
    for (const pthread_mutex_t *lock :
         {&g_cp_list_mutex, &devCallBackMutex, &heartBeatFeedbackMutex}) {
        lines_under_a_lock += held_by_this_thread(*lock) ? 1 : 0;
    }
    lines_at_all++;
}

TEST(Lifecycle, PrintsNothingWithALockHeld)
{
    in_child([] {
        ipp_set_log_sink(look_for_locks, nullptr);
        for (int i = 0; i < 2; i++) {
            ASSERT_EQ(ipp_init(7, nullptr, nullptr), 0);
            const Phone stays;
            Phone leaves;
            Phone resets;
            expect_alive(stays);
            expect_alive(leaves);
            expect_alive(resets);
            EXPECT_EQ(ipp_report_dev_event(1, 2, nullptr, nullptr, 0), 0);
            EXPECT_EQ(stays.read_frame().size(), 88u);
            leaves.hang_up();
            resets.reset();
            EXPECT_TRUE(wait_for_connected(1));
            EXPECT_EQ(ipp_report_dev_event(1, 2, nullptr, nullptr, 0), 0);
            EXPECT_EQ(ipp_finish(), 0);
        }
        ipp_set_log_sink(nullptr, nullptr);
        EXPECT_GE(lines_at_all, 20);
        EXPECT_EQ(lines_under_a_lock, 0);
    });
}

/* ---- Stop */

TEST(LifecycleStop, IsHarmlessWithoutAStart)
{
    in_child([] {
        const CapturedLines lines;
        const WatchedCall joins(system_pthread_join);
        EXPECT_EQ(ipp_finish(), 0);
        EXPECT_EQ(ipp_finish(), 0);
        EXPECT_EQ(joins.calls(), 0);
        EXPECT_EQ(lines.all().size(), 0u);
        EXPECT_EQ(ipp_init(7, nullptr, nullptr), 0);
        expect_alive(Phone());
    });
}

TEST(LifecycleStop, EndsConnectionsAndFreesThePort)
{
    in_child([] {
        const CapturedLines lines;
        ASSERT_EQ(ipp_init(7, nullptr, nullptr), 0);
        const pthread_t tcp_thread_id = g_tcp_tid;
        const pthread_t udp_thread_id = g_udp_tid;
        const Phone first;
        const Phone second;
        expect_alive(first);
        expect_alive(second);
        const WatchedCall joins(system_pthread_join);
        EXPECT_EQ(ipp_finish(), 0);
        EXPECT_EQ(joins.calls(), 2) << "the server thread and the discovery thread";
        EXPECT_TRUE(first.is_dropped());
        EXPECT_TRUE(second.is_dropped());
        expect_stopped();
        EXPECT_EQ(g_tcp_sock, -1);
        EXPECT_TRUE(pthread_equal(g_tcp_tid, tcp_thread_id)) << "the thread ids change";
        EXPECT_TRUE(pthread_equal(g_udp_tid, udp_thread_id));
        EXPECT_EQ(lines.count("zqt===  tcp_thread 637\n"), 1u);
        EXPECT_EQ(lines.count("zqt===  udp_thread 317\n"), 1u);
        EXPECT_EQ(ipp_finish(), 0);
        EXPECT_EQ(ipp_finish(), 0);
        EXPECT_EQ(joins.calls(), 2) << "a thread is joined twice";
    });
}

TEST(LifecycleStop, NeedsNoSignal)
{
    in_child([] {
        const CapturedLines lines;
        {
            WatchedCall signals(system_eventfd);
            signals.fail(EMFILE);
            ASSERT_EQ(ipp_init(7, nullptr, nullptr), 0);
        }
        expect_alive(Phone());
        const Descriptor phone = datagram_socket(IPP_ANSWER_PORT);
        EXPECT_TRUE(wait_until([] { return discovery_socket() >= 0; }));
        EXPECT_TRUE(
            send_datagram(phone.get(), bytes("A5 A5 08 00 'AIIP'"), "127.0.0.1", IPP_SEARCH_PORT));
        EXPECT_EQ(received(phone.get()).substr(0, 11), "A5 A5 0C 00");
        EXPECT_EQ(ipp_finish(), 0);
        expect_stopped();
    });
}

TEST(LifecycleStop, EndsAnEndlessWaitForTheSearchPort)
{
    in_child([] {
        const CapturedLines lines;
        const Descriptor holder = holder_of_the_search_port();
        ASSERT_EQ(ipp_init(7, nullptr, nullptr), 0);
        EXPECT_EQ(ipp_finish(), 0);
        EXPECT_EQ(lines.count("err: udp_init() fail\n"), 1u);
        EXPECT_EQ(g_udp_sock, -3);
    });
}

TEST(LifecycleStop, EndsAnEndlessWaitForTheControlPort)
{
    in_child([] {
        const CapturedLines lines;
        const Descriptor holder = listening_on(IPP_CONTROL_PORT);
        WatchedCall sockets(system_socket, Threads::EVERY);
        int32_t result = 4711;
        std::thread starter([&] { result = ipp_init(7, nullptr, nullptr); });
        EXPECT_TRUE(wait_until([&] { return sockets.calls() == 1; }));
        EXPECT_EQ(ipp_finish(), 0);
        starter.join();
        EXPECT_EQ(result, -1);
        EXPECT_EQ(own_lines(lines),
                  "err: tcp_sock_init() fail\nerr: start_tcp_rcv_thread() fail\n");
    });
}

/* ---- A service that nothing arrives at */

TEST(LifecycleIdle, WakesNoThreadMoreThanOnceASecond)
{
    in_child([] {
        const CapturedLines lines;
        static std::atomic<int> passes{0};
        static std::atomic<int> waits{0};
        static std::atomic<int> receives{0};
        static std::atomic<int> short_ones{0};
        const Replaced wait(system_epoll_wait,
                            [](int epoll, epoll_event *events, int room, int limit_ms) {
                                short_ones += limit_ms < 1000 ? 1 : 0;
                                passes++;
                                return system_epoll_wait.real(epoll, events, room, limit_ms);
                            });
        const Replaced poll(system_ppoll, [](pollfd *entries, nfds_t count, const timespec *limit,
                                             const sigset_t *mask) {
            short_ones += limit != nullptr ? 1 : 0;
            waits++;
            return system_ppoll.real(entries, count, limit, mask);
        });
        const Replaced receive(system_recvfrom, [](int fd, void *data, size_t size, int flags,
                                                   sockaddr *from, socklen_t *from_size) {
            receives++;
            return system_recvfrom.real(fd, data, size, flags, from, from_size);
        });
        const Replaced sleep(system_usleep, [](useconds_t microseconds) {
            short_ones += microseconds < 500000 ? 1 : 0; /* the announcing thread's shortest */
            return system_usleep.real(microseconds);
        });
        ASSERT_EQ(ipp_init(7, nullptr, nullptr), 0);
        EXPECT_TRUE(lines.wait_for("groupcast notfit 9988 \n", 2)); /* half a second lies between */
        EXPECT_TRUE(wait_until([] { return waits == 1; }));
        EXPECT_EQ(receives, 0);
        EXPECT_EQ(ipp_finish(), 0);
        EXPECT_EQ(waits, 1);
        EXPECT_EQ(receives, 0);
        EXPECT_EQ(short_ones, 0);
        EXPECT_GE(passes, 1);
    });
}

/* ---- Requests around a stop */

TEST(LifecycleStop, DropsRequestsThatAreStillQueued)
{
    in_child([] {
        const CapturedLines lines;
        const Door door;
        std::vector<std::string> bodies;
        std::vector<int> answers;
        const GetRequests requests([&](CtrlPoint *item, const Bytes &body) {
            bodies.push_back(hex(body));
            door.pass();
            answers.push_back(echo(item, body));
        });
        ASSERT_EQ(ipp_init(7, nullptr, nullptr), 0);
        const Phone old_phone;
        for (const char *payload : {"01 01", "01 02", "01 03"}) {
            old_phone.send(wire_frame(FRAME_GET, bytes(payload)));
        }
        EXPECT_TRUE(door.wait_for_somebody());
        EXPECT_TRUE(wait_until([] { /* all three have come */
                                    return __atomic_load_n(&devCallBackQueue->rear,
                                                           __ATOMIC_ACQUIRE) == 3;
        }));
        EXPECT_EQ(ipp_finish(), 0);
        EXPECT_TRUE(old_phone.is_dropped());
        ASSERT_EQ(ipp_init(7, nullptr, nullptr), 0);
        const Phone new_phone;
        new_phone.send(wire_frame(FRAME_GET, bytes("01 04")));
        door.open();
        EXPECT_EQ(hex(new_phone.read_frame()), hex(wire_frame(FRAME_GET_REPLY, bytes("01 04"))));
        expect_alive(new_phone);
        EXPECT_EQ(ipp_finish(), 0);
        EXPECT_EQ(bodies, (Lines{"05 01 01", "05 01 04"}));
        EXPECT_EQ(answers, (std::vector<int>{-1, 1}));
    });
}

/* ---- Again */

TEST(LifecycleRestart, ServesAgainWithTheSameWorkers)
{
    in_child([] {
        const CapturedLines lines;
        ASSERT_EQ(ipp_init(7, "Den", "1"), 0);
        const pthread_t request_worker = devCallBackTid;
        const pthread_t heartbeat_worker = heartBeatFeedbackTid;
        Queue *const requests = devCallBackQueue;
        Queue *const heartbeats = heartBeatFeedbackQueue;
        const uint32_t run = flags_run_number();
        expect_alive(Phone());
        ASSERT_EQ(ipp_finish(), 0);
        ASSERT_EQ(ipp_init(8, "Attic", "2"), 0);
        EXPECT_TRUE(pthread_equal(devCallBackTid, request_worker));
        EXPECT_TRUE(pthread_equal(heartBeatFeedbackTid, heartbeat_worker));
        EXPECT_EQ(devCallBackQueue, requests);
        EXPECT_EQ(heartBeatFeedbackQueue, heartbeats);
        EXPECT_EQ(flags_run_number(), run + 1);
        EXPECT_EQ(g_dev_type, 8);
        EXPECT_STREQ(gTvName, "Attic");
        EXPECT_EQ(g_is_inited, 1);
        expect_alive(Phone());
    });
}

TEST(LifecycleRestart, BeginsWithAnEmptyRegistryEachTime)
{
    in_child([] {
        const CapturedLines lines;
        for (int i = 0; i < 2; i++) {
            ListNode left = {nullptr, nullptr};
            g_cp_list = {3, &left, &left};
            ASSERT_EQ(ipp_init(7, nullptr, nullptr), 0);
            EXPECT_EQ(g_cp_list.count, 0u);
            EXPECT_EQ(g_cp_list.head, nullptr);
            EXPECT_EQ(g_cp_list.tail, nullptr);
            expect_alive(Phone());
            ASSERT_EQ(ipp_finish(), 0);
        }
    });
}

TEST(LifecycleRestart, LeavesDescriptorsAndThreadsAsTheyWere)
{
    in_child([] {
        const CapturedLines lines;
        const std::set<int> descriptors = open_descriptors();
        const size_t threads = thread_count();
        for (int i = 0; i < 3; i++) {
            ASSERT_EQ(ipp_init(7, nullptr, nullptr), 0);
            expect_alive(Phone());
            ASSERT_EQ(ipp_finish(), 0);
        }
        /* The announcing threads sleep out their pauses. */
        EXPECT_TRUE(wait_until([&] { return open_descriptors() == descriptors; }));
        const size_t workers = 2;
        const size_t emulator = EMULATED ? 1 : 0; /* starts a thread of its own when it likes */
        EXPECT_TRUE(wait_until([&] { return thread_count() <= threads + workers + emulator; }));
    });
}

/* ---- Events around start and stop */

TEST(LifecycleEvents, MayBeReportedAtAnyTimeByAnyThread)
{
    in_child([] {
        ipp_set_log_sink([](int, const char *, void *) {}, nullptr);
        std::atomic<bool> done(false);
        std::atomic<long> reported(0);
        std::vector<std::thread> reporters;
        for (int i = 0; i < 3; i++) {
            reporters.emplace_back([&] {
                while (!done) {
                    EXPECT_EQ(ipp_report_dev_event(1, 2, "text", "data", 4), 0);
                    EXPECT_EQ(ipp_report_dev_event2(1, 2, "text", "more", "data", 4), 0);
                    reported++;
                    std::this_thread::yield();
                }
            });
        }
        const auto some_more = [&] {
            const long before = reported;
            return wait_until([&] { return reported >= before + 20; });
        };
        EXPECT_TRUE(some_more());
        for (int i = 0; i < 2; i++) {
            EXPECT_EQ(ipp_init(7, nullptr, nullptr), 0);
            const Phone connected;
            EXPECT_GT(connected.read_frame().size(), 72u); /* an event */
            std::thread reader([&] {
                while (!connected.read_frame().empty()) {
                }
            });
            EXPECT_TRUE(some_more());
            EXPECT_EQ(ipp_finish(), 0);
            reader.join();
            EXPECT_TRUE(some_more());
        }
        done = true;
        for (std::thread &reporter : reporters) {
            reporter.join();
        }
    });
}

TEST(LifecycleEvents, MayBeReportedFromInsideARequest)
{
    in_child([] {
        const CapturedLines lines;
        const GetRequests requests([](CtrlPoint *item, const Bytes &body) {
            EXPECT_EQ(ipp_report_dev_event(1, 2, nullptr, nullptr, 0), 0);
            EXPECT_EQ(echo(item, body), 1);
        });
        ASSERT_EQ(ipp_init(7, nullptr, nullptr), 0);
        const Phone asks;
        const Phone listens;
        expect_alive(listens);
        const Bytes event =
            wire_frame(FRAME_EVENT, bytes("01 00 04 03 02 00 08 00 00 00 00 0C 00 00 00 00"));
        asks.send(wire_frame(FRAME_GET, bytes("01 02 03")));
        EXPECT_EQ(hex(asks.read_frame()), hex(event));
        EXPECT_EQ(hex(asks.read_frame()), hex(wire_frame(FRAME_GET_REPLY, bytes("01 02 03"))));
        EXPECT_EQ(hex(listens.read_frame()), hex(event));
        expect_alive(listens);
        EXPECT_EQ(ipp_finish(), 0);
    });
}

TEST(LifecycleEvents, DoNotKeepTheServiceFromStoppingWhenAPhoneReadsNothing)
{
    in_child([] {
        ipp_set_log_sink([](int, const char *, void *) {}, nullptr);
        std::atomic<bool> stuck(false);
        const Replaced sends(system_send, [&](int fd, const void *data, size_t size, int flags) {
            const ssize_t sent = system_send.real(fd, data, size, flags);
            stuck = stuck || (sent < 0 && errno == EAGAIN);
            return sent;
        });
        ASSERT_EQ(ipp_init(7, nullptr, nullptr), 0);
        const Phone stalled(4096);
        expect_alive(stalled);
        std::thread reporter(
            [] { /* more than all buffers on the way hold */
                 const Bytes data(20000000, 0x11);
                 EXPECT_EQ(ipp_report_dev_event(1, 2, nullptr, data.data(), 20000000), 0);
            });
        EXPECT_TRUE(wait_until([&] { return stuck.load(); }));
        EXPECT_EQ(ipp_finish(), 0);
        reporter.join();
        expect_stopped();
    });
}

} // namespace
