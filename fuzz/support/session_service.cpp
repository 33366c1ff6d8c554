/* SPDX-License-Identifier: MIT */
#include "support/session_service.h"

#include "support/fibers.h"
#include "support/nasty_host.h"
#include "support/session_state.h"
#include "support/system_calls.h"

#include "tvlink.h"
#include "tvlink/heartbeat.h"
#include "tvlink/registry.h"
#include "tvlink/tcp_server.h"
#include "tvlink/workers.h"

#include <cstring>
#include <string>

#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>

static bool server_running = false;
static bool stop_requested = false;

/* ---- Events */

static void put_u32(Bytes *to, size_t value)
{
    for (unsigned i = 0; i < 4; i++) {
        to->push_back(static_cast<uint8_t>(value >> 8 * i));
    }
}

static void put_block(Bytes *to, uint8_t tag, const std::string &bytes)
{
    to->push_back(tag);
    put_u32(to, bytes.size());
    to->insert(to->end(), bytes.begin(), bytes.end());
}

static Bytes event_frame(unsigned number, bool two_texts, const std::string &data)
{
    Bytes payload = {static_cast<uint8_t>(number), 0x70, static_cast<uint8_t>(two_texts ? 5 : 4), 3,
                     static_cast<uint8_t>(number), 0};
    put_block(&payload, CP_TAG_STRING, "event");
    if (two_texts) {
        put_block(&payload, CP_TAG_STRING, "");
    }
    put_block(&payload, CP_TAG_BLOB, data);
    return build_frame(CP_FRAME_EVENT, payload);
}

/* In the running lane. */
static void report_event(bool two_texts, size_t size)
{
    const unsigned number = session.events++ % 256;
    const std::string data(size, static_cast<char>(number));
    const uint32_t length = static_cast<uint32_t>(size);
    const int32_t code = static_cast<int32_t>(0x7000 + number);
    const Lane lane = present_lane();
    Broadcast *broadcast = &session.broadcasts[lane];
    *broadcast = {true, event_frame(number, two_texts, data), {}, {}};
    for (const ListNode *node = g_cp_list.head; node != nullptr; node = node->next) {
        const Connection *connection = find_connection(static_cast<CtrlPoint *>(node->data)->fd);
        must(connection != nullptr, "a connection is open while it is listed");
        broadcast->recipients.push_back(index_of(connection));
    }
    const int32_t result =
        two_texts ? ipp_report_dev_event2(code, number, "event", nullptr, data.data(), length)
                  : ipp_report_dev_event(code, number, "event", data.data(), length);
    must(result == 0, "an event can be reported");
    for (const size_t i : broadcast->recipients) {
        must(contains(broadcast->delivered, i) || may_be_dropped(session.connections[i]),
             "an event goes to every phone");
    }
    *broadcast = {};
}

/* ---- The threads */

static void run_server()
{
    for (;;) {
        while (!server_running) {
            fiber_wait();
        }
        fiber_progressed();
        tcp_thread(nullptr);
        server_running = false;
    }
}

static void run_requests()
{
    devCallBackThread(nullptr);
}

static void run_heartbeats()
{
    heartBeatFeedbackThread(nullptr);
}

static void run_stopper()
{
    for (;;) {
        while (!stop_requested) {
            fiber_wait();
        }
        fiber_progressed();
        ipp_finish();
        stop_requested = false;
    }
}

static void run_host()
{
    for (;;) {
        while (session.job == JOB_NONE) {
            fiber_wait();
        }
        fiber_progressed();
        session.heartbeats_sent.clear();
        if (session.job == JOB_HEARTBEATS) {
            must(check_ctrlpoint_heart() == 0, "heartbeats can be checked");
        } else {
            const bool large = (session.event_choice & 2) != 0;
            report_event((session.event_choice & 1) != 0,
                         session.event_size * (large ? size_t{16} : size_t{1}));
        }
        session.job = JOB_NONE;
    }
}

/* At the start of the service only the server is run: the workers have lanes already, and discovery
 * is left out. A bulk thread runs at once, and no phone connects to it. */
