#include "link/send.h"

#include "base/clock.h"
#include "base/guard.h"
#include "base/log.h"
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
    const uint8_t *frame;
    uint32_t size;
    const SendTrace *trace;
    int flags;
    bool locked;
    uint32_t sent;
    uint64_t attempt_ms;       /* start of the latest attempt */
    uint64_t stalled_since_ms; /* since when no byte could be sent; 0: not stalled */
};

/* FULL: the peer, or another sender on the connection, has to be waited for. */
enum Progress { SENT, FULL, FAILED };

struct Stalled {
    Sending *all;
    uint32_t count;
};

} // namespace

/* ---- The send lock */

/* Stands for the send lock of the record that a frame is on its way to. */
[[maybe_unused]] static LockName SEND_LOCK;

NOT_ANALYSED static void lock(Sending *sending) TAKES(SEND_LOCK)
{
    if (!sending->locked) {
        pthread_mutex_lock(&sending->to.record->send_lock);
    }
}

NOT_ANALYSED static bool lock_if_free(Sending *sending) TAKES_IF(true, SEND_LOCK)
{
    return sending->locked || pthread_mutex_trylock(&sending->to.record->send_lock) == 0;
}

/* Nobody else sends before the rest of the frame. */
NOT_ANALYSED static void stay_locked(Sending *sending) RELEASES(SEND_LOCK)
{
    sending->locked = true;
}

NOT_ANALYSED static void unlock(const Sending *sending) RELEASES(SEND_LOCK)
{
    pthread_mutex_unlock(&sending->to.record->send_lock);
}

/* ---- One frame to one connection */

static ssize_t send_some(Sending *sending) NEEDS(SEND_LOCK)
{
    const int fd = sending->to.record->fd;
    const SendTrace *trace = sending->trace;
    sending->attempt_ms = clock_elapsed_ms();
    set_option_without_effect(fd, TCP_CORK);
    const ssize_t taken = send(fd, sending->frame + sending->sent, sending->size - sending->sent,
                               sending->flags | MSG_NOSIGNAL);
    if (trace->progress_line != 0) {
        log_out("zqt  :socket_send(): %s:%d,send_ret=%d\n", trace->function, trace->progress_line,
                static_cast<int>(taken));
    }
    return taken;
}

/* True when the connection has been stalled for the guard's send_stall_ms. Measured at the start of
 * the attempt: the peer may have made room while the process was suspended during it. */
static bool has_timed_out(Sending *sending)
{
    const uint32_t limit = guard_send_stall_ms();
    if (sending->stalled_since_ms == 0) {
        sending->stalled_since_ms = sending->attempt_ms;
    }
    return limit != 0 && sending->attempt_ms - sending->stalled_since_ms >= limit;
}

/* What a failed attempt means, the reason of a failure in errno. */
static Progress after_failure(Sending *sending)
{
    if (!send_worth_retrying()) {
        return FAILED;
    }
    if (sending->to.kind == CONNECTION_IN_USE && connection_is_stale(sending->to.record)) {
        errno = ESHUTDOWN;
        return FAILED;
    }
    if (has_timed_out(sending)) {
        errno = ETIMEDOUT;
        return FAILED;
    }
    return FULL;
}

