#include "link/send.h"

#include "base/clock.h"
#include "base/guard.h"
#include "base/log.h"
#include "link/connection_target.h"
#include "link/registry.h"
#include "net/socket_io.h"
#include "wire/frame.h"

#include <errno.h>
#include <netinet/tcp.h>
#include <stdlib.h>
#include <sys/socket.h>
#include <unistd.h>

namespace
{

/* The diagnostic lines of a send: they name the exported function. */
struct SendTrace {
    const char *function;
    int progress_line; /* 0: no line for each send */
    int error_line;
};

struct Frame {
    const uint8_t *bytes;
    uint32_t size;
    uint32_t sent;
    uint64_t attempt_ms;       /* start of the latest attempt */
    uint64_t stalled_since_ms; /* since when no byte could be sent; 0: not stalled */
    bool under_registry_lock;
};

struct Broadcast {
    bool active;
    uint64_t snapshot_ms; /* time of the snapshot of unacknowledged bytes; 0: none was taken */
};

const SendTrace SENDBACK = {"tcp_sendback", 0, 244};
const SendTrace SENDBACKALL = {"tcp_sendbackall", 167, 177};
const useconds_t RETRY_PAUSE_US = 10000;

} // namespace

static Broadcast broadcast = {false, 0}; /* guarded by the registry lock */

/* ---- Broadcasts */

void reply_begin_broadcast()
{
    broadcast = {true, 0};
}

void reply_end_broadcast()
{
    broadcast = {false, 0};
}

static void snapshot_unacknowledged(uint64_t now_ms)
{
    for (const ListNode *node = g_cp_list.head; node != nullptr; node = node->next) {
        connection_snapshot_unacknowledged(static_cast<CtrlPoint *>(node->data));
    }
    broadcast.snapshot_ms = now_ms;
}

/* The start of a stall. During a broadcast that is the time of the snapshot when the peer has
 * acknowledged nothing since. */
static uint64_t stall_start(const ConnectionTarget *target, const Frame *frame)
{
    if (!frame->under_registry_lock || !broadcast.active) {
        return frame->attempt_ms;
    }
    if (broadcast.snapshot_ms == 0) {
        snapshot_unacknowledged(frame->attempt_ms);
    }
    const bool silent = connection_acknowledged_nothing(target->record);
    return silent ? broadcast.snapshot_ms : frame->attempt_ms;
}

/* A host's own record has no such count. */
static void add_unacknowledged(const ConnectionTarget *target, uint32_t added)
{
    if (target->kind == CONNECTION_LISTED) {
        connection_add_unacknowledged(target->record, added);
    }
}

/* ---- One frame */

static ssize_t send_some(int fd, Frame *frame, const SendTrace *trace)
{
    frame->attempt_ms = clock_elapsed_ms();
    set_option_without_effect(fd, TCP_CORK);
    const ssize_t taken =
        send(fd, frame->bytes + frame->sent, frame->size - frame->sent, MSG_NOSIGNAL);
    if (trace->progress_line != 0) {
        log_out("zqt  :socket_send(): %s:%d,send_ret=%d\n", trace->function, trace->progress_line,
                static_cast<int>(taken));
    }
    return taken;
}

/* True when the connection has been stalled for the guard's send_stall_ms. Measured at the start of
 * the attempt: the peer may have made room while the process was suspended during it. */
static bool has_timed_out(const ConnectionTarget *target, Frame *frame)
{
    const uint32_t limit = guard_send_stall_ms();
    if (frame->stalled_since_ms == 0) {
        frame->stalled_since_ms = limit == 0 ? frame->attempt_ms : stall_start(target, frame);
    }
    return limit != 0 && frame->attempt_ms - frame->stalled_since_ms >= limit;
}

/* Pauses before the next attempt; false, with the reason in errno, when the send must end. */
static bool wait_for_room(const ConnectionTarget *target, Frame *frame)
{
    if (!send_worth_retrying()) {
        return false;
    }
    if (target->kind == CONNECTION_LISTED && registry_retries_stopped()) {
        errno = ESHUTDOWN;
        return false;
    }
    if (has_timed_out(target, frame)) {
        errno = ETIMEDOUT;
        return false;
    }
    usleep(RETRY_PAUSE_US);
    return true;
}

