/* Whole conversations: up to four phones, connected by socket pairs, with the whole service from
 * ipp_init to ipp_finish. The bodies of its own threads (server, both workers, and a host's, which
 * reports events) run here as fibers that change over at system calls, in the order that the input
 * chooses: so every interleaving can be had, each again and again, at the speed of one thread.
 *
 * A plain model follows the bytes: what the phones sent, which requests must therefore be queued,
 * and what each phone may be sent. Phones to which nothing bad happens are served to the last byte,
 * whatever happens to the others.
 *
 * Input: flags (below), the number of the host's answers and they themselves, then what happens
 * (enum Happening): low 4 bits; 2 bits that say to which phone or in which thread; 2 bits more.
 *
 * Under test: source/tcp/connection.cpp source/tcp/descriptor_set.cpp source/tcp/heartbeat.cpp
 * source/tcp/receive.cpp source/tcp/registry.cpp source/tcp/registry_gate.cpp source/tcp/reply.cpp
 * source/tcp/tcp_server.cpp source/core/events.cpp source/core/frame.cpp source/core/lifecycle.cpp
 * source/core/queue.cpp source/core/router.cpp source/core/work_queues.cpp
 * source/core/workers.cpp */
#include "support/fibers.h"
#include "support/fuzz_input.h"
#include "support/nasty_host.h"
#include "support/system_calls.h"

#include "controlpoint.h"
#include "tvlink.h"
#include "tvlink/flags.h"
#include "tvlink/heartbeat.h"
#include "tvlink/registry.h"
#include "tvlink/tcp_server.h"
#include "tvlink/workers.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <deque>
#include <string>

#include <fcntl.h>
#include <netinet/in.h>
#include <poll.h>
#include <unistd.h>

namespace
{

using Bytes = std::vector<uint8_t>;

enum Flag {
    GUARDED = 1,
    BARS_LAST_PHONE = 2,
    WITHOUT_TABLE = 4,
    WITH_DUMPS = 8,
    STOPS_IN_THE_MIDDLE = 16, /* otherwise everything is served first */
};

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

enum Lane {
    LANE_SERVER,
    LANE_REQUESTS,
    LANE_HEARTBEATS,
    LANE_HOST,
    LANE_STOPPER,
    LANE_COUNT,
};

/* What the next system call on a connection does, and to how many bytes. */
struct Fault {
    bool set;
    uint8_t value;
};

/* What went wrong before the bytes could be moved. */
enum FaultKind {
    FAULT_SHORT, /* fewer bytes */
    FAULT_EINTR,
    FAULT_EAGAIN,
    FAULT_RESET,
    FAULT_PIPE,
    FAULT_KINDS,
};

/* One connection of one phone, and what the model knows of it. */
struct Connection {
    unsigned phone;
    int end;                    /* the phone's; -1 once it has closed */
    int waiting;                /* the service's, until it is accepted */
    int service;                /* the same afterwards, until it is closed */
    bool reads;                 /* the phone takes what comes at once */
    bool may_miss;              /* it may have left bytes unread */
    bool registered;            /* accepted, and not shut down or refused yet */
    bool excused;               /* there is a reason to drop it */
    bool must_go;               /* and it must be */
    bool shut;                  /* the service has dropped it */
    unsigned calls;             /* how many string calls the phone has made */
    Bytes outbox;               /* the phone has not written it yet */
    Bytes arrived;              /* received, not split yet */
    std::deque<Bytes> requests; /* split, not queued yet */
    size_t heartbeats;          /* the same */
    Bytes sending;              /* the rest of the frame that is being sent */
    size_t frame_size;          /* all of it */
    Lane sender;
    bool given_up; /* no more of that frame is sent */
    uint64_t waits_since_ms;
    Bytes expected; /* handed to the system for this phone */
    Bytes received;
    Fault ioctl_fault;
    Fault recv_fault;
    Fault send_fault;
};

/* An item of a work queue. */
struct Item {
    size_t connection;
    Bytes body;
    unsigned run;
    bool answered;
};

struct WorkModel {
    std::deque<Item> waiting;
    std::deque<Item> serving; /* one at most */
    size_t most_waiting;      /* since the server received last */
};

/* An event, while a thread reports it. */
struct Broadcast {
    bool on;
    Bytes frame;
    std::vector<size_t> due;
    std::vector<size_t> told;
};

enum HostJob {
    JOB_NONE,
    JOB_EVENT,
    JOB_HEARTBEATS,
};

struct Session {
    FuzzInput input;
    uint8_t flags;
    std::deque<Connection> connections; /* in the order in which they were made */
    std::deque<size_t> accept_queue;
    int listener;
    int knock; /* the other end: a byte for each phone that waits */
    unsigned run;
    bool starting;
    bool stopping;
    bool transferring;
    time_t now_s;
    uint64_t elapsed_ms;
    WorkModel requests;
    WorkModel heartbeats;
    Broadcast broadcasts[LANE_COUNT];
    std::vector<size_t> beaten; /* by the check that is running */
    uint8_t accept_fault;
    HostJob job;
    uint8_t event_choice;
    uint8_t event_size;
    unsigned events;
};

const size_t MOST_CONNECTIONS = 16;
const size_t MOST_HAPPENINGS = 400;
const unsigned ALL_STEPS = 1000000;
const unsigned MOST_ROUNDS = 100000;
const uint32_t GUARDED_FRAME = 1024;
const uint32_t GUARDED_PHONES = 3;
const uint32_t GUARDED_STALL_MS = 2000;
const size_t QUEUE_ROOM = 49;
const int PHONES_FROM = 200; /* descriptors: the lower ones are the service's */

Session session;
Fiber *fibers[LANE_COUNT];
bool server_wanted = false;
bool stop_wanted = false;

} // namespace

