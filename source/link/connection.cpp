#include "link/connection.h"

#include <linux/sockios.h>
#include <stdlib.h>
#include <string.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

/* The reserved words of a live record. */
enum {
    WORD_REFERENCES = 0,
    WORD_WATCHED = 1,
    WORD_UNACKNOWLEDGED = 2,
    WORD_IDENTITY = 3,
};

/* The reserved words of a copy that the library made. */
enum {
    WORD_GENERATION = 0,
    WORD_LIVE_RECORD = 1, /* one word or two, aligned so that leak checkers find the address */
};

/* Flag in the reference count: the record is out of the list, and the last release frees it. */
static const uint32_t DROPPED = 0x80000000U;

/* The same word of a copy: a flag, and the low bits of the generation. */
static const uint32_t COPY = 0x40000000U;
static const uint32_t GENERATION_BITS = 0x3FFFFFFFU;

static uint32_t last_identity = 0;
static uint32_t generation = 0;

/* ---- The reference count of a record */

static void free_record(CtrlPoint *record)
{
    free(record->rx_buf);
    record->rx_buf = nullptr;
    close(record->fd);
    pthread_mutex_destroy(&record->send_lock);
    free(record);
}

void connection_hold(CtrlPoint *record)
{
    __atomic_add_fetch(&record->reserved[WORD_REFERENCES], 1, __ATOMIC_ACQ_REL);
}

void connection_release(CtrlPoint *record)
{
    if (__atomic_sub_fetch(&record->reserved[WORD_REFERENCES], 1, __ATOMIC_ACQ_REL) == DROPPED) {
        free_record(record);
    }
}

void connection_drop(CtrlPoint *record)
{
    shutdown(record->fd, SHUT_RDWR); /* before the last release can close it */
    if (__atomic_fetch_or(&record->reserved[WORD_REFERENCES], DROPPED, __ATOMIC_ACQ_REL) == 0) {
        free_record(record);
    }
}

/* Needs the registry lock. */
static void assign_identity(CtrlPoint *record)
{
    if (record->reserved[WORD_IDENTITY] == 0) {
        last_identity += last_identity == UINT32_MAX ? 2 : 1;
        record->reserved[WORD_IDENTITY] = last_identity;
    }
}

void connection_watch(CtrlPoint *record)
{
    record->reserved[WORD_WATCHED] = 1;
    assign_identity(record);
}

bool connection_watched(const CtrlPoint *record)
{
    return record->reserved[WORD_WATCHED] != 0;
}

static uint32_t unacknowledged_bytes(int fd)
{
    int count = 0;
    return ioctl(fd, SIOCOUTQ, &count) == 0 && count > 0 ? static_cast<uint32_t>(count) : 0;
}

void connection_snapshot_unacknowledged(CtrlPoint *record)
{
    __atomic_store_n(&record->reserved[WORD_UNACKNOWLEDGED], unacknowledged_bytes(record->fd),
                     __ATOMIC_RELAXED);
}

void connection_add_unacknowledged(CtrlPoint *record, uint32_t added)
{
    if (__atomic_load_n(&record->reserved[WORD_UNACKNOWLEDGED], __ATOMIC_RELAXED) != 0) {
        __atomic_add_fetch(&record->reserved[WORD_UNACKNOWLEDGED], added, __ATOMIC_RELAXED);
    }
}

bool connection_acknowledged_nothing(const CtrlPoint *record)
{
    const uint32_t outstanding =
        __atomic_load_n(&record->reserved[WORD_UNACKNOWLEDGED], __ATOMIC_RELAXED);
    return outstanding != 0 && unacknowledged_bytes(record->fd) == outstanding;
}

/* ---- References and copies */

uint32_t connection_identity(const CtrlPoint *cp)
{
    return cp->reserved[WORD_IDENTITY];
}

bool connection_is_referenced(const CtrlPoint *record)
{
    return __atomic_load_n(&record->reserved[WORD_REFERENCES], __ATOMIC_ACQUIRE) != 0;
}

void connection_copy_constants(CtrlPoint *copy, const CtrlPoint *record)
{
    *copy = {};
    copy->fd = record->fd;
    copy->peer_addr = record->peer_addr;
    copy->connect_time = record->connect_time;
}

void connection_make_weak(CtrlPoint *record, CtrlPoint *reference)
{
    assign_identity(record);
    connection_copy_constants(reference, record);
    reference->reserved[WORD_IDENTITY] = record->reserved[WORD_IDENTITY];
}

void connection_make_strong(CtrlPoint *copy, CtrlPoint *record)
{
    connection_hold(record);
    assign_identity(record);
    copy->reserved[WORD_GENERATION] =
        COPY | (__atomic_load_n(&generation, __ATOMIC_ACQUIRE) & GENERATION_BITS);
    copy->reserved[WORD_IDENTITY] = record->reserved[WORD_IDENTITY];
    memcpy(&copy->reserved[WORD_LIVE_RECORD], &record, sizeof record);
}

static bool is_strong(const CtrlPoint *copy)
{
    return (copy->reserved[WORD_GENERATION] & ~GENERATION_BITS) == COPY;
}

/* The record to which the copy holds a strong reference; null when it holds none. */
static CtrlPoint *live_record_of(const CtrlPoint *copy)
{
    CtrlPoint *record = nullptr;
    if (is_strong(copy)) {
        memcpy(&record, &copy->reserved[WORD_LIVE_RECORD], sizeof record);
    }
    return record;
}

void connection_free_copy(CtrlPoint *copy)
{
    CtrlPoint *record = live_record_of(copy);
    if (record != nullptr) {
        connection_release(record);
    }
    free(copy);
}

void connection_next_generation()
{
    __atomic_add_fetch(&generation, 1, __ATOMIC_ACQ_REL);
}

bool connection_is_stale(const CtrlPoint *copy)
{
    const uint32_t current = __atomic_load_n(&generation, __ATOMIC_ACQUIRE) & GENERATION_BITS;
    return is_strong(copy) && (copy->reserved[WORD_GENERATION] & GENERATION_BITS) != current;
}
