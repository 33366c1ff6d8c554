/* SPDX-License-Identifier: MIT */
#include "link/send.h"

#include "base/clock.h"
#include "base/guard.h"
#include "base/held_calls.h"
#include "base/log.h"
#include "base/notices.h"
#include "base/stats.h"
#include "link/connection.h"
#include "link/registry.h"
#include "net/socket_io.h"
#include "wire/frame.h"

#include <errno.h>
#include <netinet/tcp.h>
#include <stdlib.h>
#include <sys/socket.h>
#include <unistd.h>

static const useconds_t RETRY_PAUSE_US = 10000;

const SendTrace SENDBACK = {"tcp_sendback", 0, 244};
const SendTrace SENDBACKALL = {"tcp_sendbackall", 167, 177};

namespace
{

/* A frame on its way to one connection, whose send lock is held from the first byte to the last. */
struct Sending {
    Connection to;
    Frame frame;
    const SendTrace *trace;
    int flags;
    bool locked; /* between attempts that do not wait */
    uint32_t sent;
    uint64_t attempt_ms;       /* start of the latest attempt of a stalled send */
    uint64_t stalled_since_ms; /* since when no byte could be sent; 0: not stalled */
    int error;                 /* the errno of its failure */
};

enum Progress { SENT, FULL, FAILED };

} // namespace

static Sending begin(CtrlPoint *cp, Frame frame, const SendTrace *trace)
{
    return {connection_acquire(cp), frame, trace, MSG_NOSIGNAL, false, 0, 0, 0, 0};
}

/* ---- One frame to one connection */

static ssize_t send_some(Sending *sending) NEEDS(send_mutex)
{
    const int fd = sending->to.record->fd;
    const SendTrace *trace = sending->trace;
    sending->attempt_ms = sending->stalled_since_ms == 0 ? 0 : clock_elapsed_ms();
    set_option_without_effect(fd, TCP_CORK);
    const ssize_t taken = send(fd, sending->frame.bytes + sending->sent,
                               sending->frame.size - sending->sent, sending->flags);
    if (trace->progress_line != 0) {
        log_out("zqt  :socket_send(): %s:%d,send_ret=%d\n", trace->function, trace->progress_line,
                static_cast<int>(taken));
    }
    return taken;
}

/* The reason, an errno, to give up a send that finds no room; 0: none. A stall is measured at the
 * start of an attempt: the peer may have made room while the process was suspended during it. */
static int reason_to_end(Sending *sending)
{
    if (connection_is_stale(sending->to.record)) {
        return ESHUTDOWN;
    }
    const uint32_t limit = guard_send_stall_ms();
    if (sending->stalled_since_ms == 0) {
        sending->stalled_since_ms = clock_elapsed_ms();
        return 0;
    }
    const bool stalled = sending->attempt_ms - sending->stalled_since_ms >= limit;
    return limit != 0 && stalled ? ETIMEDOUT : 0;
}

static Progress send_until_full(Sending *sending) NEEDS(send_mutex)
{
    while (sending->sent < sending->frame.size) {
        const ssize_t taken = send_some(sending);
        if (taken > 0) {
            sending->sent += static_cast<uint32_t>(taken);
            stats_sent(static_cast<uint32_t>(taken));
            sending->stalled_since_ms = 0;
        } else if (taken == -1) {
            const int reason = send_worth_retrying() ? reason_to_end(sending) : errno;
            errno = reason;
            return reason == 0 ? FULL : FAILED;
        }
    }
    return SENT;
}

static bool print_failure(const Sending *sending)
{
    log_out("err:socket_send(): %s:%d,errno=%d\n", sending->trace->function,
            sending->trace->error_line, errno);
    return false;
}

/* True when the frame was sent. */
static bool finish(Sending *sending, Progress progress) RELEASES(send_mutex)
{
    if (progress == FAILED) {
        sending->error = errno;
        print_failure(sending);
        if (sending->to.place != nullptr) {
            shutdown(sending->to.record->fd, SHUT_RDWR); /* nothing may follow half a frame */
        }
    }
    lock_release(&sending->to.record->send_lock, &send_mutex);
    return progress == SENT;
}

/* Sends the frame for as long as it takes. */
static Progress send_whole(Sending *sending) NEEDS(send_mutex)
{
    Progress progress = FULL;
    while ((progress = send_until_full(sending)) == FULL) {
        usleep(RETRY_PAUSE_US);
    }
    return progress;
}

/* Sends what the peer takes at once and keeps the rest for the server thread. */
static Progress send_or_keep(Sending *sending, Backlog *backlog) NEEDS(send_mutex)
{
    sending->flags |= MSG_DONTWAIT;
    const bool first = !backlog_is_used(backlog);
    const Progress progress = first ? send_until_full(sending) : FULL;
    if (progress != FULL) {
        return progress;
    }
    if (!backlog_keep(backlog, sending->frame.bytes + sending->sent,
                      sending->frame.size - sending->sent, clock_elapsed_ms())) {
        return FAILED;
    }
    if (first) {
        backlog_signal_raise();
    }
    return SENT;
}