/* ---- Small things */

static Lane present_lane()
{
    for (unsigned lane = 0; lane < LANE_COUNT; lane++) {
        if (fiber_current() == fibers[lane]) {
            return static_cast<Lane>(lane);
        }
    }
    must(false, "only threads of the service wait and work");
    return LANE_COUNT;
}

static bool contains(const std::vector<size_t> &list, size_t number)
{
    return std::find(list.begin(), list.end(), number) != list.end();
}

/* Null for a number that is none of a connection. */
static Connection *find_connection(int fd)
{
    const auto found =
        std::find_if(session.connections.begin(), session.connections.end(),
                     [&](const Connection &connection) { return connection.service == fd; });
    return fd < 0 || found == session.connections.end() ? nullptr : &*found;
}

static size_t number_of(const Connection *connection)
{
    size_t number = 0;
    while (&session.connections[number] != connection) {
        number++;
    }
    return number;
}

static bool is_excused(const Connection &connection)
{
    return connection.excused || connection.shut || session.stopping;
}

static size_t registered_count()
{
    return static_cast<size_t>(
        std::count_if(session.connections.begin(), session.connections.end(),
                      [](const Connection &connection) { return connection.registered; }));
}

static bool is_barred(const Connection &connection)
{
    return (session.flags & GUARDED) != 0 && (session.flags & BARS_LAST_PHONE) != 0 &&
           connection.phone == 3;
}

/* The latest connection of a phone, while the phone has not closed it. */
static Connection *connection_of(unsigned phone)
{
    const auto found =
        std::find_if(session.connections.rbegin(), session.connections.rend(),
                     [&](const Connection &connection) { return connection.phone == phone; });
    return found == session.connections.rend() || found->end < 0 ? nullptr : &*found;
}

static Bytes bytes_of(CpBytes bytes)
{
    return bytes.size == 0 ? Bytes() : Bytes(bytes.data, bytes.data + bytes.size);
}

static Bytes take_buffer(CpBuffer *buffer)
{
    const Bytes bytes = bytes_of({buffer->data, buffer->size});
    cp_buffer_free(buffer);
    return bytes;
}

static Bytes build_frame(uint8_t type, const Bytes &payload)
{
    CpBuffer frame = {};
    must(cp_build_frame(&frame, type, payload.data(), payload.size()) == CP_OK,
         "there is memory for a frame");
    return take_buffer(&frame);
}

static void append(Bytes *to, const Bytes &bytes)
{
    to->insert(to->end(), bytes.begin(), bytes.end());
}

static uint32_t load_length(const Bytes &stream)
{
    return static_cast<uint32_t>(stream[3]) | static_cast<uint32_t>(stream[4]) << 8 |
           static_cast<uint32_t>(stream[5]) << 16 | static_cast<uint32_t>(stream[6]) << 24;
}

/* ---- The model of receiving */

static void model_frame(Connection *connection, const Bytes &frame)
{
    if (frame.size() < 72 || frame[0] != 0xA5 || frame[1] != 0xA5) {
        return;
    }
    if (frame[50] == CP_FRAME_HEARTBEAT) {
        connection->heartbeats++;
    } else {
        connection->requests.emplace_back(frame.begin() + 50, frame.end() - 21);
    }
}

