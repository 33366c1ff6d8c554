#include "tcp/connection.h"

#include "tcp/registry_gate.h"

#include <linux/sockios.h>
#include <stddef.h>
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

using FillFields = void (*)(CtrlPoint *copy, const CtrlPoint *record);

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

/* ---- Copies */

static bool is_listed(const CtrlPoint *cp)
{
    for (const ListNode *node = g_cp_list.head; node != nullptr; node = node->next) {
        if (node->data == cp) {
            return true;
        }
    }
    return false;
}

static bool is_used(const CtrlPoint *record)
{
    return __atomic_load_n(&record->reserved[WORD_USERS], __ATOMIC_ACQUIRE) != 0;
}

/* Is it the library's? A host's own record has no users and is in no list. */
static bool is_owned(const CtrlPoint *record)
{
    return is_used(record) || is_listed(record);
}

/* All of the record but its reserved words, of which other threads change some meanwhile. */
static void copy_fields(CtrlPoint *copy, const CtrlPoint *record)
{
    const size_t before = offsetof(CtrlPoint, reserved);
    const size_t behind = offsetof(CtrlPoint, send_lock);
    memset(copy, 0, sizeof *copy);
    memcpy(copy, record, before);
    memcpy(&copy->send_lock, &record->send_lock, sizeof *record - behind);
}

/* What never changes: the server thread may be receiving. */
static void name_fields(CtrlPoint *copy, const CtrlPoint *record)
{
    *copy = {};
    copy->fd = record->fd;
    copy->peer_addr = record->peer_addr;
    copy->connect_time = record->connect_time;
}

static void bind_copy(CtrlPoint *copy, CtrlPoint *record)
{
    connection_hold(record);
    identify(record);
    copy->reserved[WORD_MARK] = COPY | (__atomic_load_n(&runs_ended, __ATOMIC_ACQUIRE) & RUN_BITS);
    copy->reserved[WORD_IDENTITY] = record->reserved[WORD_IDENTITY];
    memcpy(&copy->reserved[WORD_LIVE_RECORD], &record, sizeof record);
}

/* False when it would keep nothing in use, and so be taken for a copy of a host's own record. */
static bool fill_copy(CtrlPoint *copy, CtrlPoint *record, FillFields fill)
{
    const bool open = registry_lock();
    fill(copy, record);
    if (!open) {
        return !is_used(record);
    }
    if (is_owned(record)) {
        bind_copy(copy, record);
    }
    registry_unlock();
    return true;
}

static CtrlPoint *new_copy(CtrlPoint *record, FillFields fill)
{
    CtrlPoint *copy = static_cast<CtrlPoint *>(malloc(sizeof *copy));
    if (copy != nullptr && !fill_copy(copy, record, fill)) {
        free(copy);
        return nullptr;
    }
    return copy;
}

CtrlPoint *connection_copy(CtrlPoint *record)
{
    return new_copy(record, copy_fields);
}

CtrlPoint *connection_bare_copy(CtrlPoint *record)
{
    return new_copy(record, name_fields);
}

void connection_name(CtrlPoint *record, CtrlPoint *reference)
{
    identify(record);
    name_fields(reference, record);
    reference->reserved[WORD_IDENTITY] = record->reserved[WORD_IDENTITY];
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

/* ---- Where a send goes */

/* Does the record that somebody filled by hand mean this listed one? Its descriptor says so, unless
 * it was copied from an earlier connection with the same number. */
static bool same_connection(const CtrlPoint *by_hand, const CtrlPoint *listed)
{
    return by_hand->fd == listed->fd &&
           (by_hand->connect_time == 0 || (by_hand->connect_time == listed->connect_time &&
                                           by_hand->peer_addr == listed->peer_addr));
}

static bool listed_as(const CtrlPoint *listed, const CtrlPoint *copy)
{
    const uint32_t identity = copy->reserved[WORD_IDENTITY];
    return identity != 0 ? listed->reserved[WORD_IDENTITY] == identity
                         : same_connection(copy, listed);
}

static ConnectionTarget find_unlisted(CtrlPoint *cp)
{
    bool number_taken = false;
    for (const ListNode *node = g_cp_list.head; node != nullptr; node = node->next) {
        CtrlPoint *listed = static_cast<CtrlPoint *>(node->data);
        if (listed_as(listed, cp)) {
            return {CONNECTION_LISTED, listed};
        }
        number_taken = number_taken || listed->fd == cp->fd;
    }
    const bool foreign = cp->reserved[WORD_IDENTITY] == 0 && !number_taken;
    return {foreign ? CONNECTION_FOREIGN : CONNECTION_GONE, foreign ? cp : nullptr};
}

ConnectionTarget connection_find(CtrlPoint *cp)
{
    /* A pointer that is listed needs no look at what it points to. */
    return is_listed(cp) ? ConnectionTarget{CONNECTION_LISTED, cp} : find_unlisted(cp);
}

ConnectionTarget connection_reach(CtrlPoint *cp)
{
    if (!registry_lock()) {
        const bool foreign = cp->reserved[WORD_IDENTITY] == 0;
        return {foreign ? CONNECTION_FOREIGN : CONNECTION_GONE, cp};
    }
    const ConnectionTarget target = connection_find(cp);
    if (target.kind == CONNECTION_LISTED) {
        connection_hold(target.record);
    }
    registry_unlock();
    return target;
}

void connection_let_go(const ConnectionTarget *target)
{
    if (target->kind == CONNECTION_LISTED) {
        connection_release(target->record);
    }
}

void connection_unlist(CtrlPoint *record)
{
    if (registry_lock()) {
        list_remove(&g_cp_list, record, ctrlpoint_free);
        registry_unlock();
    }
}
