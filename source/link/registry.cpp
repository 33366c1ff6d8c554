/* SPDX-License-Identifier: MIT */
#include "link/registry.h"

#include "base/clock.h"
#include "base/held_calls.h"

#include <stdlib.h>

/* A control point is idle when it has been silent for a time within this band. When the clock jumps
 * ahead, all control points are beyond the band, and none is dropped. */
static const int32_t IDLE_FROM_S = 31;
static const int32_t IDLE_BEFORE_S = 300;

static const int32_t IDLE_LIMIT_S = 30; /* stored in new records, never read */

CtrlPointList g_cp_list = {0, nullptr, nullptr};
pthread_mutex_t g_cp_list_mutex = PTHREAD_MUTEX_INITIALIZER;

/* Before the code of a host runs: not every libc has a recursive mutex that needs no call. */
__attribute__((constructor(101))) static void make_mutex_recursive()
{
    pthread_mutexattr_t attributes;
    pthread_mutexattr_init(&attributes);
    pthread_mutexattr_settype(&attributes, PTHREAD_MUTEX_RECURSIVE);
    pthread_mutex_init(&g_cp_list_mutex, &attributes);
    pthread_mutexattr_destroy(&attributes);
}

void registry_lock()
{
    calls_hold();
    lock_take(&g_cp_list_mutex, &registry_mutex);
}

void registry_unlock()
{
    lock_release(&g_cp_list_mutex, &registry_mutex);
    calls_release();
}

CtrlPointList *registry_list()
{
    return &g_cp_list;
}

void registry_open()
{
    registry_lock();
    list_init(registry_list());
    registry_unlock();
}

void registry_close()
{
    registry_lock();
    for (const ListNode *node = registry_list()->head; node != nullptr; node = node->next) {
        connection_set_end(static_cast<const CtrlPoint *>(node->data), IPP_REASON_STOPPED);
    }
    list_clean(registry_list(), ctrlpoint_free);
    registry_unlock();
}

/* ---- Records */

/* For a record that never was a connection: its socket stays the caller's. */
static void discard(void *record)
{
    pthread_mutex_destroy(&static_cast<CtrlPoint *>(record)->send_lock);
    free(record);
}

int check_and_insert(int32_t fd, uint32_t peer_addr)
{
    CtrlPoint *record = static_cast<CtrlPoint *>(calloc(1, sizeof *record));
    if (record == nullptr) {
        return -1;
    }
    record->fd = fd;
    record->peer_addr = peer_addr;
    record->connect_time = get_current_time();
    record->last_active = record->connect_time;
    record->idle_limit = IDLE_LIMIT_S;
    pthread_mutex_init(&record->send_lock, nullptr);
    if (list_insert(registry_list(), record) != 0) {
        discard(record);
        return -1;
    }
    if (!connection_register(record)) {
        list_remove(registry_list(), record, discard);
        return -1;
    }
    return 0;
}

static int is_record(void *record, void *key)
{
    return record == key ? 1 : 0;
}

void registry_remove_locked(CtrlPoint *record, int reason)
{
    if (list_find(registry_list(), is_record, record) != 0) {
        connection_set_end(record, reason);
        list_remove(registry_list(), record, ctrlpoint_free);
    }
}

void registry_remove(CtrlPoint *record, int reason)
{
    registry_lock();
    registry_remove_locked(record, reason);
    registry_unlock();
}

uint32_t ipp_connected_ctrlpoints(CtrlPoint *references, uint32_t most)
{
    registry_lock();
    uint32_t count = 0;
    for (const ListNode *node = registry_list()->head; node != nullptr; node = node->next) {
        if (count < most) {
            CtrlPoint *record = static_cast<CtrlPoint *>(node->data);
            connection_register(record);
            connection_refer(&references[count], record);
        }
        count++;
    }
    registry_unlock();
    return count;
}

void ctrlpoint_free(void *record)
{
    connection_drop(static_cast<CtrlPoint *>(record));
}

int ctrlpoint_match_addr(void *record, void *key)
{
    return static_cast<CtrlPoint *>(record)->peer_addr == *static_cast<uint32_t *>(key) ? 1 : 0;
}

int ctrlpoint_match_fd(void *record, void *key)
{
    return static_cast<CtrlPoint *>(record)->fd == *static_cast<int32_t *>(key) ? 1 : 0;
}

int ctrlpoint_is_idle(void *record, void *)
{
    const uint32_t active =
        __atomic_load_n(&static_cast<CtrlPoint *>(record)->last_active, __ATOMIC_RELAXED);
    const int32_t age = static_cast<int32_t>(get_current_time() - active);
    return age >= IDLE_FROM_S && age < IDLE_BEFORE_S ? 1 : 0;
}
