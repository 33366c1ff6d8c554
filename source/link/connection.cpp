#include "link/connection.h"

#include <linux/sockios.h>
#include <stdlib.h>
#include <string.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

/* Of a live record */
enum {
    WORD_USERS = 0,
    WORD_WATCHED = 1,
    WORD_UNSENT = 2,
    WORD_IDENTITY = 3,
};

/* Of a copy that the library made */
enum {
    WORD_MARK = 0,
    WORD_LIVE_RECORD = 1, /* one word or two, aligned so that leak checkers see the address */
};

/* In the word that counts users: the record is out of the list, and the last user ends it. */
static const uint32_t DROPPED = 0x80000000U;

/* In the same word of a copy, beside the low bits of the number of its run. */
static const uint32_t COPY = 0x40000000U;
static const uint32_t RUN_BITS = 0x3FFFFFFFU;

static uint32_t last_identity = 0;
static uint32_t runs_ended = 0;

/* ---- Use of a record */

static void end_record(CtrlPoint *record)
{
    free(record->rx_buf);
    record->rx_buf = nullptr;
    close(record->fd);
    pthread_mutex_destroy(&record->send_lock);
    free(record);
}

void connection_hold(CtrlPoint *record)
{
    __atomic_add_fetch(&record->reserved[WORD_USERS], 1, __ATOMIC_ACQ_REL);
}

void connection_release(CtrlPoint *record)
{
    if (__atomic_sub_fetch(&record->reserved[WORD_USERS], 1, __ATOMIC_ACQ_REL) == DROPPED) {
        end_record(record);
    }
}

void connection_drop(CtrlPoint *record)
{
    shutdown(record->fd, SHUT_RDWR); /* before the last user may close it */
    if (__atomic_fetch_or(&record->reserved[WORD_USERS], DROPPED, __ATOMIC_ACQ_REL) == 0) {
        end_record(record);
    }
}

/* Needs the registry lock. */
static void identify(CtrlPoint *record)
{
    if (record->reserved[WORD_IDENTITY] == 0) {
        last_identity += last_identity == UINT32_MAX ? 2 : 1;
        record->reserved[WORD_IDENTITY] = last_identity;
    }
}

void connection_watch(CtrlPoint *record)
{
    record->reserved[WORD_WATCHED] = 1;
    identify(record);
}

bool connection_watched(const CtrlPoint *record)
{
    return record->reserved[WORD_WATCHED] != 0;
}

static uint32_t unsent_bytes(int fd)
{
    int count = 0;
    return ioctl(fd, SIOCOUTQ, &count) == 0 && count > 0 ? static_cast<uint32_t>(count) : 0;
}

void connection_note_unsent(CtrlPoint *record)
{
    __atomic_store_n(&record->reserved[WORD_UNSENT], unsent_bytes(record->fd), __ATOMIC_RELAXED);
}

void connection_count_sent(CtrlPoint *record, uint32_t added)
{
    if (__atomic_load_n(&record->reserved[WORD_UNSENT], __ATOMIC_RELAXED) != 0) {
        __atomic_add_fetch(&record->reserved[WORD_UNSENT], added, __ATOMIC_RELAXED);
    }
}

bool connection_took_nothing(const CtrlPoint *record)
{
    const uint32_t owed = __atomic_load_n(&record->reserved[WORD_UNSENT], __ATOMIC_RELAXED);
    return owed != 0 && unsent_bytes(record->fd) == owed;
}

/* ---- References and copies */

uint32_t connection_identity(const CtrlPoint *cp)
{
    return cp->reserved[WORD_IDENTITY];
}

bool connection_is_used(const CtrlPoint *record)
{
    return __atomic_load_n(&record->reserved[WORD_USERS], __ATOMIC_ACQUIRE) != 0;
}

void connection_copy_constants(CtrlPoint *copy, const CtrlPoint *record)
{
    *copy = {};
    copy->fd = record->fd;
    copy->peer_addr = record->peer_addr;
    copy->connect_time = record->connect_time;
}

void connection_name(CtrlPoint *record, CtrlPoint *reference)
{
    identify(record);
    connection_copy_constants(reference, record);
    reference->reserved[WORD_IDENTITY] = record->reserved[WORD_IDENTITY];
}

void connection_bind_copy(CtrlPoint *copy, CtrlPoint *record)
{
    connection_hold(record);
    identify(record);
    copy->reserved[WORD_MARK] = COPY | (__atomic_load_n(&runs_ended, __ATOMIC_ACQUIRE) & RUN_BITS);
    copy->reserved[WORD_IDENTITY] = record->reserved[WORD_IDENTITY];
    memcpy(&copy->reserved[WORD_LIVE_RECORD], &record, sizeof record);
}

static bool is_bound(const CtrlPoint *copy)
{
    return (copy->reserved[WORD_MARK] & ~RUN_BITS) == COPY;
}

/* Null for a copy that keeps nothing in use. */
static CtrlPoint *live_record_of(const CtrlPoint *copy)
{
    CtrlPoint *record = nullptr;
    if (is_bound(copy)) {
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

void connection_end_run()
{
    __atomic_add_fetch(&runs_ended, 1, __ATOMIC_ACQ_REL);
}

bool connection_is_of_past_run(const CtrlPoint *copy)
{
    const uint32_t present = __atomic_load_n(&runs_ended, __ATOMIC_ACQUIRE) & RUN_BITS;
    return is_bound(copy) && (copy->reserved[WORD_MARK] & RUN_BITS) != present;
}