static void model_split(Connection *connection)
{
    Bytes &stream = connection->arrived;
    while (stream.size() >= 7) {
        const size_t size = load_length(stream);
        if ((session.flags & GUARDED) != 0 && size > GUARDED_FRAME) {
            connection->excused = true;
            connection->must_go = true;
            return;
        }
        if (size == 0) {
            stream.clear();
        }
        if (size > stream.size() || size == 0) {
            return;
        }
        const auto end = stream.begin() + static_cast<ptrdiff_t>(size);
        model_frame(connection, Bytes(stream.begin(), end));
        stream.erase(stream.begin(), end);
    }
}

/* The server has done with what it received last: all is queued that could be. */
static void model_received()
{
    for (Connection &connection : session.connections) {
        model_split(&connection);
        must(connection.requests.empty() || session.requests.most_waiting >= QUEUE_ROOM ||
                 session.stopping,
             "a request is refused when the queue is full, and only then");
        must(connection.heartbeats == 0 || session.heartbeats.most_waiting >= QUEUE_ROOM ||
                 session.stopping,
             "so is a heartbeat");
        connection.requests.clear();
        connection.heartbeats = 0;
        must(!connection.must_go || connection.shut || connection.service < 0,
             "who announces too much is dropped");
    }
    session.requests.most_waiting = session.requests.waiting.size();
    session.heartbeats.most_waiting = session.heartbeats.waiting.size();
}

/* ---- The model of the queues */

static const CtrlPoint *newest_item(const Queue *queue)
{
    const int32_t at = (queue->rear + queue->capacity - 1) % queue->capacity;
    return static_cast<const CtrlPoint *>(queue->items[at]);
}

static void add_item(WorkModel *work, const Connection *connection, const Bytes &body)
{
    work->waiting.push_back({number_of(connection), body, session.run, false});
    work->most_waiting = std::max(work->most_waiting, work->waiting.size());
    must(work->waiting.size() <= QUEUE_ROOM, "no more wait than there is room for");
}

static void request_queued(Connection *connection, const CtrlPoint *item)
{
    const Bytes body(item->rx_buf, item->rx_buf + item->rx_cap);
    while (!connection->requests.empty() && connection->requests.front() != body) {
        must(session.requests.most_waiting >= QUEUE_ROOM, "requests are queued in their order");
        connection->requests.pop_front();
    }
    must(!connection->requests.empty(), "what is queued has been sent by this phone");
    connection->requests.pop_front();
    add_item(&session.requests, connection, body);
}

static void heartbeat_queued(Connection *connection)
{
    must(connection->heartbeats > 0, "a heartbeat that is queued has been sent by this phone");
    connection->heartbeats--;
    add_item(&session.heartbeats, connection, {});
}

static void item_posted(const sem_t *items)
{
    const bool request = items == &devCallBackSem;
    const CtrlPoint *item = newest_item(request ? devCallBackQueue : heartBeatFeedbackQueue);
    Connection *connection = find_connection(item->fd);
    must(connection != nullptr, "an item keeps its connection open");
    model_split(connection);
    if (request) {
        request_queued(connection, item);
    } else {
        heartbeat_queued(connection);
    }
}

static bool is_call(const Bytes &body)
{
    return body.size() > 8 && body[0] == CP_FRAME_RPC && body[1] == 0x04 && body[2] == 0x50 &&
           body[4] + 256U * body[5] == body.size() - 6 && (body[6] == '#' || body[6] == '!');
}

static bool is_listed(const Connection &connection)
{
    int32_t fd = connection.service;
    return fd >= 0 && !session.stopping && list_find(&g_cp_list, ctrlpoint_match_fd, &fd) != 0;
}

static void finish_item(WorkModel *work)
{
    if (work->serving.empty()) {
        return;
    }
    const Item &item = work->serving.front();
    const bool wants_answer = work == &session.heartbeats || is_call(item.body);
    must(item.answered || !wants_answer || item.run != session.run ||
             is_excused(session.connections[item.connection]),
         "what can be answered is");
    const Connection &connection = session.connections[item.connection];
    must(!connection.given_up || !is_listed(connection), "who cannot be sent to is dropped");
    work->serving.clear();
}

static void item_taken(const sem_t *items)
{
    WorkModel *work = items == &devCallBackSem ? &session.requests : &session.heartbeats;
    finish_item(work);
    must(!work->waiting.empty(), "what is served was queued");
    work->serving.push_back(work->waiting.front());
    work->waiting.pop_front();
}

/* ---- The model of sending */