static Progress send_until_full(Sending *sending) NEEDS(SEND_LOCK)
{
    while (sending->sent < sending->size) {
        const ssize_t taken = send_some(sending);
        if (taken > 0) {
            sending->sent += static_cast<uint32_t>(taken);
            sending->stalled_since_ms = 0;
        } else if (taken == -1) {
            return after_failure(sending);
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

/* Unlocks the connection; true when the frame was sent. */
static bool finish(const Sending *sending, Progress progress) RELEASES(SEND_LOCK)
{
    if (progress == FAILED) {
        print_failure(sending);
        if (sending->to.kind == CONNECTION_IN_USE) {
            shutdown(sending->to.record->fd, SHUT_RDWR); /* nothing may follow half a frame */
        }
    }
    unlock(sending);
    return progress == SENT;
}

/* Sends the frame, or what is left of it, for as long as it takes. */
static bool send_whole(Sending *sending)
{
    if (sending->to.kind == CONNECTION_GONE) {
        errno = EPIPE;
        return print_failure(sending);
    }
    log_hold();
    lock(sending);
    Progress progress = FULL;
    while ((progress = send_until_full(sending)) == FULL) {
        usleep(RETRY_PAUSE_US);
    }
    const bool sent = finish(sending, progress);
    log_release();
    return sent;
}

/* Found by its descriptor: a host's own record may stand for it. */
static void remove_listed(const Connection *connection) NEEDS(REGISTRY_LOCK)
{
    list_remove(registry_list(), list_get(registry_list(), ctrlpoint_match_fd, connection->record),
                ctrlpoint_free);
}

int tcp_sendback(CtrlPoint *cp, int type, const void *payload, int32_t length)
{
    uint32_t size = 0;
    uint8_t *frame =
        cp == nullptr ? nullptr : frame_build(static_cast<uint8_t>(type), payload, length, &size);
    if (frame == nullptr) {
        return -1;
    }
    Sending sending = {connection_acquire(cp), frame, size, &SENDBACK, 0, false, 0, 0, 0};
    const bool sent = send_whole(&sending);
    if (!sent && sending.to.kind != CONNECTION_GONE && registry_lock_soon()) {
        remove_listed(&sending.to);
        registry_unlock();
    }
    connection_release(sending.to);
    free(frame);
    return sent ? 1 : -1;
}

/* ---- Under the registry lock */

static void print_begin(const void *payload, int32_t length)
{
    const int third = length > 2 ? static_cast<const uint8_t *>(payload)[2] : 0;
    log_out("  %s %d,ack =%d\n", "tcp_sendbackall", 140, third);
}

/* Ends a send that was finished. */
static bool end(const Sending *sending, bool sent) NEEDS(REGISTRY_LOCK)
{
    if (!sent && sending->to.kind != CONNECTION_GONE) {
        remove_listed(&sending->to);
    }
    connection_release(sending->to);
    return sent;
}

int tcp_sendbackall(CtrlPoint *cp, int type, const void *payload, int32_t length)
{
    if (cp == nullptr || payload == nullptr || length < 0) {
        return -1;
    }
    print_begin(payload, length);
    uint32_t size = 0;
    uint8_t *frame = frame_build(static_cast<uint8_t>(type), payload, length, &size);
    if (frame == nullptr) {
        return -1;
    }
    Sending sending = {connection_acquire(cp), frame, size, &SENDBACKALL, 0, false, 0, 0, 0};
    const bool sent = end(&sending, send_whole(&sending));
    free(frame);
    return sent ? 1 : -1;
}

/* False while the peer, or another sender on the connection, has to be waited for. */
static bool send_without_waiting(Sending *sending) NEEDS(REGISTRY_LOCK)
{
    if (!lock_if_free(sending)) {
        return false;
    }
    const Progress progress = send_until_full(sending);
    if (progress == FULL) {
        stay_locked(sending);
        return false;
    }
    end(sending, finish(sending, progress));
    return true;
}

/* False when memory is out. */
static bool add_stalled(Stalled *stalled, const Sending *sending)
{
    const size_t size = (stalled->count + size_t{1}) * sizeof *sending;
    Sending *grown = static_cast<Sending *>(realloc(stalled->all, size));
    if (grown != nullptr) {
        grown[stalled->count++] = *sending;
        stalled->all = grown;
    }
    return grown != nullptr;
}

static void wait_for_stalled(Stalled *stalled) NEEDS(REGISTRY_LOCK)
{
    while (stalled->count > 0) {
        usleep(RETRY_PAUSE_US);
        uint32_t left = 0;
        for (uint32_t i = 0; i < stalled->count; i++) {
            if (!send_without_waiting(&stalled->all[i])) {
                stalled->all[left++] = stalled->all[i];
            }
        }
        stalled->count = left;
    }
    free(stalled->all);
}

void send_broadcast(const Broadcast *broadcast)
{
    const bool waits_later = guard_send_stall_ms() != 0;
    const int flags = waits_later ? MSG_DONTWAIT : 0;
    uint32_t size = 0;
    uint8_t *frame = frame_build(static_cast<uint8_t>(broadcast->type), broadcast->payload,
                                 broadcast->length, &size);
    Stalled stalled = {nullptr, 0};
    const ListNode *node = registry_list()->head;
    for (int number = 0; node != nullptr;) {
        CtrlPoint *record = static_cast<CtrlPoint *>(node->data);
        node = node->next; /* a failed send removes the current node */
        if (record == nullptr || !broadcast->begin(broadcast, record, number++) ||
            frame == nullptr) {
            continue;
        }
        Sending sending = {
            connection_acquire(record), frame, size, broadcast->trace, flags, false, 0, 0, 0};
        const bool waits = !waits_later || sending.to.kind == CONNECTION_GONE;
        if (waits || (!send_without_waiting(&sending) && !add_stalled(&stalled, &sending))) {
            end(&sending, send_whole(&sending));
        }
    }
    wait_for_stalled(&stalled);
    free(frame);
}

static bool begin_event(const Broadcast *event, CtrlPoint *record, int number)
{
    log_out("zqt fd:%d num:%d ip:%x\n", record->fd, number, record->peer_addr);
    print_begin(event->payload, event->length);
    return true;
}

void sendto_all_ctrlpoint(int type, const void *payload, int32_t length)
{
    if (payload == nullptr || length < 1) {
        return;
    }
    const Broadcast event = {type, payload, length, &SENDBACKALL, begin_event};
    registry_lock();
    send_broadcast(&event);
    registry_unlock();
}
