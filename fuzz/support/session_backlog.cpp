/* SPDX-License-Identifier: MIT */
#include "support/session_backlog.h"

#include "link/backlog.h"
#include "support/session_model.h"

#include "tvlink/registry.h"

#include <algorithm>

#include <poll.h>

static const size_t SHARES = 4; /* of all connections together */
static const size_t SHORTEST_FRAME = 72;
static const int LONGEST_WAIT_MS = 100; /* of the server thread while something is kept */

/* ---- Sizes */

static size_t kept_for(const Connection &connection)
{
    size_t all = 0;
    for (const KeptFrame &frame : connection.outgoing.kept) {
        all += frame.size;
    }
    return all;
}

/* As the service counts them. */
static size_t modelled_total()
{
    size_t all = 0;
    for (const Connection &connection : session.connections) {
        all += kept_for(connection) + connection.outgoing.uncounted;
    }
    return all;
}

size_t kept_for_all()
{
    must(backlog_total() == modelled_total(), "what is kept is counted");
    return backlog_total();
}

/* The first frame does not count for its connection. */
static bool is_within_bound(const Connection &connection, size_t size)
{
    const std::deque<KeptFrame> &kept = connection.outgoing.kept;
    const size_t behind = kept.empty() ? 0 : kept_for(connection) - kept.front().size;
    const size_t bound = backlog_bound();
    const size_t all = modelled_total();
    return (kept.empty() || size <= bound - std::min(bound, behind)) &&
           size <= SHARES * bound - std::min(SHARES * bound, all);
}

/* ---- Keeping */

static KeptFrame rest_of_frame(Connection *connection)
{
    const bool begun = connection->sending.size() < connection->frame_size;
    const KeptFrame rest = {connection->sending.size(), connection->sending, {}, begun};
    connection->sending.clear();
    return rest;
}

/* A reply that has never been passed to send shows its size only in the service's figure. */
static void keep(Connection *connection, Lane lane)
{
    Outgoing *outgoing = &connection->outgoing;
    const size_t size = backlog_total() - modelled_total();
    KeptFrame frame =
        outgoing->offered ? rest_of_frame(connection) : note_unseen_frame(connection, lane);
    must(size == frame.size || (frame.bytes.empty() && size >= SHORTEST_FRAME),
         "what a phone does not take is kept");
    must(size <= longest_unseen(frame), "and nothing else");
    frame.size = size;
    must(is_within_bound(*connection, size), "no more is kept than the guard allows");
    if (outgoing->kept.empty()) {
        outgoing->taken_ms = session.elapsed_ms;
        outgoing->counted_ms = session.elapsed_ms;
    }
    outgoing->kept.push_back(frame);
}

void forget_kept(Connection *connection)
{
    Outgoing *outgoing = &connection->outgoing;
    must(outgoing->holder == LANE_COUNT, "a connection that is in use is not closed");
    if (!outgoing->kept.empty() && outgoing->kept.front().begun) {
        connection->sending = outgoing->kept.front().bytes;
    }
    *outgoing = {};
    outgoing->holder = LANE_COUNT;
}

/* ---- The send lock */

static Connection *connection_with(const pthread_mutex_t *lock)
{
    const auto found = std::find_if(
        session.connections.begin(), session.connections.end(),
        [&](const Connection &connection) { return connection.outgoing.lock == lock; });
    return found == session.connections.end() ? nullptr : &*found;
}

static void note_send_locks()
{
    for (const ListNode *node = g_cp_list.head; node != nullptr; node = node->next) {
        const CtrlPoint *record = static_cast<const CtrlPoint *>(node->data);
        Connection *connection = find_connection(record->fd);
        if (connection != nullptr) {
            connection->outgoing.lock = &record->send_lock;
        }
    }
}

static void take(Connection *connection, Lane lane)
{
    Outgoing *outgoing = &connection->outgoing;
    outgoing->holder = lane;
    outgoing->offered = false;
    outgoing->blocked = false;
    outgoing->failed = false;
    connection->sender = lane;
    connection->abandoned = false;
}

void note_lock(const pthread_mutex_t *mutex, bool taken)
{
    Connection *connection = backlog_bound() == 0 ? nullptr : connection_with(mutex);
    if (connection == nullptr) {
        return;
    }
    const Lane lane = present_lane();
    connection->outgoing.tried = connection->outgoing.tried || lane == LANE_SERVER;
    if (taken) {
        take(connection, lane);
    }
}

/* The service counts what it has sent of a frame when it can send no more of that. */
static void count_sent(Outgoing *outgoing)
{
    if (outgoing->uncounted > 0) {
        outgoing->counted_ms = session.elapsed_ms;
    }
    outgoing->uncounted = 0;
    outgoing->finished = false;
}

static void release(Connection *connection)
{
    Outgoing *outgoing = &connection->outgoing;
    const Lane lane = outgoing->holder;
    outgoing->holder = LANE_COUNT;
    must(!connection->abandoned || connection->dropped, "a connection that has failed is dropped");
    if (lane == LANE_SERVER) {
        count_sent(outgoing);
        must(outgoing->kept.empty() || outgoing->blocked || connection->dropped,
             "what is kept is sent while there is room");
    } else if (!outgoing->failed && (!outgoing->offered || !connection->sending.empty())) {
        keep(connection, lane);
    }
    kept_for_all();
}

