/* SPDX-License-Identifier: MIT */
#include "support/session_model.h"

#include "support/session_backlog.h"

#include "tvlink/flags.h"
#include "tvlink/registry.h"
#include "tvlink/workers.h"

#include <algorithm>

static const size_t QUEUE_ROOM = 49;

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

void model_split(Connection *connection)
{
    Bytes &stream = connection->arrived;
    while (stream.size() >= 7) {
        const size_t size = load_length(stream);
        if ((session.flags & GUARDED) != 0 && size > GUARDED_FRAME) {
            connection->may_drop = true;
            connection->must_drop = true;
            return;
        }
        if (size == 0) {
            connection->discarding = true;
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

void model_received()
{
    for (Connection &connection : session.connections) {
        model_split(&connection);
        must(connection.requests.empty() || session.requests.max_waiting >= QUEUE_ROOM ||
                 session.stopping,
             "a request is refused when the queue is full, and only then");
        must(connection.heartbeats == 0 || session.heartbeats.max_waiting >= QUEUE_ROOM ||
                 session.stopping,
             "so is a heartbeat");
        connection.requests.clear();
        connection.heartbeats = 0;
        must(!connection.must_drop || connection.dropped || connection.service_fd < 0,
             "who announces too much is dropped");
    }
    session.requests.max_waiting = session.requests.waiting.size();
    session.heartbeats.max_waiting = session.heartbeats.waiting.size();
}

/* ---- The model of the queues */

static const CtrlPoint *newest_item(const Queue *queue)
{
    const int32_t at = (queue->rear + queue->capacity - 1) % queue->capacity;
    return static_cast<const CtrlPoint *>(queue->items[at]);
}

static void add_item(WorkModel *work, const Connection *connection, const Bytes &body)
{
    work->waiting.push_back({index_of(connection), body, session.run, false});
    work->max_waiting = std::max(work->max_waiting, work->waiting.size());
    must(work->waiting.size() <= QUEUE_ROOM, "no more wait than there is room for");
}

static void request_queued(Connection *connection, const CtrlPoint *item)
{
    const Bytes body(item->rx_buf, item->rx_buf + item->rx_cap);
    while (!connection->requests.empty() && connection->requests.front() != body) {
        must(session.requests.max_waiting >= QUEUE_ROOM, "requests are queued in their order");
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

void item_posted(const sem_t *items)
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
    int32_t fd = connection.service_fd;
    return fd >= 0 && !session.stopping && list_find(&g_cp_list, ctrlpoint_match_fd, &fd) != 0;
}

void finish_item(WorkModel *work)
{
    if (work->serving.empty()) {
        return;
    }
    const Item &item = work->serving.front();
    const bool wants_answer = work == &session.heartbeats || is_call(item.body);
    must(item.answered || !wants_answer || item.run != session.run ||
             may_be_dropped(session.connections[item.connection]),
         "what can be answered is");
    const Connection &connection = session.connections[item.connection];
    const Lane lane = work == &session.heartbeats ? LANE_HEARTBEATS : LANE_REQUESTS;
    must(!connection.abandoned || connection.sender != lane || !is_listed(connection),
         "who cannot be sent to is dropped");
    work->serving.clear();
}

void item_taken(const sem_t *items)
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
    const bool has_set_code = body.size() >= 3;
    const unsigned set_code = has_set_code ? body[1] + 256U * body[2] : 0;
    const unsigned get_code = body.size() >= 4 ? body[2] + 256U * body[3] : 0;
    if (type == CP_FRAME_SET_REPLY) {
        must(cp_decode_set_reply(payload, &set) == CP_OK, "a set reply can be read");
        must(body[0] == CP_FRAME_SET && (!has_set_code || set.code == set_code),
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

static void check_answer(const Bytes &request, const CpFrame &frame)
{
    if (frame.type == CP_FRAME_RPC_REPLY) {
        check_call(request, frame.payload);
    } else {
        must(frame.type == CP_FRAME_GET_REPLY || frame.type == CP_FRAME_SET_REPLY,
             "a reply has the type of one");
        check_code(request, frame.payload, frame.type);
    }
}

/* Returns the request. */
static const Bytes &note_reply(const Connection *connection)
{
    must(!session.requests.serving.empty(), "the worker answers requests");
    Item &item = session.requests.serving.front();
    must(item.connection == index_of(connection), "a reply goes to the phone that asked");
    must(!item.answered, "a request has one reply");
    must(item.run == session.run || connection->dropped, "nobody is answered in a later run");
    item.answered = true;
    return item.body;
}

static void note_heartbeat(const Connection *connection, Lane lane)
{
    const size_t number = index_of(connection);
    if (lane == LANE_HOST) {
        must(session.job == JOB_HEARTBEATS && !contains(session.heartbeats_sent, number),
             "one heartbeat goes to each phone");
        session.heartbeats_sent.push_back(number);
        return;
    }
    must(!session.heartbeats.serving.empty(), "the worker answers heartbeats");
    Item &item = session.heartbeats.serving.front();
    must(item.connection == number && !item.answered,
         "a heartbeat goes to the phone that sent one");
    item.answered = true;
}

static void check_heartbeat(const Connection *connection, Lane lane, const CpFrame &frame)
{
    must(frame.type == CP_FRAME_HEARTBEAT && cp_decode_heartbeat(frame.payload) == CP_OK,
         "a heartbeat is one");
    note_heartbeat(connection, lane);
}

static void note_event(const Connection *connection, Broadcast *broadcast)
{
    must(!contains(broadcast->delivered, index_of(connection)), "each phone is told once");
    broadcast->delivered.push_back(index_of(connection));
}

static void check_event(const Connection *connection, Broadcast *broadcast, const Bytes &frame)
{
    must(broadcast->active && frame == broadcast->frame, "an event is that which is reported");
    note_event(connection, broadcast);
}

/* Calls `check` with the frame that the bytes are. */
template <typename Check> static void check_frame_in(const Bytes &bytes, Check check)
{
    CpSplitter *splitter = cp_splitter_new(0);
    CpFrame frame = {};
    must(cp_splitter_feed(splitter, bytes.data(), bytes.size()) == CP_OK,
         "there is memory for a reply");
    must(cp_splitter_next(splitter, &frame) == CP_OK && cp_splitter_pending(splitter) == 0,
         "one whole frame is sent");
    check(frame);
    cp_splitter_free(splitter);
}

static void check_new_frame(const Connection *connection, Lane lane, const CpFrame &frame,
                            const Bytes &bytes)
{
    if (frame.type == CP_FRAME_EVENT) {
        check_event(connection, &session.broadcasts[lane], bytes);
    } else if (lane == LANE_REQUESTS) {
        check_answer(note_reply(connection), frame);
    } else {
        check_heartbeat(connection, lane, frame);
    }
}

void begin_frame(Connection *connection, Lane lane, const Bytes &bytes)
{
    check_frame_in(bytes,
                   [&](const CpFrame &frame) { check_new_frame(connection, lane, frame, bytes); });
    connection->sending = bytes;
    connection->frame_size = bytes.size();
    connection->sender = lane;
    connection->abandoned = false;
    connection->stalled_since_ms = 0;
}

KeptFrame note_unseen_frame(const Connection *connection, Lane lane)
{
    Broadcast *broadcast = &session.broadcasts[lane];
    KeptFrame frame = unseen_frame(lane);
    if (broadcast->active) {
        note_event(connection, broadcast);
    } else if (lane == LANE_REQUESTS) {
        note_reply(connection);
    } else {
        note_heartbeat(connection, lane);
    }
    return frame;
}

KeptFrame unseen_frame(Lane lane)
{
    const Broadcast &broadcast = session.broadcasts[lane];
    KeptFrame frame = {};
    if (broadcast.active) {
        frame.bytes = broadcast.frame;
    } else if (lane == LANE_REQUESTS) {
        must(!session.requests.serving.empty(), "the worker answers requests");
        frame.request = session.requests.serving.front().body;
    } else {
        frame.bytes = build_frame(CP_FRAME_HEARTBEAT, {'H', 'E', 'A', 'R', 'T'});
    }
    frame.size = frame.bytes.size();
    return frame;
}

size_t longest_unseen(const KeptFrame &frame)
{
    const size_t most_around_a_text = 88;
    return !frame.bytes.empty()     ? frame.size
           : is_call(frame.request) ? most_around_a_text + frame.request.size()
                                    : SIZE_MAX;
}

void check_late_reply(const Bytes &request, const Bytes &bytes)
{
    check_frame_in(bytes, [&](const CpFrame &frame) { check_answer(request, frame); });
}

void check_offered(Connection *connection, const Bytes &bytes)
{
    const Lane lane = present_lane();
    if (backlog_bound() != 0) {
        check_offered_or_kept(connection, lane, bytes);
        return;
    }
    if (connection->sender == lane && connection->sending == bytes && !bytes.empty()) {
        must(!connection->abandoned, "a frame is given up when there is a reason");
        return;
    }
    must(connection->sending.empty() || connection->sending.size() == connection->frame_size ||
             connection->dropped,
         "a frame that was begun is followed by its rest, or by nothing");
    begin_frame(connection, lane, bytes);
}

void check_blocked(Connection *connection, uint64_t began_ms)
{
    if ((session.flags & GUARDED) == 0) {
        return;
    }
    if (connection->stalled_since_ms == 0) {
        connection->stalled_since_ms = session.elapsed_ms;
        return;
    }
    if (began_ms - connection->stalled_since_ms >= GUARDED_STALL_MS) {
        connection->may_drop = true;
        connection->abandoned = true;
    }
}

/* ---- The model of time */

bool is_idle(const Connection &connection)
{
    int32_t fd = connection.service_fd;
    const CtrlPoint *record =
        fd < 0 ? nullptr : static_cast<CtrlPoint *>(list_get(&g_cp_list, ctrlpoint_match_fd, &fd));
    const int64_t age = record == nullptr ? 0 : int64_t{session.now_s} - record->last_active;
    return age >= 31 && age < 300;
}

void allow_idle_drops()
{
    for (Connection &connection : session.connections) {
        connection.may_drop = connection.may_drop || is_idle(connection);
    }
}
