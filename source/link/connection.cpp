/* SPDX-License-Identifier: MIT */
#include "link/connection.h"

#include "base/flags.h"
#include "base/notices.h"

#include <stdlib.h>
#include <string.h>
#include <sys/socket.h>
#include <unistd.h>

/* The reserved words of a record. */
enum {
    WORD_PLACE = 0,
    WORD_IDENTITY = 1,
    WORD_DESCRIPTOR = 2,
    WORD_RUN = 3,
};

/* Identity and record are written while the place is free, and read by its users. */
struct Place {
    uint32_t users; /* their number, and OPEN; the one that makes it 0 ends the connection */
    uint32_t identity;
    CtrlPoint *record; /* null: the place is free */
    int end_reason;    /* why the connection ends, once that is known; the registry's lock */
    Backlog backlog;
};

/* Flag in `users`: the record is listed, and new users are let in. */
static const uint32_t OPEN = 0x80000000U;

static const uint32_t FIRST_BLOCK = 64;

LockName registry_mutex;
LockName send_mutex;

/* The table: block n holds FIRST_BLOCK << n places. */
static Place *blocks[27] = {};

static uint32_t place_count GUARDED_BY(registry_mutex) = 0;
static uint32_t next_identity GUARDED_BY(registry_mutex) = 1;

/* ---- The table */

static Place *place_at(uint32_t index)
{
    const uint32_t number = index / FIRST_BLOCK + 1;
    const int block = 31 - __builtin_clz(number);
    Place *places = __atomic_load_n(&blocks[block], __ATOMIC_ACQUIRE);
    return places == nullptr ? nullptr : &places[index - FIRST_BLOCK * ((1U << block) - 1)];
}

/* Null for a host's own record: without a handle, or with another descriptor than that of its
 * handle. */
static Place *place_of(const CtrlPoint *cp)
{
    const uint32_t number = __atomic_load_n(&cp->reserved[WORD_PLACE], __ATOMIC_ACQUIRE);
    const bool own = cp->fd != static_cast<int32_t>(cp->reserved[WORD_DESCRIPTOR]);
    return number == 0 || own ? nullptr : place_at(number - 1);
}

/* The number of a free place, as a handle has it; 0 when memory is out. */
static uint32_t find_free_place() NEEDS(registry_mutex)
{
    for (uint32_t i = 0; i < place_count; i++) {
        if (__atomic_load_n(&place_at(i)->record, __ATOMIC_ACQUIRE) == nullptr) {
            return i + 1;
        }
    }
    const uint32_t size = place_count + FIRST_BLOCK;
    Place *places = static_cast<Place *>(calloc(size, sizeof *places));
    if (places == nullptr) {
        return 0;
    }
    __atomic_store_n(&blocks[31 - __builtin_clz(size / FIRST_BLOCK)], places, __ATOMIC_RELEASE);
    place_count += size;
    return place_count - size + 1;
}

/* ---- Users */

static void free_record(CtrlPoint *record)
{
    free(record->rx_buf);
    record->rx_buf = nullptr;
    close(record->fd);
    pthread_mutex_destroy(&record->send_lock);
    free(record);
}

static void end(Place *place)
{
    backlog_clear(&place->backlog);
    free_record(place->record);
    __atomic_store_n(&place->record, nullptr, __ATOMIC_RELEASE);
}

static bool enter(Place *place)
{
    uint32_t users = __atomic_load_n(&place->users, __ATOMIC_RELAXED);
    while ((users & OPEN) != 0) {
        if (__atomic_compare_exchange_n(&place->users, &users, users + 1, true, __ATOMIC_ACQUIRE,
                                        __ATOMIC_RELAXED)) {
            return true;
        }
    }
    return false;
}

static void leave(Place *place)
{
    if (__atomic_sub_fetch(&place->users, 1, __ATOMIC_ACQ_REL) == 0) {
        end(place);
    }
}