void note_unlock(const pthread_mutex_t *mutex)
{
    if (backlog_bound() == 0) {
        return;
    }
    if (mutex == &g_cp_list_mutex) {
        note_send_locks();
    }
    Connection *connection = connection_with(mutex);
    if (connection != nullptr) {
        release(connection);
    }
}

static bool may_be_refused(const Connection &connection, Lane lane)
{
    if (!connection.outgoing.offered) {
        return !is_within_bound(connection, longest_unseen(unseen_frame(lane)));
    }
    return connection.outgoing.blocked && !is_within_bound(connection, connection.sending.size());
}

void note_shutdown(Connection *connection)
{
    const Lane lane = connection->outgoing.holder;
    if (lane == LANE_COUNT || lane != present_lane()) {
        return;
    }
    connection->outgoing.failed = true;
    if (lane != LANE_SERVER && !may_be_dropped(*connection)) {
        connection->may_drop = may_be_refused(*connection, lane);
    }
}

void check_sleep()
{
    for (const Connection &connection : session.connections) {
        must(connection.outgoing.holder == LANE_COUNT ||
                 connection.outgoing.holder != present_lane(),
             "a sender does not wait for a phone");
    }
}

/* ---- Sending */

void send_begins(Connection *connection)
{
    if (connection != nullptr && connection->outgoing.finished) {
        count_sent(&connection->outgoing);
    }
}

static void check_kept(Outgoing *outgoing, const Bytes &bytes)
{
    must(!outgoing->kept.empty(), "the server thread sends what is kept");
    KeptFrame *first = &outgoing->kept.front();
    if (first->bytes.empty()) {
        must(bytes.size() == first->size, "a frame is kept in full");
        check_late_reply(first->request, bytes);
        first->bytes = bytes;
    }
    must(bytes == first->bytes, "what is kept is sent in its order, from where it stopped");
}

void check_offered_or_kept(Connection *connection, Lane lane, const Bytes &bytes)
{
    Outgoing *outgoing = &connection->outgoing;
    must(outgoing->holder == lane, "what is sent is sent under the connection's send lock");
    must(!outgoing->blocked && !outgoing->failed, "a sender does not try again");
    if (lane == LANE_SERVER) {
        check_kept(outgoing, bytes);
    } else if (outgoing->offered) {
        must(bytes == connection->sending, "a frame that was begun is followed by its rest");
    } else {
        must(outgoing->kept.empty(), "nothing is sent before what is kept");
        begin_frame(connection, lane, bytes);
    }
    outgoing->offered = true;
}

/* The service's records may be later than the last byte, never earlier. */
static void check_stall(Connection *connection, uint64_t began_ms)
{
    const Outgoing &outgoing = connection->outgoing;
    if ((session.flags & GUARDED) == 0 || outgoing.uncounted > 0) {
        return;
    }
    connection->may_drop = connection->may_drop || began_ms - outgoing.taken_ms >= GUARDED_STALL_MS;
    connection->abandoned = began_ms - outgoing.counted_ms >= GUARDED_STALL_MS;
}

void note_no_room(Connection *connection, uint64_t began_ms)
{
    connection->outgoing.blocked = true;
    if (present_lane() == LANE_SERVER) {
        check_stall(connection, began_ms);
    }
}

void note_kept_sent(Connection *connection, size_t count)
{
    Outgoing *outgoing = &connection->outgoing;
    KeptFrame *first = &outgoing->kept.front();
    first->bytes.erase(first->bytes.begin(), first->bytes.begin() + static_cast<ptrdiff_t>(count));
    first->size -= count;
    first->begun = true;
    outgoing->uncounted += count;
    outgoing->taken_ms = session.elapsed_ms;
    if (first->size == 0) {
        outgoing->kept.pop_front();
        outgoing->finished = true;
    }
}

/* ---- The server thread */

static bool waits_for_room(const Connection &connection)
{
    return connection.registered && !connection.outgoing.kept.empty();
}

void check_pass()
{
    for (Connection &connection : session.connections) {
        Outgoing *outgoing = &connection.outgoing;
        must(!outgoing->overdue || outgoing->tried || !waits_for_room(connection),
             "a connection that is stalled is dropped");
        outgoing->listed_as_waiting = waits_for_room(connection);
    }
}

void begin_pass()
{
    for (Connection &connection : session.connections) {
        Outgoing *outgoing = &connection.outgoing;
        outgoing->overdue = outgoing->listed_as_waiting && (session.flags & GUARDED) != 0 &&
                            session.elapsed_ms - outgoing->counted_ms >= GUARDED_STALL_MS;
        outgoing->tried = false;
    }
}

static bool has_room(const Connection &connection)
{
    pollfd entry = {connection.service_fd, POLLOUT, 0};
    return poll(&entry, 1, 0) > 0;
}

void check_wait(int limit_ms)
{
    for (const Connection &connection : session.connections) {
        must(!waits_for_room(connection) || (limit_ms <= LONGEST_WAIT_MS && !has_room(connection)),
             "the server thread waits for room");
    }
}