static void check_code(const Bytes &body, CpBytes payload, uint8_t type)
{
    CpSetReply set = {};
    CpGetReply get = {};
    const bool long_enough = body.size() >= 4;
    const unsigned set_code = long_enough ? body[1] + 256U * body[2] : 0;
    const unsigned get_code = long_enough ? body[2] + 256U * body[3] : 0;
    if (type == CP_FRAME_SET_REPLY) {
        must(cp_decode_set_reply(payload, &set) == CP_OK, "a set reply can be read");
        must(body[0] == CP_FRAME_SET && (!long_enough || set.code == set_code),
             "a set reply is that to the request");
    } else if (body[0] == CP_FRAME_SET) {
        must(set_code == 0x4008, "one set request is answered like a get request");
    } else if (body.size() > 1 && body[1] != 0) {
        must(cp_decode_get_reply(payload, &get) == CP_OK, "a get reply can be read");
        must(get.code == get_code || (get_code == 0x4021 && get.code == 0x200F),
             "a get reply is that to the request");
    }
}

static void check_call(const Bytes &body, CpBytes payload)
{
    CpRpcReply reply = {};
    must(body[0] == CP_FRAME_RPC, "who calls is answered");
    must(cp_decode_rpc_reply(payload, &reply) == CP_OK, "an answer to a call can be read");
    must(!is_call(body) || bytes_of(reply.text) == Bytes(body.begin() + 6, body.end()),
         "the answer is that to the call");
}

static void check_reply(const Connection *connection, const CpFrame &frame)
{
    must(!session.requests.serving.empty(), "the worker answers requests");
    Item &item = session.requests.serving.front();
    must(item.connection == number_of(connection), "a reply goes to the phone that asked");
    must(!item.answered, "a request has one reply");
    must(item.run == session.run || connection->shut, "nobody is answered in a later run");
    item.answered = true;
    if (frame.type == CP_FRAME_RPC_REPLY) {
        check_call(item.body, frame.payload);
    } else {
        must(frame.type == CP_FRAME_GET_REPLY || frame.type == CP_FRAME_SET_REPLY,
             "a reply has the type of one");
        check_code(item.body, frame.payload, frame.type);
    }
}

static void check_heartbeat(const Connection *connection, Lane lane, const CpFrame &frame)
{
    must(frame.type == CP_FRAME_HEARTBEAT && cp_decode_heartbeat(frame.payload) == CP_OK,
         "a heartbeat is one");
    const size_t number = number_of(connection);
    if (lane == LANE_HOST) {
        must(session.job == JOB_HEARTBEATS && !contains(session.beaten, number),
             "one heartbeat goes to each phone");
        session.beaten.push_back(number);
        return;
    }
    must(!session.heartbeats.serving.empty(), "the worker answers heartbeats");
    Item &item = session.heartbeats.serving.front();
    must(item.connection == number && !item.answered,
         "a heartbeat goes to the phone that sent one");
    item.answered = true;
}

static void check_event(const Connection *connection, Broadcast *broadcast, const Bytes &frame)
{
    must(broadcast->on && frame == broadcast->frame, "an event is that which is reported");
    must(!contains(broadcast->told, number_of(connection)), "each phone is told once");
    broadcast->told.push_back(number_of(connection));
}

static void frame_begins(Connection *connection, Lane lane, const Bytes &bytes)
{
    CpSplitter *splitter = cp_splitter_new(0);
    CpFrame frame = {};
    must(cp_splitter_feed(splitter, bytes.data(), bytes.size()) == CP_OK,
         "there is memory for a reply");
    must(cp_splitter_next(splitter, &frame) == CP_OK && cp_splitter_pending(splitter) == 0,
         "one whole frame is sent");
    if (frame.type == CP_FRAME_EVENT) {
        check_event(connection, &session.broadcasts[lane], bytes);
    } else if (lane == LANE_REQUESTS) {
        check_reply(connection, frame);
    } else {
        check_heartbeat(connection, lane, frame);
    }
    cp_splitter_free(splitter);
    connection->sending = bytes;
    connection->frame_size = bytes.size();
    connection->sender = lane;
    connection->given_up = false;
    connection->waits_since_ms = 0;
}

/* What is offered to the system: the rest of the frame, or a new one. */
static void check_offered(Connection *connection, const Bytes &bytes)
{
    const Lane lane = present_lane();
    if (connection->sender == lane && connection->sending == bytes && !bytes.empty()) {
        must(!connection->given_up, "a frame is given up when there is a reason");
        return;
    }
    must(connection->sending.empty() || connection->sending.size() == connection->frame_size ||
             connection->shut,
         "a frame that was begun is followed by its rest, or by nothing");
    frame_begins(connection, lane, bytes);
}

/* ---- The phones */

