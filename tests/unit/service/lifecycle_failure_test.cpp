/* SPDX-License-Identifier: MIT */
#include "support/child_process.h"
#include "support/libc_texts.h"
#include "support/process_state.h"
#include "support/service_state.h"
#include "support/system_calls.h"
#include "support/taken_time.h"
#include "support/wait_until.h"
#include "tvlink.h"
#include "tvlink/flags.h"
#include "tvlink/identity.h"
#include "tvlink/tcp_server.h"

#include <gtest/gtest.h>

#include <cerrno>

namespace
{

/* Which call on the starting thread fails, and what then is seen. */
struct Failure {
    SystemFunction *function;
    long call;
    int error;
    int32_t result;
    std::string out;
    std::string err;
};

const std::string NO_REQUEST_WORKER = "err: startDevCallBackThread() fail\n";
const std::string NO_HEARTBEAT_WORKER = "err: startHeartBeatFeedbackThread() fail\n";
const std::string NO_WORKER_THREAD = "err: startDevCallBackThread pthread_create() fail\n";
const std::string NO_SERVER = "err: start_tcp_rcv_thread() fail\n";
const std::string NO_SOCKET = "err: tcp_sock_init() fail\n" + NO_SERVER;
const std::string NO_DISCOVERY = "err: start_udp_thread() fail\n";
const std::string NO_THREAD = "err: pthread_create() fail\n";
const std::string SERVER_ENDS = "zqt===  tcp_thread 637\n";

void expect_failure(const Failure &failure)
{
    const CapturedLines lines;
    const std::set<int> descriptors = open_descriptors();
    WatchedCall call(*failure.function);
    call.fail(failure.error, failure.call);
    EXPECT_EQ(ipp_init(7, nullptr, nullptr), failure.result);
    EXPECT_EQ(own_lines(lines), failure.out);
    std::string err;
    for (const std::string &line : lines.err()) {
        err += line;
    }
    EXPECT_EQ(err, failure.err);
    expect_stopped();
    EXPECT_EQ(open_descriptors(), descriptors);
    EXPECT_EQ(ipp_finish(), 0);
    EXPECT_EQ(ipp_init(7, nullptr, nullptr), 0) << "the next start";
    expect_alive(Phone());
}

void expect_failures(const std::vector<Failure> &failures)
{
    for (const Failure &failure : failures) {
        SCOPED_TRACE(failure.out);
        in_child([&] { expect_failure(failure); });
    }
}

TEST(LifecycleFailure, OfTheRequestWorkerIsUndone)
{
    const std::string no_queue = "new devCallBackQueue error.\n" + NO_REQUEST_WORKER;
    expect_failures({
        {&system_malloc, 1, ENOMEM, -1, no_queue, ""},
        {&system_calloc, 1, ENOMEM, -1, no_queue, ""},
        {&system_pthread_create, 1, EAGAIN, -1, NO_WORKER_THREAD + NO_REQUEST_WORKER, ""},
    });
}

TEST(LifecycleFailure, OfTheHeartbeatWorkerIsUndone)
{
    const std::string no_queue = "new heartBeatFeedbackQueue error.\n" + NO_HEARTBEAT_WORKER;
    expect_failures({
        {&system_malloc, 2, ENOMEM, -1, no_queue, ""},
        {&system_calloc, 2, ENOMEM, -1, no_queue, ""},
        {&system_pthread_create, 2, EAGAIN, -1, NO_WORKER_THREAD + NO_HEARTBEAT_WORKER, ""},
    });
}

TEST(LifecycleFailure, OfTheControlSocketIsUndone)
{
    expect_failures({
        {&system_socket, 1, EMFILE, -1, "err: tcp socket() fail=24\n" + NO_SOCKET,
         "TCP_SOCKET: " + TOO_MANY_FILES + "\n"},
        {&system_setsockopt, 1, ENOMEM, -1,
         "err: setsockopt() fail\nzqt===  tcp_sock_init 52\n" + NO_SOCKET,
         "setsockopt: " + NO_MEMORY + "\n"},
        {&system_listen, 1, EADDRINUSE, -1,
         "err: listen() fail\nzqt===  tcp_sock_init 76\n" + NO_SOCKET, ""},
    });
}

TEST(LifecycleFailure, OfTheServerThreadIsUndone)
{
    expect_failures({{&system_pthread_create, 3, EAGAIN, -4, NO_THREAD + NO_SERVER, ""}});
}

TEST(LifecycleFailure, OfTheDiscoveryIsUndone)
{
    const std::string out = NO_THREAD + NO_DISCOVERY + SERVER_ENDS;
    expect_failures({
        {&system_pthread_create, 4, EAGAIN, -4, out, ""},
        {&system_pthread_create, 5, EAGAIN, -4, out, ""}, /* the announcing thread */
    });
}

void bound_the_bind(uint32_t ms)
{
    IppGuard guard = {};
    guard.bind_wait_ms = ms;
    ASSERT_EQ(ipp_set_guard(&guard), 0);
}

TEST(LifecycleFailure, HappensWhenTheControlPortStaysTaken)
{
    in_child([] {
        const CapturedLines lines;
        bound_the_bind(50);
        {
            const Descriptor holder = listening_on(IPP_CONTROL_PORT);
            EXPECT_EQ(ipp_init(7, nullptr, nullptr), -1);
        }
        EXPECT_EQ(own_lines(lines), NO_SOCKET);
        EXPECT_EQ(lines.err().size(), 0u);
        EXPECT_EQ(g_tcp_sock, -3) << "the negative result stays";
        expect_stopped();
        EXPECT_EQ(ipp_init(7, nullptr, nullptr), 0);
        expect_alive(Phone());
    });
}

TEST(LifecycleFailure, IsNoneWhenTheControlPortIsFreeInTime)
{
    in_child([] {
        const CapturedLines lines;
        bound_the_bind(UINT32_MAX);
        Descriptor holder = listening_on(IPP_CONTROL_PORT);
        int pauses = 0;
        {
            const TakenSleeps sleeps([&](uint64_t) {
                if (++pauses == 3) {
                    holder.close();
                }
            });
            EXPECT_EQ(ipp_init(7, nullptr, nullptr), 0);
        }
        EXPECT_EQ(pauses, 3);
        EXPECT_EQ(own_lines(lines), "");
        expect_alive(Phone());
    });
}

TEST(LifecycleFailure, IsNoneWhenOnlyTheSearchPortIsTaken)
{
    in_child([] {
        const CapturedLines lines;
        bound_the_bind(UINT32_MAX);
        Descriptor holder = holder_of_the_search_port();
        EXPECT_EQ(ipp_init(7, nullptr, nullptr), 0);
        EXPECT_EQ(g_is_inited, 1);
        expect_alive(Phone());
        EXPECT_LT(discovery_socket(), 0);
        holder.close();
        EXPECT_TRUE(wait_until([] { return discovery_socket() >= 0; }));
        EXPECT_EQ(port_of(discovery_socket()), IPP_SEARCH_PORT);
        EXPECT_EQ(ipp_finish(), 0);
        EXPECT_EQ(lines.count("err: udp_init() fail\n"), 0u);
        expect_stopped();
    });
}

TEST(LifecycleFailure, IsNoneWhenTheSearchPortStaysTaken)
{
    in_child([] {
        const CapturedLines lines;
        bound_the_bind(1);
        const Descriptor holder = holder_of_the_search_port();
        EXPECT_EQ(ipp_init(7, nullptr, nullptr), 0);
        EXPECT_TRUE(lines.wait_for("err: udp_init() fail\n"));
        EXPECT_EQ(lines.count("err: port 12426 is taken\n"), 1u);
        EXPECT_EQ(g_is_inited, 1);
        expect_alive(Phone());
        EXPECT_EQ(ipp_finish(), 0);
        expect_stopped();
    });
}

TEST(LifecycleFailure, KeepsTheNameTheSerialAndTheDeviceType)
{
    in_child([] {
        const CapturedLines lines;
        WatchedCall memory(system_malloc);
        memory.fail(ENOMEM);
        EXPECT_EQ(ipp_init(0x54321, "Den", "7"), -1);
        EXPECT_STREQ(gTvName, "Den");
        EXPECT_STREQ(gTvSN, "7");
        EXPECT_EQ(g_dev_type, 0x4321);
    });
}

} // namespace
