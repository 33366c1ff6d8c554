#include "link/connection_target.h"

#include "link/registry.h"

#include <stddef.h>
#include <stdlib.h>
#include <string.h>

using FillFields = void (*)(CtrlPoint *copy, const CtrlPoint *record);

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

/* True for a record of the library. A record that the host made itself is neither referenced nor
 * listed. */
static bool is_owned(const CtrlPoint *record)
{
    return connection_is_referenced(record) || is_listed(record);
}

/* Copies all of the record but its reserved words, which other threads may be changing. */
static void copy_fields(CtrlPoint *copy, const CtrlPoint *record)
{
    const size_t before = offsetof(CtrlPoint, reserved);
    const size_t after = offsetof(CtrlPoint, send_lock);
    memset(copy, 0, sizeof *copy);
    memcpy(copy, record, before);
    memcpy(&copy->send_lock, &record->send_lock, sizeof *record - after);
}

/* False when the copy could not become a strong reference: it would pass for a copy of a host's own
 * record. */
static bool fill_copy(CtrlPoint *copy, CtrlPoint *record, FillFields fill)
{
    const bool open = registry_lock();
    fill(copy, record);
    if (!open) {
        return !connection_is_referenced(record);
    }
    if (is_owned(record)) {
        connection_make_strong(copy, record);
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
    return new_copy(record, connection_copy_constants);
}

/* ---- The target of a send */

/* True when a record that the host filled itself stands for the listed one: their descriptors are
 * equal, and it was not copied from an earlier connection with the same descriptor. */
static bool same_connection(const CtrlPoint *by_host, const CtrlPoint *listed)
{
    return by_host->fd == listed->fd &&
           (by_host->connect_time == 0 || (by_host->connect_time == listed->connect_time &&
                                           by_host->peer_addr == listed->peer_addr));
}

static bool listed_as(const CtrlPoint *listed, const CtrlPoint *copy)
{
    const uint32_t identity = connection_identity(copy);
    return identity != 0 ? connection_identity(listed) == identity : same_connection(copy, listed);
}

static ConnectionTarget find_unlisted(CtrlPoint *cp)
{
    bool fd_listed = false;
    for (const ListNode *node = g_cp_list.head; node != nullptr; node = node->next) {
        CtrlPoint *listed = static_cast<CtrlPoint *>(node->data);
        if (listed_as(listed, cp)) {
            return {CONNECTION_LISTED, listed};
        }
        fd_listed = fd_listed || listed->fd == cp->fd;
    }
    const bool foreign = connection_identity(cp) == 0 && !fd_listed;
    return {foreign ? CONNECTION_FOREIGN : CONNECTION_GONE, foreign ? cp : nullptr};
}

ConnectionTarget connection_find(CtrlPoint *cp)
{
    /* A listed pointer is compared without dereferencing it. */
    return is_listed(cp) ? ConnectionTarget{CONNECTION_LISTED, cp} : find_unlisted(cp);
}

ConnectionTarget connection_acquire_target(CtrlPoint *cp)
{
    if (!registry_lock()) {
        const bool foreign = connection_identity(cp) == 0;
        return {foreign ? CONNECTION_FOREIGN : CONNECTION_GONE, cp};
    }
    const ConnectionTarget target = connection_find(cp);
    if (target.kind == CONNECTION_LISTED) {
        connection_hold(target.record);
    }
    registry_unlock();
    return target;
}

void connection_release_target(const ConnectionTarget *target)
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