Connection connection_acquire(CtrlPoint *cp)
{
    Place *place = place_of(cp);
    if (place == nullptr) {
        return {nullptr, cp};
    }
    if (!enter(place)) {
        return {place, nullptr};
    }
    if (place->identity != cp->reserved[WORD_IDENTITY]) {
        leave(place);
        return {place, nullptr};
    }
    return {place, place->record};
}

void connection_release(Connection connection)
{
    if (connection.place != nullptr && connection.record != nullptr) {
        leave(connection.place);
    }
}

Backlog *connection_backlog(Connection connection)
{
    return &connection.place->backlog;
}

/* ---- The registry's part */

/* The place comes last: another thread may be looking at a record that the host has listed. */
bool connection_register(CtrlPoint *record)
{
    if (connection_has_handle(record)) {
        return true;
    }
    const uint32_t number = find_free_place();
    if (number == 0) {
        return false;
    }
    Place *place = place_at(number - 1);
    place->record = record;
    place->identity = next_identity;
    place->end_reason = IPP_REASON_HOST;
    __atomic_store_n(&place->users, OPEN, __ATOMIC_RELEASE);
    record->reserved[WORD_IDENTITY] = next_identity;
    record->reserved[WORD_DESCRIPTOR] = static_cast<uint32_t>(record->fd);
    record->reserved[WORD_RUN] = flags_run_number();
    __atomic_store_n(&record->reserved[WORD_PLACE], number, __ATOMIC_RELEASE);
    next_identity += next_identity == UINT32_MAX ? 2 : 1;
    notice_connected(record->peer_addr);
    return true;
}

bool connection_is_waiting(const CtrlPoint *record)
{
    const Place *place = place_of(record);
    return place != nullptr && backlog_has_next(&place->backlog);
}

void connection_set_end(const CtrlPoint *record, int reason)
{
    Place *place = place_of(record);
    if (place != nullptr) {
        place->end_reason = reason;
    }
}

void connection_drop(CtrlPoint *record)
{
    Place *place = place_of(record);
    if (place == nullptr) {
        free_record(record);
        return;
    }
    shutdown(record->fd, SHUT_RDWR); /* before the last user can close it */
    notice_gone(record->peer_addr, place->end_reason);
    if (__atomic_and_fetch(&place->users, ~OPEN, __ATOMIC_ACQ_REL) == 0) {
        end(place);
    }
}

/* ---- Copies */

bool connection_has_handle(const CtrlPoint *cp)
{
    return place_of(cp) != nullptr;
}

uint32_t connection_identity(const CtrlPoint *cp)
{
    return cp->reserved[WORD_IDENTITY];
}

bool connection_is_stale(const CtrlPoint *cp)
{
    return connection_has_handle(cp) && flags_run_has_ended(cp->reserved[WORD_RUN]);
}

void connection_clear_descriptor(CtrlPoint *copy)
{
    copy->fd = -1;
    copy->reserved[WORD_DESCRIPTOR] = static_cast<uint32_t>(copy->fd);
}

void connection_refer(CtrlPoint *reference, const CtrlPoint *record)
{
    *reference = {};
    reference->fd = record->fd;
    reference->peer_addr = record->peer_addr;
    reference->connect_time = record->connect_time;
    memcpy(reference->reserved, record->reserved, sizeof reference->reserved);
}

CtrlPoint *connection_copy(const CtrlPoint *record)
{
    CtrlPoint *copy = static_cast<CtrlPoint *>(malloc(sizeof *copy));
    if (copy != nullptr) {
        connection_refer(copy, record);
        copy->rx_buf = record->rx_buf;
        copy->rx_cap = record->rx_cap;
        copy->rx_fill = record->rx_fill;
        copy->rx_pos = record->rx_pos;
        copy->last_heartbeat = __atomic_load_n(&record->last_heartbeat, __ATOMIC_RELAXED);
        copy->last_active = __atomic_load_n(&record->last_active, __ATOMIC_RELAXED);
        copy->idle_limit = record->idle_limit;
    }
    return copy;
}
