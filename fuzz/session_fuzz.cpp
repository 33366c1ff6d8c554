/* Whole conversations: up to four phones, connected by socket pairs, with the whole service from
 * ipp_init to ipp_finish. The bodies of its own threads (server, both workers, and a host's, which
 * reports events) run here as fibers that change over at system calls, in the order that the input
 * chooses: so every interleaving can be had, each again and again, at the speed of one thread.
 *
 * A plain model follows the bytes: what the phones sent, which requests must therefore be queued,
 * and what each phone may be sent. Phones to which nothing bad happens are served to the last byte,
 * whatever happens to the others.
 *
 * Input: flags (enum Flag), the number of the host's answers and they themselves, then what happens
 * (enum Happening): low 4 bits; 2 bits that say to which phone or in which thread; 2 bits more.
 *
 * Under test: source/link/connection.cpp source/net/descriptor_set.cpp source/link/heartbeat.cpp
 * source/link/receive.cpp source/link/registry.cpp source/link/list.cpp
 * source/link/connection_target.cpp source/link/send.cpp source/link/tcp_server.cpp
 * source/service/events.cpp source/wire/frame.cpp source/service/lifecycle.cpp
 * source/link/queue.cpp source/methods/router.cpp source/link/work_queues.cpp
 * source/service/workers.cpp */
#include "support/fuzz_input.h"
#include "support/quiet_system.h"
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

enum Happening {
    THREAD_RUNS,    /* steps: 0 as many as it can */
    PHONE_CONNECTS, /* 1: with a small buffer, 2: and reads nothing by itself */
    PHONE_CALLS, /* size of the text / 8; 1: kept until it writes, 2: the host reports an event */
    PHONE_ASKS,  /* length, body of a request */
    PHONE_BEATS,
    PHONE_SENDS,  /* length, bytes */
    PHONE_WRITES, /* what it kept: so many bytes, 0 all */
    PHONE_READS,  /* 1: and from now on by itself, 2: from now on not by itself */
    PHONE_CLOSES,
    PHONE_SHUTS, /* writing, reading, both */
    CALL_FAILS,  /* the next ioctl, recv, send, accept: how */
    EVENT,       /* size of its data; 1: of the second kind, 2: data of 16 times the size */
    HEARTBEATS_DUE,
    TIME_PASSES, /* seconds; 1: times 10 ms, 2: the clock jumps ahead, 3: or back */
    ALL_RUN,
    SERVICE_RESTARTS,
};

const size_t MOST_HAPPENINGS = 400;

} // namespace

/* ---- What happens */

static void let_call_fail(Connection *connection, unsigned call)
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

static void pass_time(unsigned how, unsigned amount)
{
    static const int SECONDS[] = {1, 0, 0, -1};
    session.now_s += SECONDS[how] * static_cast<int>(amount);
    session.now_s += how == 2 ? 400 : 0;
    session.elapsed_ms += how == 1 ? amount * 10U : how == 0 ? amount * 1000U : 0;
    excuse_idle();
}

static void give_job(HostJob job, unsigned how)
{
    const uint8_t size = job == JOB_EVENT ? fuzz_u8(&session.input) : uint8_t{0};
    if (session.job == JOB_NONE) {
        session.job = job;
        session.event_choice = static_cast<uint8_t>(how);
        session.event_size = size;
    }
}

static void happen_to_phone(Happening what, Connection *connection, unsigned how)
{
    switch (what) {
    case PHONE_CALLS:
        make_call(connection, how, fuzz_u8(&session.input));
        break;
    case PHONE_ASKS:
        ask(connection, how);
        break;
    case PHONE_BEATS:
        send_or_keep(connection, build_frame(CP_FRAME_HEARTBEAT, {}), how);
        break;
    case PHONE_SENDS:
        send_bytes(connection, how);
        break;
    case PHONE_WRITES:
        phone_writes(connection, fuzz_u8(&session.input));
        break;
    case PHONE_READS:
        read_what_came(connection, how);
        break;
    case PHONE_CLOSES:
        phone_closes(connection);
        break;
    case PHONE_SHUTS:
        shut_phone(connection, how);
        break;
    default:
        let_call_fail(connection, how);
        break;
    }
}

