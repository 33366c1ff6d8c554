#include "link/receive.h"

#include "base/clock.h"
#include "base/guard.h"
#include "base/log.h"
#include "link/connection_target.h"
#include "link/registry.h"
#include "link/work_queues.h"
#include "net/socket_io.h"
#include "wire/frame.h"

#include <errno.h>
#include <netinet/tcp.h>
#include <stdlib.h>
#include <string.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

namespace
{

/* All that waits on a socket at once, in however many portions it is read. */
struct Arrival {
    uint32_t most; /* the guard's max_frame_length at its beginning: the host may change it */
    bool lost;     /* a length of 0 was met, and the rest is dropped */
};

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

/* Makes room for just that many bytes behind the unread ones, which then start at 0. */
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

/* One attempt; false when no more will come. */
static bool read_some(CtrlPoint *record, uint32_t wanted, uint32_t *got)
{
    const ssize_t count = recv(record->fd, record->rx_buf + record->rx_fill, wanted - *got, 0);
    const int reason = errno;
    set_option_in_vain(record->fd, TCP_QUICKACK);
    if (count > 0) {
        *got += static_cast<uint32_t>(count);
        record->rx_fill += static_cast<uint32_t>(count);
        __atomic_store_n(&record->last_active, get_current_time(), __ATOMIC_RELAXED);
        return true;
    }
    errno = reason;
    log_perror("recv");
    return count < 0 && (reason == EAGAIN || reason == EINTR) && !registry_retries_stopped();
}

/* False when fewer came. */
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
        connection_free_copy(item);
    }
}

static void post_request(CtrlPoint *item, uint8_t *body, uint32_t length)
{
    item->rx_buf = body;
    item->rx_cap = length;
    if (!work_queue_post(&REQUEST_QUEUE, item)) {
        free(body);
        connection_free_copy(item);
    }
}

static void queue_request(CtrlPoint *record, const uint8_t *frame, uint32_t frame_size)
{
    const uint32_t length = frame_size - FRAME_BODY_OVERHEAD;
    uint8_t *body = static_cast<uint8_t *>(malloc(length));
    CtrlPoint *item = body == nullptr ? nullptr : connection_copy(record);
    if (item == nullptr) {
        free(body);
        return;
    }
    memcpy(body, frame + FRAME_BODY_OFFSET, length);
    post_request(item, body, length);
}

static void queue_frame(CtrlPoint *record, const uint8_t *frame, uint32_t size)
{
    if (size < FRAME_OVERHEAD || check_frame(frame, static_cast<int32_t>(size)) != 0) {
        return;
    }
    if (frame[FRAME_BODY_OFFSET] == FRAME_HEARTBEAT) {
        queue_heartbeat(record);
    } else {
        queue_request(record, frame, size);
    }
}

/* The length that the buffer starts with; false while that is not complete. */
static bool announced_length(const CtrlPoint *record, uint32_t *length)
{
    if (unread_bytes(record) < FRAME_LENGTH_END) {
        return false;
    }
    *length = frame_length(record->rx_buf + record->rx_pos);
    return true;
}

static bool is_allowed(uint32_t length, uint32_t most)
{
    return most == 0 || length <= most;
}

/* Does the buffer start with a length that the host does not allow? Nothing after it can be told
 * apart. */
static bool too_long(const CtrlPoint *record, uint32_t most)
{
    uint32_t length = 0;
    return announced_length(record, &length) && !is_allowed(length, most);
}

/* Is there no telling where the next frame begins? */
static bool has_lost_its_place(const CtrlPoint *record)
{
    uint32_t length = 0;
    return announced_length(record, &length) && length == 0;
}

static bool take_frame(CtrlPoint *record, uint32_t most)
{
    uint32_t size = 0;
    if (!announced_length(record, &size) || size == 0 || size > unread_bytes(record) ||
        !is_allowed(size, most)) {
        return false;
    }
    queue_frame(record, record->rx_buf + record->rx_pos, size);
    record->rx_pos += size;
    return true;
}

static void drop_unread(CtrlPoint *record)
{
    record->rx_pos = record->rx_fill;
}

/* False when a length of 0 was met. */
static bool split(CtrlPoint *record, uint32_t most)
{
    while (take_frame(record, most)) {
    }
    if (has_lost_its_place(record)) {
        drop_unread(record);
        return false;
    }
    return true;
}

void handle_ctrlpoint_request(CtrlPoint *record)
{
    split(record, guard_max_frame_length());
}

/* How many of them to read at once. Where the host bounds frames, the buffer never holds more than
 * the longest one, however much the system has kept. */
static uint32_t portion_of(uint32_t arriving, const CtrlPoint *record, uint32_t most)
{
    if (most == 0) {
        return arriving;
    }
    const uint32_t unread = unread_bytes(record);
    const uint32_t longest = most < FRAME_LENGTH_END ? uint32_t{FRAME_LENGTH_END} : most;
    const uint32_t room = unread < longest ? longest - unread : 1; /* the bound may be a new one */
    return arriving < room ? arriving : room;
}

/* False when that is all for now. */
static bool receive_portion(CtrlPoint *record, uint32_t size, Arrival *arrival)
{
    if (!make_room(record, size)) {
        usleep(PAUSE_US); /* the socket stays ready, and the server would spin */
        return false;
    }
    const bool complete = read_all(record, size);
    if (arrival->lost) {
        drop_unread(record);
        return complete;
    }
    arrival->lost = !split(record, arrival->most);
    if (too_long(record, arrival->most)) {
        connection_unlist(record);
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
        size = portion_of(arriving, record, arrival.most);
    } while (receive_portion(record, size, &arrival) && size < arriving);
}

void receive_ctrlpoint_packet(CtrlPoint *record)
{
    const uint32_t arriving = bytes_arriving(record->fd);
    if (arriving > 0) {
        receive_arriving(record, arriving);
    }
}