/* What waits goes first, also when the guard keeps nothing any more. `otherwise` sends to a
 * connection for which nothing is kept. */
static Progress send_in_order(Sending *sending, Progress (*otherwise)(Sending *)) NEEDS(send_mutex)
{
    Backlog *backlog = sending->to.place == nullptr ? nullptr : connection_backlog(sending->to);
    const bool keeps =
        backlog != nullptr && (guard_send_backlog_bytes() != 0 || backlog_is_used(backlog));
    return keeps ? send_or_keep(sending, backlog) : otherwise(sending);
}

static bool send_locked(Sending *sending)
{
    if (sending->to.record == nullptr) {
        errno = EPIPE;
        return print_failure(sending);
    }
    calls_hold();
    lock_take(&sending->to.record->send_lock, &send_mutex);
    const bool sent = finish(sending, send_in_order(sending, send_whole));
    calls_release();
    return sent;
}

static int reason_of(int error)
{
    switch (error) {
    case ETIMEDOUT:
        return IPP_REASON_STALLED;
    case ENOBUFS:
        return IPP_REASON_BACKLOG_FULL;
    case ENOMEM:
        return IPP_REASON_NO_MEMORY;
    case ESHUTDOWN:
        return IPP_REASON_STOPPED;
    default:
        return IPP_REASON_RESET;
    }
}

/* Removes the connection of a send that has failed. Found by its descriptor: a host's own record
 * may stand for it. */
static void remove_failed(const Sending *sending)
{
    registry_lock();
    void *record = list_get(registry_list(), ctrlpoint_match_fd, sending->to.record);
    registry_remove_locked(static_cast<CtrlPoint *>(record), reason_of(sending->error));
    registry_unlock();
}

static void end(const Sending *sending, bool sent)
{
    if (!sent && sending->to.record != nullptr) {
        remove_failed(sending);
    }
    connection_release(sending->to);
}

static bool send_to(CtrlPoint *cp, Frame frame, const SendTrace *trace)
{
    if (cp == nullptr || frame.bytes == nullptr) {
        return false;
    }
    Sending sending = begin(cp, frame, trace);
    const bool sent = send_locked(&sending);
    end(&sending, sent);
    return sent;
}

int send_frame(CtrlPoint *cp, Frame frame)
{
    return send_to(cp, frame, &SENDBACK) ? 1 : -1;
}

int tcp_sendback(CtrlPoint *cp, int type, const void *payload, int32_t length)
{
    const Frame frame = frame_build(static_cast<uint8_t>(type), payload, length);
    const int result = send_frame(cp, frame);
    free(frame.bytes);
    return result;
}

/* ---- Under the registry lock */

static void print_begin(int third)
{
    log_out("  %s %d,ack =%d\n", "tcp_sendbackall", 140, third);
}

static int third_byte(const void *payload, int32_t length)
{
    return length > 2 ? static_cast<const uint8_t *>(payload)[2] : 0;
}

int tcp_sendbackall(CtrlPoint *cp, int type, const void *payload, int32_t length)
{
    if (cp == nullptr || payload == nullptr || length < 0) {
        return -1;
    }
    print_begin(third_byte(payload, length));
    const Frame frame = frame_build(static_cast<uint8_t>(type), payload, length);
    const bool sent = send_to(cp, frame, &SENDBACKALL);
    free(frame.bytes);
    return sent ? 1 : -1;
}

/* ---- Many at once */

NOT_ANALYSED static bool lock_if_free(Sending *sending) TAKES_IF(true, send_mutex)
{
    return sending->locked || pthread_mutex_trylock(&sending->to.record->send_lock) == 0;
}

/* Nothing may be sent before the rest of the frame. */
NOT_ANALYSED static void stay_locked(Sending *sending) RELEASES(send_mutex)
{
    sending->locked = true;
}

static void count_sent(SendTally *tally, bool sent)
{
    (sent ? tally->reached : tally->failed)++;
}

/* False while the peer, or another sender on the connection, has to be waited for. */
static bool send_without_waiting(Sending *sending, SendTally *tally)
{
    if (sending->to.record == nullptr) {
        count_sent(tally, false);
        return true;
    }
    if (!lock_if_free(sending)) {
        return false;
    }
    const Progress progress = send_in_order(sending, send_until_full);
    if (progress == FULL) {
        stay_locked(sending);
        return false;
    }
    const bool sent = finish(sending, progress);
    end(sending, sent);
    count_sent(tally, sent);
    return true;
}

/* Returns how many are still stalled; they are moved to the front. */
static uint32_t try_again(Sending *stalled, uint32_t count, SendTally *tally)
{
    uint32_t left = 0;
    for (uint32_t i = 0; i < count; i++) {
        if (!send_without_waiting(&stalled[i], tally)) {
            stalled[left++] = stalled[i];
        }
    }
    return left;
}

