/* SPDX-License-Identifier: MIT */
#include "link/receive.h"

#include "base/clock.h"
#include "base/guard.h"
#include "base/log.h"
#include "base/notices.h"
#include "base/stats.h"
#include "link/connection.h"
#include "link/registry.h"
#include "link/work_queues.h"
#include "net/socket_io.h"
#include "wire/frame.h"
#include "wire/request_head.h"

#include <errno.h>
#include <netinet/tcp.h>
#include <stdlib.h>
#include <string.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

namespace
{

/* The bytes that a socket has ready at one moment, read in one or more portions. */
struct Arrival {
    uint32_t max_frame; /* snapshot of the guard's max_frame_length, which the host may change */
    bool out_of_sync;   /* a length of 0 was read: the rest of the bytes is dropped */
};

enum FrameState { FRAME_PARTIAL, FRAME_WHOLE, FRAME_WITHOUT_END, FRAME_TOO_LONG };

} // namespace

static const useconds_t PAUSE_US = 10000;

/* ---- Reading */

uint32_t bytes_arriving(int fd)
{
    int count = 0;
    return ioctl(fd, FIONREAD, &count) == 0 && count > 0 ? static_cast<uint32_t>(count) : 0;
}

static uint32_t unread_bytes(const CtrlPoint *record)
{
    return record->rx_fill - record->rx_pos;
}

static void move_to_start(CtrlPoint *record)
{
    const uint32_t unread = unread_bytes(record);
    if (record->rx_pos > 0) {
        memmove(record->rx_buf, record->rx_buf + record->rx_pos, unread);
    }
    record->rx_pos = 0;
    record->rx_fill = unread;
}

/* Makes room for exactly this many bytes behind the unread ones, which it moves to the start. */
static bool make_room(CtrlPoint *record, uint32_t arriving)
{
    const uint32_t unread = unread_bytes(record);
    if (arriving > UINT32_MAX - unread) {
        return false;
    }
    move_to_start(record);
    if (arriving > record->rx_cap - unread) {
        uint8_t *grown = static_cast<uint8_t *>(realloc(record->rx_buf, unread + arriving));
        if (grown == nullptr) {
            return false;
        }
        record->rx_buf = grown;
        record->rx_cap = unread + arriving;
    }
    return true;
}

/* One receive; false when another one would not bring more. */
static bool read_some(CtrlPoint *record, uint32_t wanted, uint32_t *got)
{
    const ssize_t count = recv(record->fd, record->rx_buf + record->rx_fill, wanted - *got, 0);
    const int reason = errno;
    set_option_without_effect(record->fd, TCP_QUICKACK);
    if (count > 0) {
        *got += static_cast<uint32_t>(count);
        stats_received(static_cast<uint32_t>(count));
        record->rx_fill += static_cast<uint32_t>(count);
        __atomic_store_n(&record->last_active, get_current_time(), __ATOMIC_RELAXED);
        return true;
    }
    errno = reason;
    log_perror("recv");
    return count < 0 && (reason == EAGAIN || reason == EINTR) && !connection_is_stale(record);
}

/* False when fewer bytes than wanted were received. */
static bool read_all(CtrlPoint *record, uint32_t wanted)
{
    uint32_t got = 0;
    while (got < wanted && read_some(record, wanted, &got)) {
    }
    return got == wanted;
}

/* ---- Splitting */

static void queue_heartbeat(CtrlPoint *record)
{
    CtrlPoint *item = connection_copy(record);
    if (item != nullptr && !work_queue_post(&HEARTBEAT_QUEUE, item)) {
        free(item);
    }
}

/* The item of a request; null when memory is out. */
static CtrlPoint *request_item(const CtrlPoint *record, const uint8_t *frame, uint32_t length)
{
    uint8_t *body = static_cast<uint8_t *>(malloc(length));
    CtrlPoint *item = body == nullptr ? nullptr : connection_copy(record);
    if (item == nullptr) {
        free(body);
        return nullptr;
    }
    memcpy(body, frame + FRAME_BODY_OFFSET, length);
    item->rx_buf = body;
    item->rx_cap = length;
    return item;
}

/* The checksum is of no consequence, so it is looked at for an observer only. */
static QueuedNote note_of(const uint8_t *frame, uint32_t size)
{
    if (!notices_are_wanted()) {
        return {};
    }
    const int reason =
        request_has_checksum(frame, size) ? IPP_REASON_NONE : IPP_REASON_BAD_CHECKSUM;
    return {nullptr, clock_elapsed_us(), reason};
}

/* The reason why the request was not queued. */
static int post_request(CtrlPoint *item, const uint8_t *frame, uint32_t size)
{
    if (item == nullptr) {
        return IPP_REASON_NO_MEMORY;
    }
    if (work_queue_post(&REQUEST_QUEUE, item, note_of(frame, size))) {
        return IPP_REASON_NONE;
    }
    free(item->rx_buf);
    free(item);
    return IPP_REASON_QUEUE_FULL;
}

