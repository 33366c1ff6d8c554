/* SPDX-License-Identifier: MIT */
/* What a start, a stop and single calls do first, and what they do then. */
#include "base/flags.h"
#include "discovery/announce.h"
#include "link/backlog.h"
#include "link/registry.h"
#include "net/stop_signal.h"
#include "support/captured_lines.h"
#include "support/child_process.h"
#include "support/libc_texts.h"
#include "support/phone.h"
#include "support/process_state.h"
#include "support/sockets.h"
#include "support/system_calls.h"
#include "support/tcp_service.h"
#include "support/trace.h"
#include "support/wait_until.h"
#include "tvlink.h"
#include "tvlink/discovery.h"
#include "tvlink/flags.h"
#include "tvlink/host/socket.h"
#include "tvlink/identity.h"
#include "tvlink/registry.h"
#include "tvlink/tcp_server.h"
#include "tvlink/workers.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <map>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/mman.h>
#include <sys/socket.h>

namespace
{

using Entries = std::vector<std::string>;

/* ---- Start and stop */

std::string number(unsigned value)
{
    return std::to_string(value);
}

/* What a start and a stop change, and how it was when it was last looked at. */
struct Watched {
    const char *name;
    std::string (*now)();
    std::string before;
};

std::vector<Watched> watched_state()
{
    return {
        {"serial", [] { return std::string(gTvSN); }, ""},
        {"name", [] { return std::string(gTvName); }, ""},
        {"device type", [] { return number(flags_device_type()); }, ""},
        {"inited", [] { return number(__atomic_load_n(&g_is_inited, __ATOMIC_ACQUIRE)); }, ""},
        {"running", [] { return number(__atomic_load_n(&g_thread_run, __ATOMIC_ACQUIRE)); }, ""},
        {"listed", [] { return number(g_cp_list.count); }, ""},
    };
}

/* Those of this thread: its calls, and before each what has changed since the last one. */
class Steps
{
public:
    Steps()
    {
        state_ = watched_state();
        for (Watched &watched : state_) {
            watched.before = watched.now();
        }
        thread_ = pthread_self();
    }
    ~Steps()
    {
        thread_ = pthread_t{};
    }
    Steps(const Steps &) = delete;
    Steps &operator=(const Steps &) = delete;

    static void look()
    {
        if (!pthread_equal(thread_, pthread_self())) {
            return;
        }
        for (Watched &watched : state_) {
            const std::string now = watched.now();
            if (now != watched.before) {
                Trace::note(watched.name + (" " + now));
                watched.before = now;
            }
        }
    }

    static void call(const std::string &what)
    {
        look();
        Trace::note(what);
    }

    Entries all() const
    {
        look();
        return trace_.all();
    }

private:
    static inline std::vector<Watched> state_;
    static inline std::atomic<pthread_t> thread_;