static bool send_frame(const ConnectionTarget *target, Frame *frame, const SendTrace *trace)
{
    const int fd = target->record->fd;
    while (frame->sent < frame->size) {
        const ssize_t taken = send_some(fd, frame, trace);
        if (taken > 0) {
            frame->sent += static_cast<uint32_t>(taken);
            frame->stalled_since_ms = 0;
            add_unacknowledged(target, static_cast<uint32_t>(taken));
        } else if (taken == -1 && !wait_for_room(target, frame)) {
            log_out("err:socket_send(): %s:%d,errno=%d\n", trace->function, trace->error_line,
                    errno);
            return false;
        }
    }
    return true;
}

/* Sends the whole frame under the send lock of the connection, so that frames do not interleave. */
static bool send_whole(const ConnectionTarget *target, const uint8_t *bytes, uint32_t size,
                       const SendTrace *trace, bool under_registry_lock)
{
    Frame frame = {bytes, size, 0, 0, 0, under_registry_lock};
    log_hold();
    pthread_mutex_lock(&target->record->send_lock);
    const bool sent = send_frame(target, &frame, trace);
    if (!sent && target->kind == CONNECTION_LISTED) {
        shutdown(target->record->fd, SHUT_RDWR); /* nothing may follow half a frame */
    }
    pthread_mutex_unlock(&target->record->send_lock);
    log_release();
    return sent;
}

int tcp_sendback(CtrlPoint *cp, int type, const void *payload, int32_t length)
{
    uint32_t size = 0;
    uint8_t *frame =
        cp == nullptr ? nullptr : frame_build(static_cast<uint8_t>(type), payload, length, &size);
    if (frame == nullptr) {
        return -1;
    }
    const ConnectionTarget target = connection_acquire_target(cp);
    const bool sent =
        target.kind != CONNECTION_GONE && send_whole(&target, frame, size, &SENDBACK, false);
    if (!sent && target.kind == CONNECTION_LISTED) {
        connection_unlist(target.record);
    }
    connection_release_target(&target);
    free(frame);
    return sent ? 1 : -1;
}

static int send_locked(CtrlPoint *cp, int type, const void *payload, int32_t length,
                       const SendTrace *trace)
{
    uint32_t size = 0;
    uint8_t *frame = frame_build(static_cast<uint8_t>(type), payload, length, &size);
    if (frame == nullptr) {
        return -1;
    }
    const ConnectionTarget target = connection_find(cp);
    const bool sent =
        target.kind != CONNECTION_GONE && send_whole(&target, frame, size, trace, true);
    if (!sent && target.kind == CONNECTION_LISTED) {
        list_remove(&g_cp_list, target.record, ctrlpoint_free);
    }
    free(frame);
    return sent ? 1 : -1;
}

int reply_send_locked(CtrlPoint *record, int type, const void *payload, int32_t length)
{
    return send_locked(record, type, payload, length, &SENDBACK);
}

int tcp_sendbackall(CtrlPoint *cp, int type, const void *payload, int32_t length)
{
    if (cp == nullptr || payload == nullptr || length < 0) {
        return -1;
    }
    const int third = length > 2 ? static_cast<const uint8_t *>(payload)[2] : 0;
    log_out("  %s %d,ack =%d\n", "tcp_sendbackall", 140, third);
    return send_locked(cp, type, payload, length, &SENDBACKALL);
}

/* Reads the next node before each send: a failed send removes the current one. */
static void send_to_all(int type, const void *payload, int32_t length)
{
    const ListNode *node = g_cp_list.head;
    for (int number = 0; node != nullptr;) {
        CtrlPoint *record = static_cast<CtrlPoint *>(node->data);
        node = node->next;
        if (record != nullptr) {
            log_out("zqt fd:%d num:%d ip:%x\n", record->fd, number++, record->peer_addr);
            tcp_sendbackall(record, type & 0xFF, payload, length);
        }
    }
}

void sendto_all_ctrlpoint(int type, const void *payload, int32_t length)
{
    if (payload == nullptr || length < 1 || !registry_lock()) {
        return;
    }
    reply_begin_broadcast();
    send_to_all(type, payload, length);
    reply_end_broadcast();
    registry_unlock();
}
