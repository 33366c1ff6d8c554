#include "tcp/registry_gate.h"

#include "core/log.h"
#include "tcp/connection.h"
#include "tvlink/registry.h"

/* One word, so that to enter and to leave cost one atomic operation each: how many are inside, and
 * two flags. Open before the first start, when the registry lock is the static one. */
static const uint32_t CLOSED = 0x80000000U;   /* there is no registry */
static const uint32_t STOPPING = 0x40000000U; /* sends give up instead of trying again */
static const uint32_t COUNT = 0x3FFFFFFFU;

static uint32_t gate = 0;

/* Where registry_close() waits for the last one inside. */
static pthread_mutex_t leave_lock = PTHREAD_MUTEX_INITIALIZER;
static pthread_cond_t everybody_left = PTHREAD_COND_INITIALIZER;

static void leave()
{
    if (__atomic_sub_fetch(&gate, 1, __ATOMIC_ACQ_REL) << 2 == 0 && registry_retries_stopped()) {
        pthread_mutex_lock(&leave_lock);
        pthread_cond_broadcast(&everybody_left);
        pthread_mutex_unlock(&leave_lock);
    }
}

static bool enter()
{
    if ((__atomic_fetch_add(&gate, 1, __ATOMIC_ACQ_REL) & CLOSED) == 0) {
        return true;
    }
    leave();
    return false;
}

bool registry_lock()
{
    if (!enter()) {
        return false;
    }
    log_hold();
    pthread_mutex_lock(&g_cp_list_mutex);
    return true;
}

void registry_unlock()
{
    pthread_mutex_unlock(&g_cp_list_mutex);
    leave();
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

/* False when it was closed already. */
static bool close_gate()
{
    const bool was_open = (__atomic_fetch_or(&gate, CLOSED, __ATOMIC_ACQ_REL) & CLOSED) == 0;
    pthread_mutex_lock(&leave_lock);
    while ((__atomic_load_n(&gate, __ATOMIC_ACQUIRE) & COUNT) != 0) {
        pthread_cond_wait(&everybody_left, &leave_lock);
    }
    pthread_mutex_unlock(&leave_lock);
    return was_open;
}

void registry_open()
{
    close_gate(); /* a host thread may be reporting an event before the first start */
    pthread_mutex_init(&g_cp_list_mutex, nullptr);
    list_init(&g_cp_list);
    __atomic_and_fetch(&gate, COUNT, __ATOMIC_ACQ_REL);
}

void registry_close()
{
    if (!close_gate()) {
        return;
    }
    pthread_mutex_lock(&g_cp_list_mutex);
    list_clean(&g_cp_list, ctrlpoint_free);
    pthread_mutex_unlock(&g_cp_list_mutex);
    pthread_mutex_destroy(&g_cp_list_mutex);
    connection_end_run();
}