    const Trace trace_;
    const Replaced<decltype(system_pthread_mutex_lock)> lock_{
        system_pthread_mutex_lock, [](pthread_mutex_t *mutex) {
            mutex == &g_cp_list_mutex ? call("lock of the registry") : look();
            return system_pthread_mutex_lock.real(mutex);
        }};
    const Replaced<decltype(system_pthread_mutex_unlock)> unlock_{
        system_pthread_mutex_unlock, [](pthread_mutex_t *mutex) {
            mutex == &g_cp_list_mutex ? call("unlock of the registry") : look();
            return system_pthread_mutex_unlock.real(mutex);
        }};
};

const char *name_of_thread(void *(*body)(void *))
{
    return body == devCallBackThread         ? "request worker"
           : body == heartBeatFeedbackThread ? "heartbeat worker"
           : body == tcp_thread              ? "server thread"
           : body == udp_thread              ? "discovery thread"
           : body == announcing_thread       ? "announcing thread"
                                             : "another thread";
}

TEST(OrderOfStart, IsFromTheNamesToTheFlagThatAllIsReady)
{
    in_child([] {
        const Replaced signal(system_eventfd, [](unsigned value, int flags) {
            Steps::call(stop_signal_fd() < 0 ? "stop signal" : "backlog signal");
            return system_eventfd.real(value, flags);
        });
        const Replaced listen(system_listen, [](int fd, int backlog) {
            Steps::call("control port");
            return system_listen.real(fd, backlog);
        });
        const Replaced create(system_pthread_create, [](pthread_t *thread,
                                                        const pthread_attr_t *attributes,
                                                        void *(*body)(void *), void *argument) {
            Steps::call(name_of_thread(body));
            return system_pthread_create.real(thread, attributes, body, argument);
        });
        ListNode left = {nullptr, nullptr}; /* of whatever was before */
        g_cp_list = {4, &left, &left};
        const Steps steps;
        ASSERT_EQ(ipp_init(7, "Den", "SN-1"), 0);
        EXPECT_EQ(steps.all(),
                  (Entries{"serial SN-1", "name Den", "device type 7", "running 1", "stop signal",
                           "lock of the registry", "listed 0", "unlock of the registry",
                           "request worker", "heartbeat worker", "control port", "backlog signal",
                           "server thread", "discovery thread", "announcing thread", "inited 1"}));
        EXPECT_EQ(g_cp_list.head, nullptr);
        EXPECT_EQ(g_cp_list.tail, nullptr);
    });
}

TEST(OrderOfStop, IsFromTheFlagsOverTheThreadsToTheRegistry)
{
    in_child([] {
        const CapturedLines lines; /* until the stop */
        static std::map<int, std::string> names;
        const Replaced shut(system_shutdown, [](int fd, int how) {
            Steps::call("shutdown of the " + names[fd]);
            return system_shutdown.real(fd, how);
        });
        const Replaced join(system_pthread_join, [](pthread_t thread, void **result) {
            Steps::call(pthread_equal(thread, g_udp_tid)   ? "join of the discovery thread"
                        : pthread_equal(thread, g_tcp_tid) ? "join of the server thread"
                                                           : "join of another thread");
            return system_pthread_join.real(thread, result);
        });
        ASSERT_EQ(ipp_init(7, "Den", "SN-1"), 0);
        const Phone phone;
        names = {{number_of(phone), "connection"},
                 {stop_signal_fd(), "stop signal"},
                 {backlog_signal_fd(), "backlog signal"}};
        ASSERT_EQ(names.size(), 3u);
        const pthread_t stopping = pthread_self();
        const Replaced close(system_close, [stopping](int fd) {
            if (pthread_equal(stopping, pthread_self())) {
                Steps::call("close of the " + names[fd]);
            }
            return system_close.real(fd);
        });
        const Steps steps;
        EXPECT_EQ(ipp_finish(), 0);
        EXPECT_EQ(steps.all(), (Entries{"inited 0", "running 0", "join of the discovery thread",
                                        "join of the server thread", "close of the backlog signal",
                                        "close of the stop signal", "lock of the registry",
                                        "shutdown of the connection", "close of the connection",
                                        "listed 0", "unlock of the registry"}));
    });
}

/* Where the flags are written first from a moment on: until then their pages can only be read. */
class FirstWrite
{
public:
    static void from_now_on()
    {
        struct sigaction action = {};
        action.sa_sigaction = note;
        action.sa_flags = SA_SIGINFO;
        ASSERT_EQ(sigaction(SIGSEGV, &action, nullptr), 0);
        protect(PROT_READ);
    }

    static const void *address()
    {
        return address_;
    }

private:
    static void protect(int how)
    {
        const auto page = static_cast<uintptr_t>(sysconf(_SC_PAGESIZE));
        uintptr_t from = UINTPTR_MAX;
        uintptr_t to = 0;
        for (const void *flag :
             {static_cast<const void *>(&g_is_inited), static_cast<const void *>(&g_thread_run),
              static_cast<const void *>(&g_dev_type)}) {
            const auto at = reinterpret_cast<uintptr_t>(flag) / page * page;
            from = std::min(from, at);
            to = std::max(to, at + page);
        }
        if (mprotect(reinterpret_cast<void *>(from), to - from, how) != 0) {
            std::abort();
        }
    }

    static void note(int, siginfo_t *fault, void *)
    {
        protect(PROT_READ | PROT_WRITE);
        address_ = fault->si_addr;
    }