SendTally send_broadcast(const SendToAll *to_all)
{
    SendTally tally = {0, 0};
    const Frame frame = to_all->frame;
    const bool waits = guard_send_stall_ms() != 0 && guard_send_backlog_bytes() == 0;
    const size_t room = waits ? registry_list()->count : 0;
    Sending *stalled = static_cast<Sending *>(room == 0 ? nullptr : malloc(room * sizeof *stalled));
    uint32_t count = 0;
    const ListNode *node = registry_list()->head;
    for (int number = 0; node != nullptr;) {
        CtrlPoint *record = static_cast<CtrlPoint *>(node->data);
        node = node->next; /* a failed send removes the current node */
        if (record == nullptr || !to_all->begin(to_all, record, number++) ||
            frame.bytes == nullptr) {
            continue;
        }
        connection_register(record); /* the host may have listed it */
        if (stalled == nullptr) {
            count_sent(&tally, send_to(record, frame, to_all->trace));
            continue;
        }
        stalled[count] = begin(record, frame, to_all->trace);
        stalled[count].flags |= MSG_DONTWAIT;
        count += send_without_waiting(&stalled[count], &tally) ? 0 : 1;
    }
    while (count > 0) {
        usleep(RETRY_PAUSE_US);
        count = try_again(stalled, count, &tally);
    }
    free(stalled);
    return tally;
}

/* ---- What waits */

/* Until the peer takes no more; one of its bytes ends a stall. */
static Progress send_backlog(Sending *sending, Backlog *backlog) NEEDS(send_mutex)
{
    Progress progress = SENT;
    while (progress == SENT && backlog_has_next(backlog)) {
        sending->frame = backlog_next(backlog);
        sending->sent = 0;
        sending->stalled_since_ms = backlog_progress_ms(backlog);
        progress = send_until_full(sending);
        if (sending->sent > 0) {
            backlog_drop(backlog, sending->sent, clock_elapsed_ms());
        }
    }
    return progress;
}

static Sending begin_waiting(Connection to)
{
    return {to, {nullptr, 0}, &SENDBACK, MSG_NOSIGNAL | MSG_DONTWAIT, false, 0, 0, 0, 0};
}

void send_waiting(Connection to)
{
    Sending sending = begin_waiting(to);
    calls_hold();
    bool failed = false;
    if (lock_if_free(&sending)) {
        const Progress progress = send_backlog(&sending, connection_backlog(to));
        failed = progress == FAILED;
        finish(&sending, progress);
    }
    calls_release();
    if (failed) {
        remove_failed(&sending);
    }
}

/* ---- Frames that are still being made */

bool send_reserve(CtrlPoint *cp, ReservedPlace *place)
{
    if (guard_send_backlog_bytes() == 0) {
        return false;
    }
    place->to = connection_acquire(cp);
    place->part = nullptr;
    if (place->to.place != nullptr && place->to.record != nullptr) {
        lock_take(&place->to.record->send_lock, &send_mutex);
        place->part = backlog_reserve(connection_backlog(place->to), clock_elapsed_ms());
        lock_release(&place->to.record->send_lock, &send_mutex);
    }
    if (place->part == nullptr) {
        connection_release(place->to);
    }
    return place->part != nullptr;
}

static Progress fill_and_send(Sending *sending, BacklogPart *part, Frame frame) NEEDS(send_mutex)
{
    Backlog *backlog = connection_backlog(sending->to);
    if (!backlog_fill(backlog, part, frame.bytes, frame.size, clock_elapsed_ms())) {
        return FAILED;
    }
    const Progress progress = send_backlog(sending, backlog);
    if (progress == FULL) {
        backlog_signal_raise();
    }
    return progress;
}

void send_reserved(const ReservedPlace *place, Frame frame)
{
    Sending sending = begin_waiting(place->to);
    calls_hold();
    lock_take(&place->to.record->send_lock, &send_mutex);
    const Progress progress = fill_and_send(&sending, place->part, frame);
    finish(&sending, progress);
    calls_release();
    end(&sending, progress != FAILED);
}

/* ---- Events */

static bool begin_event(const SendToAll *event, CtrlPoint *record, int number)
{
    log_out("zqt fd:%d num:%d ip:%x\n", record->fd, number, record->peer_addr);
    print_begin(event->third_byte);
    return true;
}

void send_event(Frame frame, uint16_t code, int third_byte)
{
    const SendToAll event = {frame, third_byte, &SENDBACKALL, begin_event};
    registry_lock();
    const SendTally tally = send_broadcast(&event);
    registry_unlock();
    notice_event_sent(code, tally.reached, tally.failed);
}

void sendto_all_ctrlpoint(int type, const void *payload, int32_t length)
{
    if (payload == nullptr || length < 1) {
        return;
    }
    const Frame frame = frame_build(static_cast<uint8_t>(type), payload, length);
    const uint16_t code =
        length > 1 ? load_u16(static_cast<const uint8_t *>(payload)) : uint16_t{0};
    send_event(frame, code, third_byte(payload, length));
    free(frame.bytes);
}
