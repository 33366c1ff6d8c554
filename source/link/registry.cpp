#include "link/registry.h"

#include "base/clock.h"
#include "base/log.h"
#include "link/connection.h"

#include <stdlib.h>

/* A control point is idle when it has been silent for a time within this band. When the clock jumps
 * ahead, all control points are beyond the band, and none is dropped. */
static const int32_t IDLE_FROM_S = 31;
static const int32_t IDLE_BEFORE_S = 300;

static const int32_t IDLE_LIMIT_S = 30; /* stored in new records, never read */

CtrlPointList g_cp_list = {0, nullptr, nullptr};
pthread_mutex_t g_cp_list_mutex = PTHREAD_MUTEX_INITIALIZER;

/* ---- The gate */

/* One word, so that entering and leaving cost one atomic operation each: the number of threads
 * inside, and two flags. Open before the first start, when the registry lock is the static one. */
static const uint32_t CLOSED = 0x80000000U;   /* there is no registry */
static const uint32_t STOPPING = 0x40000000U; /* sends are not retried */
static const uint32_t COUNT = 0x3FFFFFFFU;

static uint32_t gate = 0;

/* Signal that the gate has drained. */
static pthread_mutex_t drain_lock = PTHREAD_MUTEX_INITIALIZER;
static pthread_cond_t drained = PTHREAD_COND_INITIALIZER;

static void leave_gate()
{
    if (__atomic_sub_fetch(&gate, 1, __ATOMIC_ACQ_REL) << 2 == 0 && registry_retries_stopped()) {
        pthread_mutex_lock(&drain_lock);
        pthread_cond_broadcast(&drained);
        pthread_mutex_unlock(&drain_lock);
    }
}

static bool enter_gate()
{
    if ((__atomic_fetch_add(&gate, 1, __ATOMIC_ACQ_REL) & CLOSED) == 0) {
        return true;
    }
    leave_gate();
    return false;
}

bool registry_lock()
{
    if (!enter_gate()) {
        return false;
    }
    log_hold();
    pthread_mutex_lock(&g_cp_list_mutex);
    return true;
}

void registry_unlock()
{
    pthread_mutex_unlock(&g_cp_list_mutex);
    leave_gate();
    log_release();
}

void registry_stop_retries()
{
    __atomic_or_fetch(&gate, STOPPING, __ATOMIC_ACQ_REL);
}

bool registry_retries_stopped()
{
    return (__atomic_load_n(&gate, __ATOMIC_ACQUIRE) & (STOPPING | CLOSED)) != 0;
}

/* Closes the gate and waits until it has drained. False when it was closed already. */
static bool drain_gate()
{
    const bool was_open = (__atomic_fetch_or(&gate, CLOSED, __ATOMIC_ACQ_REL) & CLOSED) == 0;
    pthread_mutex_lock(&drain_lock);
    while ((__atomic_load_n(&gate, __ATOMIC_ACQUIRE) & COUNT) != 0) {
        pthread_cond_wait(&drained, &drain_lock);
    }
    pthread_mutex_unlock(&drain_lock);
    return was_open;
}

void registry_open()
{
    drain_gate(); /* a host thread may be reporting an event before the first start */
    pthread_mutex_init(&g_cp_list_mutex, nullptr);
    list_init(&g_cp_list);
    __atomic_and_fetch(&gate, COUNT, __ATOMIC_ACQ_REL);
}

void registry_close()
{
    if (!drain_gate()) {
        return;
    }
    pthread_mutex_lock(&g_cp_list_mutex);
    list_clean(&g_cp_list, ctrlpoint_free);
    pthread_mutex_unlock(&g_cp_list_mutex);
    pthread_mutex_destroy(&g_cp_list_mutex);
    connection_next_generation();
}

/* ---- Records */

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
    if (list_insert(&g_cp_list, record) != 0) {
        pthread_mutex_destroy(&record->send_lock);
        free(record);
        return -1;
    }
    return 0;
}

uint32_t ipp_connected_ctrlpoints(CtrlPoint *references, uint32_t most)
{
    if (!registry_lock()) {
        return 0;
    }
    uint32_t count = 0;
    for (const ListNode *node = g_cp_list.head; node != nullptr; node = node->next) {
        if (count < most) {
            connection_make_weak(static_cast<CtrlPoint *>(node->data), &references[count]);
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