    static inline const void *address_ = nullptr;
};

TEST(OrderOfStart, HasTheDeviceTypeBeforeTheFlagOfTheThreads)
{
    in_child([] {
        static std::atomic<bool> named;
        const Replaced unlock(system_pthread_mutex_unlock, [](pthread_mutex_t *mutex) {
            const int result = system_pthread_mutex_unlock.real(mutex);
            if (!named && std::string(gTvName) == "Den") {
                named = true;
                FirstWrite::from_now_on();
            }
            return result;
        });
        EXPECT_EQ(ipp_init(7, "Den", "SN-1"), 0);
        EXPECT_EQ(FirstWrite::address(), &g_dev_type);
    });
}

TEST(OrderOfStop, HasTheFlagOfTheHostBeforeThatOfTheThreads)
{
    in_child([] {
        g_is_inited = 1;
        g_thread_run = 1;
        FirstWrite::from_now_on();
        EXPECT_EQ(ipp_finish(), 0);
        EXPECT_EQ(FirstWrite::address(), &g_is_inited);
        EXPECT_EQ(g_is_inited, 0);
        EXPECT_EQ(g_thread_run, 0);
    });
}

/* ---- Lines */

auto noted_sockets()
{
    return Replaced(system_socket, [](int domain, int type, int protocol) {
        Trace::note("socket");
        return system_socket.real(domain, type, protocol);
    });
}

auto noted_closes()
{
    return Replaced(system_close, [](int fd) {
        Trace::note("close");
        return system_close.real(fd);
    });
}

class OrderOfLines : public testing::Test
{
protected:
    void SetUp() override
    {
        flags_start_run();
    }

    void TearDown() override
    {
        flags_stop_running();
    }
};

TEST_F(OrderOfLines, TellsThatASocketIsClosedBeforeItIs)
{
    const int fd = soc_create(AF_INET, SOCK_STREAM, 0, 0, 0);
    const auto closes = noted_closes();
    const Trace trace;
    EXPECT_EQ(soc_close(fd), 1);
    EXPECT_EQ(trace.all(), (Entries{"zqt===  soc_close 351\n", "close"}));
}

TEST_F(OrderOfLines, TellsTheEndOfTheAddressesBeforeTheirSocketIsClosed)
{
    const auto sockets = noted_sockets();
    const auto closes = noted_closes();
    const Trace trace;
    uint32_t addresses[17] = {};
    int count = 0;
    EXPECT_EQ(net_getipaddress(addresses, &count), 0);
    EXPECT_EQ(trace.all(), (Entries{"socket", "zqt===  net_getipaddress 517\n", "close"}));
}

TEST_F(OrderOfLines, TellsWhyThereIsNoListeningSocketBeforeItIsClosed)
{
    const auto sockets = noted_sockets();
    const auto closes = noted_closes();
    {
        WatchedCall options(system_setsockopt);
        options.fail(ENOMEM);
        const Trace trace;
        EXPECT_EQ(tcp_sock_init(18801), -3);
        EXPECT_EQ(trace.all(),
                  (Entries{"socket", "err: setsockopt() fail\n", "setsockopt: " + NO_MEMORY + "\n",
                           "zqt===  tcp_sock_init 52\n", "close"}));
    }
    WatchedCall listening(system_listen);
    listening.fail(EADDRINUSE);
    const Trace trace;
    EXPECT_EQ(tcp_sock_init(18801), -3);
    EXPECT_EQ(trace.all(),
              (Entries{"socket", "err: listen() fail\n", "zqt===  tcp_sock_init 76\n", "close"}));
}

TEST_F(OrderOfLines, TellsTheEndOfTheServerBeforeItsSocketIsClosed)
{
    g_tcp_sock = tcp_sock_init(18801);
    flags_stop_running();
    const auto closes = noted_closes();
    const Trace trace;
    EXPECT_EQ(tcp_thread(nullptr), nullptr);
    EXPECT_EQ(trace.all(), (Entries{"zqt===  tcp_thread 637\n", "close"}));
}

TEST_F(OrderOfLines, TellsThatAPhoneHasHungUpBeforeItsConnectionIsClosed)
{
    static std::atomic<int> watched;
    watched = -1;
    const Replaced close(system_close, [](int fd) {
        if (fd == watched) {
            Trace::note("close");
        }
        return system_close.real(fd);
    });
    const Trace trace(Threads::EVERY);
    const TcpService service;
    Phone phone;
    watched = number_of(phone);
    ASSERT_GE(watched, 0);
    phone.hang_up();
    EXPECT_TRUE(wait_until([&] { return trace.all().size() == 2; }));
    EXPECT_EQ(trace.all(), (Entries{"zqt===  tcp_thread 595\n", "close"}));
}

TEST_F(OrderOfLines, TellsTheBeginOfAnnouncingOnceThereIsASocket)
{
    flags_stop_running();
    const auto sockets = noted_sockets();
    const auto closes = noted_closes();
    const Trace trace;
    EXPECT_EQ(notify_cp_multicast(), 1);
    EXPECT_EQ(trace.all(),
              (Entries{"socket", "close", /* for the address */
                       "socket", "zqt===  notify_cp_multicast 149\n",
                       "zqt===  notify_cp_multicast 158  0  1\n",
                       "zqt===  notify_cp_multicast 175\n", "zqt===  soc_close 351\n", "close"}));
}

TEST_F(OrderOfLines, TellsTheEndOfTheDiscoveryBetweenLeavingItsGroupAndClosingItsSocket)
{
    flags_stop_running();
    const auto sockets = noted_sockets();
    const auto closes = noted_closes();
    const Replaced options(system_setsockopt,
                           [](int fd, int level, int option, const void *value, socklen_t size) {
                               if (level == IPPROTO_IP && option == IP_DROP_MEMBERSHIP) {
                                   Trace::note("leave");
                               }
                               return system_setsockopt.real(fd, level, option, value, size);
                           });
    const size_t threads = thread_count();
    const Trace trace;
    EXPECT_EQ(udp_thread(nullptr), nullptr);
    EXPECT_EQ(trace.all(), (Entries{"socket", "leave", "zqt===  udp_thread 317\n", "close"}));
    EXPECT_TRUE(wait_until([&] { return thread_count() <= threads; })); /* the membership's */
}

/* The payload is the first thing that an event takes memory for. */
class NotedPayload
{
public:
    NotedPayload()
    {
        payload_ = nullptr;
    }

private:
    static inline std::atomic<const void *> payload_;