static void phone_reads(Connection *connection)
{
    uint8_t bytes[4096];
    ssize_t count = 0;
    while (connection->end >= 0 && (count = recvfrom(connection->end, bytes, sizeof bytes,
                                                     MSG_DONTWAIT, nullptr, nullptr)) > 0) {
        connection->received.insert(connection->received.end(), bytes, bytes + count);
    }
}

static void phone_writes(Connection *connection, size_t size)
{
    Bytes &outbox = connection->outbox;
    const size_t wanted = size == 0 ? outbox.size() : std::min(size, outbox.size());
    const ssize_t count =
        sendto(connection->end, outbox.data(), wanted, MSG_DONTWAIT | MSG_NOSIGNAL, nullptr, 0);
    if (count > 0) {
        outbox.erase(outbox.begin(), outbox.begin() + count);
    }
}

static void phone_closes(Connection *connection)
{
    connection->excused = true;
    connection->may_miss = true;
    close(connection->end);
    connection->end = -1;
}

/* ---- System calls of the service */

static void step()
{
    if (fiber_current() != nullptr) {
        fiber_step();
    }
}

static ssize_t fail(int reason)
{
    errno = reason;
    return -1;
}

static Fault take_fault(Fault *fault)
{
    const Fault taken = *fault;
    *fault = {};
    return taken;
}

/* Before bytes are moved: -1 and errno, or 0 and perhaps fewer bytes. */
static ssize_t apply(const Fault &fault, size_t *size)
{
    static const int REASONS[] = {0, EINTR, EAGAIN, ECONNRESET, EPIPE};
    if (!fault.set) {
        return 0;
    }
    const unsigned kind = fault.value % FAULT_KINDS;
    if (kind != FAULT_SHORT) {
        return fail(REASONS[kind]);
    }
    *size = std::min<size_t>(*size, fault.value / FAULT_KINDS + 1U);
    return 0;
}

static int call_bytes_arriving(int fd, int *count)
{
    model_received();
    step();
    Connection *connection = find_connection(fd);
    must(connection != nullptr, "the server looks at connections");
    const Fault fault = take_fault(&connection->ioctl_fault);
    if (fault.set && fault.value == 0) {
        connection->excused = true;
        return static_cast<int>(fail(EIO));
    }
    const int result = real_bytes_arriving(fd, count);
    if (fault.set) {
        *count = std::min<int>(*count, fault.value);
    }
    return result;
}

static ssize_t call_recv(int fd, void *data, size_t size)
{
    step();
    Connection *connection = find_connection(fd);
    must(connection != nullptr, "the server receives from connections");
    if (apply(take_fault(&connection->recv_fault), &size) != 0) {
        return -1;
    }
    const ssize_t count = recvfrom(fd, data, size, MSG_DONTWAIT, nullptr, nullptr);
    if (count > 0) {
        const uint8_t *bytes = static_cast<const uint8_t *>(data);
        connection->arrived.insert(connection->arrived.end(), bytes, bytes + count);
    } else if (count < 0 && errno == EAGAIN) {
        fiber_wait();
    }
    return count;
}

/* The service waits with a frame, perhaps for too long. */
static ssize_t no_room(Connection *connection, int reason)
{
    if (connection->waits_since_ms == 0) {
        connection->waits_since_ms = session.elapsed_ms;
    }
    if ((session.flags & GUARDED) != 0 &&
        session.elapsed_ms - connection->waits_since_ms >= GUARDED_STALL_MS) {
        connection->excused = true;
        connection->given_up = true;
    }
    return fail(reason);
}

static ssize_t not_sent(Connection *connection, int reason)
{
    if (reason == EAGAIN || reason == EINTR) {
        return no_room(connection, reason);
    }
    connection->excused = true;
    connection->given_up = true;
    return fail(reason);
}

static ssize_t call_send(int fd, const void *data, size_t size)
{
    step();
    Connection *connection = find_connection(fd);
    must(connection != nullptr, "what is sent goes to a connection");
    const uint8_t *bytes = static_cast<const uint8_t *>(data);
    check_offered(connection, Bytes(bytes, bytes + size));
    if (apply(take_fault(&connection->send_fault), &size) != 0) {
        return not_sent(connection, errno);
    }
    const ssize_t count = sendto(fd, data, size, MSG_DONTWAIT | MSG_NOSIGNAL, nullptr, 0);
    if (count < 0) {
        must(errno == EAGAIN || is_excused(*connection), "a send fails when there is a reason");
        return not_sent(connection, errno);
    }
    Bytes &sending = connection->sending;
    connection->expected.insert(connection->expected.end(), bytes, bytes + count);
    sending.erase(sending.begin(), sending.begin() + count);
    connection->waits_since_ms = 0;
    if (connection->reads) {
        phone_reads(connection);
    }
    return count;
}