static void happen_to_service(Happening what, unsigned where, unsigned how)
{
    switch (what) {
    case THREAD_RUNS:
        run_lane(static_cast<Lane>(where), fuzz_u8(&session.input));
        break;
    case PHONE_CONNECTS:
        connect_phone(where, how);
        break;
    case EVENT:
        give_job(JOB_EVENT, how);
        break;
    case HEARTBEATS_DUE:
        give_job(JOB_HEARTBEATS, how);
        break;
    case TIME_PASSES:
        pass_time(how, fuzz_u8(&session.input));
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

static void happen()
{
    const uint8_t choice = fuzz_u8(&session.input);
    const Happening what = static_cast<Happening>(choice & 15);
    const unsigned where = choice >> 4 & 3U;
    const unsigned how = choice >> 6;
    if (what < PHONE_CALLS || what > CALL_FAILS) {
        happen_to_service(what, where, how);
        return;
    }
    Connection *connection = connection_of(where);
    if (connection != nullptr) {
        happen_to_phone(what, connection, how);
    }
}

/* ---- The whole */

static void begin()
{
    fuzz_silence_log();
    session.flags = fuzz_u8(&session.input);
    session.now_s = 1000000;
    session.elapsed_ms = 1000000;
    quiet_system();
    prepare_service();
    take_system_calls();
    start_service();
}

/* Phones that did nothing until now do what they have to. */
static void serve_everything()
{
    for (Connection &connection : session.connections) {
        connection.reads = true;
        phone_reads(&connection);
        if (connection.end >= 0) {
            phone_writes(&connection, 0);
        }
    }
    for (size_t i = 0; i <= session.connections.size(); i++) { /* each pass drops one who is idle */
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
}

/* What came is what was sent, in whole frames. */
static void check_received(Connection *connection)
{
    phone_reads(connection);
    const Bytes &received = connection->received;
    const Bytes &expected = connection->expected;
    must(received.size() <= expected.size() &&
             std::equal(received.begin(), received.end(), expected.begin()),
         "a phone receives what it was sent");
    must(received.size() == expected.size() || connection->may_miss, "and all of it");
    CpSplitter *splitter = cp_splitter_new(0);
    CpFrame frame = {};
    CpStatus status = cp_splitter_feed(splitter, received.data(), received.size());
    while (status == CP_OK) {
        status = cp_splitter_next(splitter, &frame);
    }
    must(status == CP_MORE, "the control point can read it");
    must(cp_splitter_pending(splitter) == 0 || !connection->sending.empty() || connection->may_miss,
         "in whole frames");
    cp_splitter_free(splitter);
}

/* Of the numbers that the service and the phones get. */
static std::vector<int> open_descriptors()
{
    std::vector<pollfd> asked;
    for (int fd = 0; fd < 24; fd++) {
        asked.push_back({fd, 0, 0});
        asked.push_back({PHONES_FROM + fd, 0, 0});
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

static void check_rest(const std::vector<int> &before)
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
        must(connection.service < 0 && connection.waiting < 0, "every connection is closed");
    }
    must(open_descriptors() == before, "no descriptor is left");
}

static void end(const std::vector<int> &before)
{
    if ((session.flags & STOPS_IN_THE_MIDDLE) == 0) {
        serve_everything();
    }
    stop_service();
    run_all({LANE_REQUESTS, LANE_HEARTBEATS, LANE_HOST});
    for (Connection &connection : session.connections) {
        check_received(&connection);
        if (connection.end >= 0) {
            close(connection.end);
        }
    }
    restore_system_calls();
    check_rest(before);
    forget_service();
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    session = {};
    session.input = {data, size};
    const std::vector<int> before = open_descriptors();
    begin();
    for (size_t i = 0; i < MOST_HAPPENINGS && session.input.left > 0; i++) {
        happen();
    }
    end(before);
    session = {};
    return 0;
}