static void queue_request(const CtrlPoint *record, const uint8_t *frame, uint32_t size)
{
    const uint32_t length = size - FRAME_BODY_OVERHEAD;
    IppRequest request = request_head(record, frame + FRAME_BODY_OFFSET, length);
    notice_request_arrived(request);
    request.reason = post_request(request_item(record, frame, length), frame, size);
    if (request.reason != IPP_REASON_NONE) {
        notice_request_ended(request);
    }
}

/* Why a frame of this size is none. */
static int reason_to_skip(const uint8_t *frame, uint32_t size)
{
    if (size < FRAME_OVERHEAD) {
        return IPP_REASON_BAD_LENGTH;
    }
    const bool begins_well = check_frame(frame, static_cast<int32_t>(size)) == 0;
    return begins_well ? IPP_REASON_NONE : IPP_REASON_BAD_MAGIC;
}

static void queue_frame(CtrlPoint *record, const uint8_t *frame, uint32_t size)
{
    const int reason = reason_to_skip(frame, size);
    if (reason != IPP_REASON_NONE) {
        notice_bad_frame(record->peer_addr, size, reason);
    } else if (frame[FRAME_BODY_OFFSET] == FRAME_HEARTBEAT) {
        queue_heartbeat(record);
    } else {
        queue_request(record, frame, size);
    }
}

/* The next frame. Without its length the frame behind it cannot be found: a longer one than the
 * host allows, or one with a length of 0. */
static FrameState next_frame(const CtrlPoint *record, uint32_t max_frame, uint32_t *size)
{
    if (unread_bytes(record) < FRAME_LENGTH_END) {
        return FRAME_PARTIAL;
    }
    *size = frame_length(record->rx_buf + record->rx_pos);
    if (*size == 0) {
        return FRAME_WITHOUT_END;
    }
    if (max_frame != 0 && *size > max_frame) {
        return FRAME_TOO_LONG;
    }
    return *size <= unread_bytes(record) ? FRAME_WHOLE : FRAME_PARTIAL;
}

/* Queues the whole frames; returns the state of what follows them. */
static FrameState split(CtrlPoint *record, uint32_t max_frame)
{
    uint32_t size = 0;
    FrameState state = FRAME_PARTIAL;
    while ((state = next_frame(record, max_frame, &size)) == FRAME_WHOLE) {
        queue_frame(record, record->rx_buf + record->rx_pos, size);
        record->rx_pos += size;
    }
    return state;
}

/* Without its length the end of a frame cannot be found. */
static void drop_rest(CtrlPoint *record)
{
    notice_bad_frame(record->peer_addr, unread_bytes(record), IPP_REASON_BAD_LENGTH);
    record->rx_pos = record->rx_fill;
}

void handle_ctrlpoint_request(CtrlPoint *record)
{
    if (split(record, guard_max_frame_length()) == FRAME_WITHOUT_END) {
        drop_rest(record);
    }
}

/* The number of the arriving bytes to read at once. With a limit on frames, the buffer never holds
 * more than the longest frame, however much the system has buffered. */
static uint32_t portion_of(uint32_t arriving, const CtrlPoint *record, uint32_t max_frame)
{
    if (max_frame == 0) {
        return arriving;
    }
    const uint32_t unread = unread_bytes(record);
    const uint32_t longest = max_frame < FRAME_LENGTH_END ? uint32_t{FRAME_LENGTH_END} : max_frame;
    /* The host may have lowered the limit below what is unread. */
    const uint32_t room = unread < longest ? longest - unread : 1;
    return arriving < room ? arriving : room;
}

/* False when the rest has to wait for another pass, or the connection was dropped. */
static bool receive_portion(CtrlPoint *record, uint32_t size, Arrival *arrival)
{
    if (!make_room(record, size)) {
        usleep(PAUSE_US); /* without the pause the server would spin: the socket stays ready */
        return false;
    }
    const bool complete = read_all(record, size);
    if (arrival->out_of_sync) {
        record->rx_pos = record->rx_fill;
        return complete;
    }
    const FrameState state = split(record, arrival->max_frame);
    if (state == FRAME_WITHOUT_END) {
        arrival->out_of_sync = true;
        drop_rest(record);
    }
    if (state == FRAME_TOO_LONG) {
        registry_remove(record, IPP_REASON_FRAME_TOO_LONG);
        return false;
    }
    return complete;
}

void receive_arriving(CtrlPoint *record, uint32_t arriving)
{
    Arrival arrival = {guard_max_frame_length(), false};
    uint32_t size = 0;
    do {
        arriving -= size;
        size = portion_of(arriving, record, arrival.max_frame);
    } while (receive_portion(record, size, &arrival) && size < arriving);
}

void receive_ctrlpoint_packet(CtrlPoint *record)
{
    const uint32_t arriving = bytes_arriving(record->fd);
    if (arriving > 0) {
        receive_arriving(record, arriving);
    }
}