static int create_thread(pthread_t *thread, const pthread_attr_t *, void *(*body)(void *),
                         void *argument)
{
    *thread = pthread_self();
    if (body == tcp_thread) {
        server_running = true;
    } else if (!session.starting) {
        session.transferring = true;
        body(argument);
        session.transferring = false;
    }
    return 0;
}

static int join_threads(pthread_t, void **)
{
    while (server_running) {
        fiber_wait();
    }
    fiber_progressed();
    return 0;
}

/* ---- The host */

/* Answers a call with its own text. */
static int echo(char *answer, const char *request)
{
    must(session.requests.serving.front().run == session.run, "a past run's requests are dropped");
    if (strlen(request) >= IPP_RPC_ANSWER_SIZE) {
        return 0;
    }
    if (request[0] == '!') {
        report_event(false, 1);
    }
    memcpy(answer, request, strlen(request) + 1);
    return 1;
}

static int admit(uint32_t peer_addr, void *)
{
    return (session.flags & REFUSES_LAST_PHONE) == 0 || peer_addr != 3;
}

static void set_guard()
{
    IppGuard guard = {};
    guard.on_bad_tag = IPP_BAD_TAG_REFUSE;
    guard.send_backlog_bytes = backlog_bound();
    if ((session.flags & GUARDED) != 0) {
        guard.max_frame_length = GUARDED_FRAME;
        guard.max_ctrlpoints = GUARDED_PHONES;
        guard.send_stall_ms = GUARDED_STALL_MS;
        guard.max_captures = 1;
        guard.admit = admit;
    }
    ipp_set_guard(&guard);
}

void prepare_service()
{
    static void (*const BODIES[LANE_COUNT])() = {run_server, run_requests, run_heartbeats, run_host,
                                                 run_stopper};
    make_lanes(BODIES);
    const size_t answers = fuzz_u8(&session.input);
    nasty_host_register(fuzz_part(&session.input, answers), SIZE_MAX);
    if ((session.flags & WITHOUT_TABLE) != 0) {
        register_tv_method(nullptr);
    }
    tv_ippRpcFunSet = echo;
    ipp_set_log_dumps((session.flags & WITH_DUMPS) != 0);
    set_guard();
    replace<create_thread>(system_pthread_create);
    replace<join_threads>(system_pthread_join);
}

void reset_service()
{
    ipp_set_log_dumps(0);
    tv_ippRpcFunSet = nullptr;
    nasty_host_withdraw();
    ipp_set_guard(nullptr);
}

/* ---- Start and stop */

void start_service()
{
    int ends[2];
    must(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) == 0, "there are descriptors");
    session.listener = ends[0];
    session.listener_peer = fcntl(ends[1], F_DUPFD_CLOEXEC, FIRST_PHONE_FD);
    close(ends[1]);
    session.run++;
    session.starting = true;
    must(ipp_init(1, "name", "serial") == IPP_OK, "the service starts");
    session.starting = false;
}

static void close_pending()
{
    for (const size_t number : session.accept_queue) {
        close(session.connections[number].pending_fd);
        session.connections[number].pending_fd = -1;
    }
    session.accept_queue.clear();
}

/* Workers and host run only while the stop depends on them, so that work remains in the queues. */
void stop_service()
{
    session.stopping = true;
    stop_requested = true;
    for (unsigned round = 0; stop_requested; round++) {
        must(round < MAX_ROUNDS, "the service stops");
        run_all({LANE_STOPPER, LANE_SERVER});
        if (stop_requested) {
            run_lane(LANE_REQUESTS, 1);
            run_lane(LANE_HEARTBEATS, 1);
            run_lane(LANE_HOST, 1);
        }
    }
    must(g_cp_list.count == 0 && g_tcp_sock == -1, "nothing is left of a service that has stopped");
    for (Connection &connection : session.connections) {
        must(connection.dropped || connection.service_fd < 0, "every connection is dropped");
        connection.may_drop = true;
    }
    close_pending();
    close(session.listener_peer);
    session.stopping = false;
}