static int readable_now(int count, unsigned long *words)
{
    const timespec at_once = {};
    const int ready =
        pselect(count, reinterpret_cast<fd_set *>(words), nullptr, nullptr, &at_once, nullptr);
    if (ready > 0) {
        fiber_step();
    }
    return ready;
}

/* Waits only when nothing can be read, and then once: its time may be over. */
static int call_select(int count, fd_set *readable)
{
    model_received();
    must((session.flags & GUARDED) == 0 || registered_count() <= GUARDED_PHONES,
         "there are no more phones than the guard allows");
    unsigned long *words = reinterpret_cast<unsigned long *>(readable);
    const size_t word_bits = sizeof *words * 8;
    const size_t word_count = (static_cast<size_t>(count) + word_bits - 1) / word_bits;
    const std::vector<unsigned long> watched(words, words + word_count);
    const int ready = readable_now(count, words);
    if (ready != 0) {
        return ready;
    }
    for (const Connection &connection : session.connections) {
        must(!is_barred(connection) || !connection.registered, "who is not admitted is refused");
    }
    fiber_wait();
    std::copy(watched.begin(), watched.end(), words);
    return readable_now(count, words);
}

static int call_accept(sockaddr *from)
{
    if (session.transferring) {
        return static_cast<int>(fail(EINVAL));
    }
    step();
    uint8_t knock = 0;
    if (session.accept_fault != 0) {
        static const int REASONS[] = {EMFILE, ECONNABORTED, EINTR, ENOMEM};
        const int reason = REASONS[session.accept_fault % 4];
        session.accept_fault = 0;
        return static_cast<int>(fail(reason));
    }
    if (session.accept_queue.empty() || read(session.listener, &knock, 1) != 1) {
        return static_cast<int>(fail(EAGAIN));
    }
    Connection &connection = session.connections[session.accept_queue.front()];
    session.accept_queue.pop_front();
    connection.service = fcntl(connection.waiting, F_DUPFD_CLOEXEC, 0);
    close(connection.waiting);
    connection.waiting = -1;
    connection.registered = true;
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = connection.phone;
    memcpy(from, &address, sizeof address);
    return connection.service;
}

static void call_shutdown(int fd)
{
    Connection *connection = find_connection(fd);
    if (connection != nullptr) {
        if (present_lane() == LANE_SERVER) {
            model_split(connection); /* what it announces may be the reason */
        }
        must(is_excused(*connection), "who has given no reason is not dropped");
        connection->registered = false;
        connection->shut = true;
    }
}

/* The connection was refused, or it is over. */
static void call_close(int fd)
{
    must(fiber_current() == nullptr || fcntl(fd, F_GETFD) >= 0, "nothing is closed twice");
    Connection *connection = find_connection(fd);
    if (connection == nullptr) {
        return;
    }
    if (!connection->shut) {
        connection->registered = false;
        must(is_barred(*connection) || session.stopping ||
                 ((session.flags & GUARDED) != 0 && registered_count() >= GUARDED_PHONES),
             "a connection is refused with a reason, or shut down before it is closed");
        connection->excused = true;
        connection->shut = true;
    }
    connection->service = -1;
}

static void call_usleep()
{
    if (fiber_current() != nullptr) {
        fiber_step();
        fiber_wait();
    }
}

static int call_socket()
{
    return session.listener;
}

static int call_listen()
{
    return 0;
}

/* Of the socket for a picture: always the same, since phones are told. */
static int call_getsockname(sockaddr *name)
{
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_port = htons(40000);
    memcpy(name, &address, sizeof address);
    return 0;
}

static time_t call_seconds()
{
    return session.now_s;
}

static timespec call_elapsed()
{
    timespec now = {};
    now.tv_sec = static_cast<time_t>(session.elapsed_ms / 1000);
    now.tv_nsec = static_cast<long>(session.elapsed_ms % 1000 * 1000000);
    return now;
}

/* ---- The threads */

static void run_server()
{
    for (;;) {
        while (!server_wanted) {
            fiber_wait();
        }
        fiber_go_on();
        tcp_thread(nullptr);
        server_wanted = false;
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
        while (!stop_wanted) {
            fiber_wait();
        }
        fiber_go_on();
        ipp_finish();
        stop_wanted = false;
    }
}

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

/* By whichever thread this is. */
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
        broadcast->due.push_back(number_of(connection));
    }
    const int32_t result =
        two_texts ? ipp_report_dev_event2(code, number, "event", nullptr, data.data(), length)
                  : ipp_report_dev_event(code, number, "event", data.data(), length);
    must(result == 0, "an event can be reported");
    for (const size_t i : broadcast->due) {
        must(contains(broadcast->told, i) || is_excused(session.connections[i]),
             "an event goes to every phone");
    }
    *broadcast = {};
}

