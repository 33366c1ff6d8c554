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

/* Is it the library's? A host's own record has no users and is in no list. */
static bool is_owned(const CtrlPoint *record)
{
    return connection_is_used(record) || is_listed(record);
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

/* False when it would keep nothing in use, and so be taken for a copy of a host's own record. */
static bool fill_copy(CtrlPoint *copy, CtrlPoint *record, FillFields fill)
{
    const bool open = registry_lock();
    fill(copy, record);
    if (!open) {
        return !connection_is_used(record);
    }
    if (is_owned(record)) {
        connection_bind_copy(copy, record);
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
    const uint32_t identity = connection_identity(copy);
    return identity != 0 ? connection_identity(listed) == identity : same_connection(copy, listed);
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
    const bool foreign = connection_identity(cp) == 0 && !number_taken;
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
