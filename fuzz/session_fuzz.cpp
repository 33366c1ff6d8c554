/* SPDX-License-Identifier: MIT */
/* Conversations of up to four phones, connected by socket pairs, with the complete service from
 * ipp_init to ipp_finish. The bodies of its threads (server, both workers, and a host's, which
 * reports events) run here as fibers that are scheduled at system calls, in the order that the
 * input chooses: every interleaving is possible, reproducible, and as fast as one thread.
 *
 * A plain model tracks the bytes: what the phones sent, which requests must therefore be queued,
 * what each phone may be sent, and under the guard's send_backlog_bytes what is kept for it. A
 * phone without a fault of its own receives every byte, whatever the faults of the others.
 *
 * Input: flags (enum Flag), the number of the host's answers, the answers, then one byte for each
 * action: enum Action in the low 4 bits; the phone or thread in 2 bits; options in 2 bits. Some
 * actions are followed by arguments.
 *
 * Under test: source/link/backlog.cpp source/link/watch.cpp
 * source/link/connection.cpp source/net/descriptor_set.cpp source/link/heartbeat.cpp
 * source/link/receive.cpp source/link/registry.cpp source/link/list.cpp
 * source/link/connection_target.cpp source/link/send.cpp source/link/tcp_server.cpp
 * source/service/events.cpp source/wire/frame.cpp source/service/lifecycle.cpp
 * source/link/queue.cpp source/methods/router.cpp source/link/work_queues.cpp
 * source/service/workers.cpp */
#include "support/fuzz_input.h"
#include "support/quiet_system.h"
#include "support/session_backlog.h"
#include "support/session_model.h"
#include "support/session_phones.h"
#include "support/session_service.h"
#include "support/session_system.h"
#include "support/system_calls.h"

#include "tvlink/flags.h"
#include "tvlink/workers.h"

#include <algorithm>

#include <poll.h>
#include <unistd.h>

namespace
{

/* With the arguments and the options of each. */
enum Action {
    THREAD_RUNS,       /* number of steps, 0: until it waits */
    PHONE_CONNECTS,    /* 1: with a small buffer, 2: without reading automatically */
    PHONE_CALLS,       /* size of the text / 8; 1: buffered, 2: the host reports an event */
    PHONE_REQUESTS,    /* length, body of a request; 1: buffered */
    PHONE_HEARTBEATS,  /* 1: buffered */
    PHONE_SENDS_BYTES, /* length, bytes; 1: buffered */
    PHONE_FLUSHES,     /* number of buffered bytes, 0: all */
    PHONE_READS,       /* 1: and automatically from now on, 2: not automatically from now on */
    PHONE_CLOSES,
    PHONE_SHUTS_DOWN, /* 0: writing, 1: reading, 2: both */
    CALL_FAILS,       /* the fault; of the next 0: ioctl, 1: recv, 2: send, 3: accept */
    EVENT,            /* size of its data; 1: with two texts, 2: data of 16 times the size */
    HEARTBEATS_DUE,
    TIME_PASSES, /* seconds; 1: in 10 ms instead, 2: the clock jumps ahead, 3: or back */
    ALL_RUN,
    SERVICE_RESTARTS,
};

const size_t MAX_ACTIONS = 400;

} // namespace

/* ---- Actions */

static void inject_fault(Connection *connection, unsigned call)
{
    const Fault fault = {true, fuzz_u8(&session.input)};
    switch (call) {
    case 0:
        connection->ioctl_fault = fault;
        break;
    case 1:
        connection->recv_fault = fault;
        break;
    case 2:
        connection->send_fault = fault;
        break;
    default:
        session.accept_fault = fault.value;
        break;
    }
}

static void advance_time(unsigned unit, unsigned amount)
{
    static const int SECONDS[] = {1, 0, 0, -1};
    session.now_s += SECONDS[unit] * static_cast<int>(amount);
    session.now_s += unit == 2 ? 400 : 0;
    session.elapsed_ms += unit == 1 ? amount * 10U : unit == 0 ? amount * 1000U : 0;
    allow_idle_drops();
}

static void post_job(HostJob job, unsigned options)
{
    const uint8_t size = job == JOB_EVENT ? fuzz_u8(&session.input) : uint8_t{0};
    if (session.job == JOB_NONE) {
        session.job = job;
        session.event_choice = static_cast<uint8_t>(options);
        session.event_size = size;
    }
}

static void run_phone_action(Action action, Connection *connection, unsigned options)
{
    switch (action) {
    case PHONE_CALLS:
        send_call(connection, options, fuzz_u8(&session.input));
        break;
    case PHONE_REQUESTS:
        send_request(connection, options);
        break;
    case PHONE_HEARTBEATS:
        send_or_buffer(connection, build_frame(CP_FRAME_HEARTBEAT, {}), options);
        break;
    case PHONE_SENDS_BYTES:
        send_bytes(connection, options);
        break;
    case PHONE_FLUSHES:
        phone_flushes(connection, fuzz_u8(&session.input));
        break;
    case PHONE_READS:
        read_arrived(connection, options);
        break;
    case PHONE_CLOSES:
        phone_closes(connection);
        break;
    case PHONE_SHUTS_DOWN:
        shut_down_phone(connection, options);
        break;
    default:
        inject_fault(connection, options);
        break;
    }
}