static void run_host()
{
    for (;;) {
        while (session.job == JOB_NONE) {
            fiber_wait();
        }
        fiber_go_on();
        session.beaten.clear();
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

/* The workers are here already, and discovery has nothing to do. For a picture nobody comes. */
static int create_thread(void *(*body)(void *), void *argument)
{
    if (body == tcp_thread) {
        server_wanted = true;
    } else if (!session.starting) {
        session.transferring = true;
        body(argument);
        session.transferring = false;
    }
    return 0;
}

static int join_threads()
{
    while (server_wanted) {
        fiber_wait();
    }
    fiber_go_on();
    return 0;
}

static void make_fibers()
{
    static void (*const BODIES[LANE_COUNT])() = {run_server, run_requests, run_heartbeats, run_host,
                                                 run_stopper};
    for (unsigned lane = 0; lane < LANE_COUNT && fibers[LANE_STOPPER] == nullptr; lane++) {
        fibers[lane] = fiber_new(BODIES[lane]);
    }
}

/* Until all of these threads wait. */
static void run_all(std::initializer_list<Lane> lanes)
{
    bool got_on = true;
    for (unsigned round = 0; got_on; round++) {
        must(round < MOST_ROUNDS, "the service comes to rest");
        got_on = false;
        for (const Lane lane : lanes) {
            got_on = fiber_run(fibers[lane], ALL_STEPS) || got_on;
        }
    }
}

/* ---- The service */

/* The answer to a call is the call. */
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
    return (session.flags & BARS_LAST_PHONE) == 0 || peer_addr != 3;
}

static void set_guard()
{
    IppGuard guard = {};
    guard.on_bad_tag = IPP_BAD_TAG_REFUSE;
    if ((session.flags & GUARDED) != 0) {
        guard.max_frame_length = GUARDED_FRAME;
        guard.max_ctrlpoints = GUARDED_PHONES;
        guard.send_stall_ms = GUARDED_STALL_MS;
        guard.max_captures = 1;
        guard.admit = admit;
    }
    ipp_set_guard(&guard);
}

static void start_service()
{
    int ends[2];
    must(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) == 0, "there are descriptors");
    session.listener = ends[0];
    session.knock = fcntl(ends[1], F_DUPFD_CLOEXEC, PHONES_FROM);
    close(ends[1]);
    session.run++;
    session.starting = true;
    system_calls.socket = call_socket;
    system_calls.listen = call_listen;
    must(ipp_init(1, "name", "serial") == IPP_OK, "the service starts");
    system_calls.socket = nullptr;
    system_calls.listen = nullptr;
    session.starting = false;
}

static void forget_waiting()
{
    for (const size_t number : session.accept_queue) {
        close(session.connections[number].waiting);
        session.connections[number].waiting = -1;
    }
    session.accept_queue.clear();
}

/* Workers and host run only when nothing else brings the stop on, so that work is left over. */
static void stop_service()
{
    session.stopping = true;
    stop_wanted = true;
    for (unsigned round = 0; stop_wanted; round++) {
        must(round < MOST_ROUNDS, "the service stops");
        run_all({LANE_STOPPER, LANE_SERVER});
        if (stop_wanted) {
            fiber_run(fibers[LANE_REQUESTS], 1);
            fiber_run(fibers[LANE_HEARTBEATS], 1);
            fiber_run(fibers[LANE_HOST], 1);
        }
    }
    must(g_cp_list.count == 0 && g_tcp_sock == -1, "nothing is left of a service that has stopped");
    for (Connection &connection : session.connections) {
        must(connection.shut || connection.service < 0, "every connection is dropped");
        connection.excused = true;
    }
    forget_waiting();
    close(session.knock);
    session.stopping = false;
}

/* ---- What happens */

static void connect_phone(unsigned phone, unsigned how)
{
    int ends[2];
    if (connection_of(phone) != nullptr || session.connections.size() == MOST_CONNECTIONS) {
        return;
    }
    must(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) == 0, "there are descriptors");
    if ((how & 1) != 0) {
        const int small = 1;
        setsockopt(ends[0], SOL_SOCKET, SO_SNDBUF, &small, sizeof small);
    }
    Connection connection = {};
    connection.phone = phone;
    connection.waiting = fcntl(ends[0], F_DUPFD_CLOEXEC, PHONES_FROM);
    connection.end = fcntl(ends[1], F_DUPFD_CLOEXEC, PHONES_FROM);
    connection.service = -1;
    connection.reads = (how & 2) == 0;
    close(ends[0]);
    close(ends[1]);
    session.accept_queue.push_back(session.connections.size());
    session.connections.push_back(connection);
    must(write(session.knock, "", 1) == 1, "a phone can wait");
}