    const Replaced<decltype(system_calloc)> calloc_{
        system_calloc, [](size_t count, size_t size) {
            void *block = system_calloc.real(count, size);
            const void *none = nullptr;
            payload_.compare_exchange_strong(none, block);
            return block;
        }};
    const Replaced<decltype(system_free)> free_{system_free, [](void *block) {
                                                    if (block != nullptr && block == payload_) {
                                                        Trace::note("free");
                                                    }
                                                    system_free.real(block);
                                                }};
};

TEST_F(OrderOfLines, TellsThatAnEventIsSentBeforeItsPayloadIsFreed)
{
    registry_open();
    ConnectedPair ends = local_pair();
    const std::string fd = std::to_string(ends.near.get());
    registry_lock();
    EXPECT_EQ(check_and_insert(ends.near.release(), inet_addr("192.0.2.7")), 0);
    registry_unlock();
    const Replaced send(system_send, [](int to, const void *data, size_t size, int flags) {
        Trace::note("send " + std::to_string(size));
        return system_send.real(to, data, size, flags);
    });
    {
        const NotedPayload payload;
        const Trace trace;
        EXPECT_EQ(ipp_report_dev_event(1, 2, "ab", "xyz", 3), 0);
        EXPECT_EQ(trace.all(),
                  (Entries{"ipp_report_dev_event 129 str_len 2 \n", "send 93",
                           "zqt fd:" + fd + " num:0 ip:70200c0\n", "  tcp_sendbackall 140,ack =4\n",
                           "zqt  :socket_send(): tcp_sendbackall:167,send_ret=93\n",
                           "ipp_report_dev_event 162   \n", "free"}));
    }
    {
        const NotedPayload payload;
        const Trace trace;
        EXPECT_EQ(ipp_report_dev_event2(1, 2, "ab", "c", "xyz", 3), 0);
        EXPECT_EQ(trace.all(),
                  (Entries{"ipp_report_dev_event2 191 str_len 2 \n", "send 99",
                           "zqt fd:" + fd + " num:0 ip:70200c0\n", "  tcp_sendbackall 140,ack =5\n",
                           "zqt  :socket_send(): tcp_sendbackall:167,send_ret=99\n",
                           "ipp_report_dev_event2 234   \n", "free"}));
    }
    registry_close();
}

} // namespace