static void run_service_action(Action action, unsigned target, unsigned options)
{
    switch (action) {
    case THREAD_RUNS:
        run_lane(static_cast<Lane>(target), fuzz_u8(&session.input));
        break;
    case PHONE_CONNECTS:
        connect_phone(target, options);
        break;
    case EVENT:
        post_job(JOB_EVENT, options);
        break;
    case HEARTBEATS_DUE:
        post_job(JOB_HEARTBEATS, options);
        break;
    case TIME_PASSES:
        advance_time(options, fuzz_u8(&session.input));
        break;
    case SERVICE_RESTARTS:
        stop_service();
        start_service();
        break;
    default:
        for (unsigned lane = 0; lane < LANE_STOPPER; lane++) {
            run_lane(static_cast<Lane>(lane), 0);
        }
        break;
    }
}

static void run_action()
{
    const uint8_t choice = fuzz_u8(&session.input);
    const Action action = static_cast<Action>(choice & 15);
    const unsigned target = choice >> 4 & 3U;
    const unsigned options = choice >> 6;
    if (action < PHONE_CALLS || action > CALL_FAILS) {
        run_service_action(action, target, options);
        return;
    }
    Connection *connection = connection_of(target);
    if (connection != nullptr) {
        run_phone_action(action, connection, options);
    }
}

/* ---- One input */

static void begin()
{
    fuzz_silence_log();
    session.flags = fuzz_u8(&session.input);
    session.now_s = 1000000;
    session.elapsed_ms = 1000000;
    quiet_system();
    prepare_service();
    replace_system_calls();
    start_service();
}

/* All phones read and flush, and all threads run until they wait: everything must be served. */
static void drain()
{
    for (Connection &connection : session.connections) {
        connection.reads = true;
        phone_reads(&connection);
        if (connection.phone_fd >= 0) {
            phone_flushes(&connection, 0);
        }
    }
    for (size_t i = 0; i <= session.connections.size(); i++) { /* a pass drops one idle phone */
        run_all({LANE_SERVER, LANE_REQUESTS, LANE_HEARTBEATS, LANE_HOST});
    }
    finish_item(&session.requests);
    finish_item(&session.heartbeats);
    must(session.requests.waiting.empty() && session.heartbeats.waiting.empty(),
         "whatever was queued is served");
    must(session.job == JOB_NONE, "the host is not held");
    for (const Connection &connection : session.connections) {
        must(connection.arrived.size() < 7 || !connection.registered ||
                 load_length(connection.arrived) > connection.arrived.size(),
             "whatever was sent has been taken");
        must(!connection.registered || !is_idle(connection), "who is idle is dropped");
    }
    must(kept_for_all() == 0, "whatever was kept has been sent");
}

/* The phone has received the bytes that the service sent, in complete frames. */
static void check_received(Connection *connection)
{
    phone_reads(connection);
    const Bytes &received = connection->received;
    const Bytes &expected = connection->expected;
    must(received.size() <= expected.size() &&
             std::equal(received.begin(), received.end(), expected.begin()),
         "a phone receives what it was sent");
    must(received.size() == expected.size() || connection->may_lose_bytes, "and all of it");
    CpSplitter *splitter = cp_splitter_new(0);
    CpFrame frame = {};
    CpStatus status = cp_splitter_feed(splitter, received.data(), received.size());
    while (status == CP_OK) {
        status = cp_splitter_next(splitter, &frame);
    }
    must(status == CP_MORE, "the control point can read it");
    must(cp_splitter_pending(splitter) == 0 || !connection->sending.empty() ||
             connection->may_lose_bytes,
         "in whole frames");
    cp_splitter_free(splitter);
}

/* Among the descriptor numbers of the service and of the phones. */
static std::vector<int> open_descriptors()
{
    std::vector<pollfd> asked;
    for (int fd = 0; fd < 24; fd++) {
        asked.push_back({fd, 0, 0});
        asked.push_back({FIRST_PHONE_FD + fd, 0, 0});
    }
    poll(asked.data(), asked.size(), 0);
    std::vector<int> open;
    for (const pollfd &answer : asked) {
        if ((answer.revents & POLLNVAL) == 0) {
            open.push_back(answer.fd);
        }
    }
    return open;
}

static void check_nothing_left(const std::vector<int> &before)
{
    int waiting = 0;
    must(queueIsEmpty(devCallBackQueue) != 0 && queueIsEmpty(heartBeatFeedbackQueue) != 0,
         "the queues are empty");
    must(sem_getvalue(&devCallBackSem, &waiting) == 0 && waiting == 0 &&
             sem_getvalue(&heartBeatFeedbackSem, &waiting) == 0 && waiting == 0,
         "and nobody counts on them");
    must(session.requests.waiting.empty() && session.heartbeats.waiting.empty(),
         "as many were served as were queued");
    for (const Connection &connection : session.connections) {
        must(connection.service_fd < 0 && connection.pending_fd < 0, "every connection is closed");
    }
    must(kept_for_all() == 0, "nothing is kept for them");
    must(open_descriptors() == before, "no descriptor is left");
}

static void end(const std::vector<int> &before)
{
    if ((session.flags & STOPS_EARLY) == 0) {
        drain();
    }
    stop_service();
    run_all({LANE_REQUESTS, LANE_HEARTBEATS, LANE_HOST});
    for (Connection &connection : session.connections) {
        check_received(&connection);
        if (connection.phone_fd >= 0) {
            close(connection.phone_fd);
        }
    }
    restore_system_calls();
    check_nothing_left(before);
    reset_service();
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    session = {};
    session.input = {data, size};
    const std::vector<int> before = open_descriptors();
    begin();
    for (size_t i = 0; i < MAX_ACTIONS && session.input.left > 0; i++) {
        run_action();
    }
    end(before);
    session = {};
    return 0;
}