static void send_or_keep(Connection *connection, const Bytes &bytes, unsigned how)
{
    append(&connection->outbox, bytes);
    if ((how & 1) == 0) {
        phone_writes(connection, 0);
    }
}

static void make_call(Connection *connection, unsigned how, size_t size)
{
    const unsigned number = connection->calls++;
    std::string text = (how & 2) != 0 ? "!" : "#";
    text += static_cast<char>('A' + number_of(connection));
    text += std::to_string(number);
    text.append(size * 8, static_cast<char>('a' + number % 26));
    CpBuffer payload = {};
    must(cp_build_string_rpc(&payload, cp_text(text.c_str())) == CP_OK,
         "there is memory for a call");
    send_or_keep(connection, build_frame(CP_FRAME_RPC, take_buffer(&payload)), how);
}

static void ask(Connection *connection, unsigned how)
{
    const size_t length = fuzz_u8(&session.input);
    const FuzzInput body = fuzz_part(&session.input, length);
    if (body.left > 0) {
        send_or_keep(connection, build_frame(body.at[0], Bytes(body.at + 1, body.at + body.left)),
                     how);
    }
}

static void send_bytes(Connection *connection, unsigned how)
{
    const size_t length = fuzz_u8(&session.input);
    const FuzzInput bytes = fuzz_part(&session.input, length);
    send_or_keep(connection, Bytes(bytes.at, bytes.at + bytes.left), how);
}

static void read_what_came(Connection *connection, unsigned how)
{
    connection->reads = (how & 1) != 0 || ((how & 2) == 0 && connection->reads);
    phone_reads(connection);
}

static void shut_phone(Connection *connection, unsigned how)
{
    static const int HOWS[] = {SHUT_WR, SHUT_RD, SHUT_RDWR, SHUT_WR};
    connection->excused = true;
    connection->may_miss = true;
    shutdown(connection->end, HOWS[how]);
}

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

/* By the time in its record, which may be made some time after it was accepted. */
static bool is_idle(const Connection &connection)
{
    int32_t fd = connection.service;
    const CtrlPoint *record =
        fd < 0 ? nullptr : static_cast<CtrlPoint *>(list_get(&g_cp_list, ctrlpoint_match_fd, &fd));
    const int64_t age = record == nullptr ? 0 : int64_t{session.now_s} - record->last_active;
    return age >= 31 && age < 300;
}

static void excuse_idle()
{
    for (Connection &connection : session.connections) {
        connection.excused = connection.excused || is_idle(connection);
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
    case THREAD_RUNS: {
        const unsigned steps = fuzz_u8(&session.input);
        fiber_run(fibers[where], steps == 0 ? ALL_STEPS : steps);
        break;
    }
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
            fiber_run(fibers[lane], ALL_STEPS);
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
    make_fibers();
    session.flags = fuzz_u8(&session.input);
    session.now_s = 1000000;
    session.elapsed_ms = 1000000;
    const size_t answers = fuzz_u8(&session.input);
    nasty_host_register(fuzz_part(&session.input, answers), SIZE_MAX);
    if ((session.flags & WITHOUT_TABLE) != 0) {
        register_tv_method(nullptr);
    }
    tv_ippRpcFunSet = echo;
    ipp_set_log_dumps((session.flags & WITH_DUMPS) != 0);
    set_guard();
    system_calls = {};
    system_calls.recv = call_recv;
    system_calls.send = call_send;
    system_calls.bytes_arriving = call_bytes_arriving;
    system_calls.select = call_select;
    system_calls.getsockname = call_getsockname;
    system_calls.accept4 = call_accept;
    system_calls.shutdown = call_shutdown;
    system_calls.close = call_close;
    system_calls.pthread_create = create_thread;
    system_calls.pthread_join = join_threads;
    system_calls.usleep = call_usleep;
    system_calls.posted = item_posted;
    system_calls.taken = item_taken;
    system_calls.seconds = call_seconds;
    system_calls.elapsed = call_elapsed;
    system_calls.wait = fiber_wait;
    system_calls.go_on = fiber_go_on;
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
    system_calls = {};
    check_rest(before);
    ipp_set_log_dumps(0);
    tv_ippRpcFunSet = nullptr;
    nasty_host_withdraw();
    ipp_set_guard(nullptr);
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
