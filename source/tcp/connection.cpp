#include "tcp/connection.h"

#include "core/log.h"

#include <stdlib.h>
#include <string.h>
#include <sys/socket.h>
#include <unistd.h>

namespace
{

enum GateState {
    GATE_OPEN,     /* also before the first start: the lock is static then */
    GATE_STOPPING, /* sends give up instead of trying again */
    GATE_CLOSED,   /* there is no registry */
};

enum ReservedWord {
    WORD_USERS = 0,
    WORD_IDENTITY = 1,
    WORD_DROPPED = 2,
    WORD_WATCHED = 3,
    WORD_LIVE_RECORD = 2, /* of a copy; one word or two */
};

/* Guards all that follows and the reserved words of live records. Innermost: nothing is taken
 * inside. */
pthread_mutex_t use_lock = PTHREAD_MUTEX_INITIALIZER;
pthread_cond_t everybody_left = PTHREAD_COND_INITIALIZER;
GateState gate = GATE_OPEN;
uint32_t inside = 0;
uint32_t last_identity = 0;
uint32_t last_past_identity = 0; /* identities up to here belong to runs that have ended */

} // namespace

bool registry_lock()
{
    pthread_mutex_lock(&use_lock);
    const bool open = gate != GATE_CLOSED;
    inside += open ? 1 : 0;
    pthread_mutex_unlock(&use_lock);
    if (open) {
        log_hold();
        pthread_mutex_lock(&g_cp_list_mutex);
    }
    return open;
}

void registry_unlock()
{
    pthread_mutex_unlock(&g_cp_list_mutex);
    pthread_mutex_lock(&use_lock);
    if (--inside == 0) {
        pthread_cond_signal(&everybody_left);
    }
    pthread_mutex_unlock(&use_lock);
    log_release();
}

void registry_stop_retries()
{
    pthread_mutex_lock(&use_lock);
    if (gate == GATE_OPEN) {
        __atomic_store_n(&gate, GATE_STOPPING, __ATOMIC_RELEASE);
    }
    pthread_mutex_unlock(&use_lock);
}

bool registry_retries_stopped()
{
    return __atomic_load_n(&gate, __ATOMIC_ACQUIRE) != GATE_OPEN;
}

/* False when it was closed already. */
static bool close_gate()
{
    pthread_mutex_lock(&use_lock);
    const bool was_open = gate != GATE_CLOSED;
    __atomic_store_n(&gate, GATE_CLOSED, __ATOMIC_RELEASE);
    while (inside > 0) {
        pthread_cond_wait(&everybody_left, &use_lock);
    }
    last_past_identity = last_identity;
    pthread_mutex_unlock(&use_lock);
    return was_open;
}

void registry_open()
{
    close_gate(); /* a host thread may be reporting an event before the first start */
    pthread_mutex_init(&g_cp_list_mutex, nullptr);
    list_init(&g_cp_list);
    pthread_mutex_lock(&use_lock);
    __atomic_store_n(&gate, GATE_OPEN, __ATOMIC_RELEASE);
    pthread_mutex_unlock(&use_lock);
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
}

static void end_record(CtrlPoint *record)
{
    free(record->rx_buf);
    record->rx_buf = nullptr;
    close(record->fd);
    pthread_mutex_destroy(&record->send_lock);
    free(record);
}

/* Needs use_lock. */
static void count_user(CtrlPoint *record)
{
    record->reserved[WORD_USERS]++;
    if (record->reserved[WORD_IDENTITY] == 0) {
        last_identity += last_identity == UINT32_MAX ? 2 : 1;
        record->reserved[WORD_IDENTITY] = last_identity;
    }
}

void connection_hold(CtrlPoint *record)
{
    pthread_mutex_lock(&use_lock);
    count_user(record);
    pthread_mutex_unlock(&use_lock);
}

void connection_release(CtrlPoint *record)
{
    pthread_mutex_lock(&use_lock);
    const bool last = --record->reserved[WORD_USERS] == 0 && record->reserved[WORD_DROPPED] != 0;
    pthread_mutex_unlock(&use_lock);
    if (last) {
        end_record(record);
    }
}

void connection_drop(CtrlPoint *record)
{
    pthread_mutex_lock(&use_lock);
    const bool in_use = record->reserved[WORD_USERS] > 0;
    if (in_use) {
        record->reserved[WORD_DROPPED] = 1;
        shutdown(record->fd, SHUT_RDWR);
    }
    pthread_mutex_unlock(&use_lock);
    if (!in_use) {
        end_record(record);
    }
}

void connection_watch(CtrlPoint *record)
{
    record->reserved[WORD_WATCHED] = 1;
}

bool connection_watched(const CtrlPoint *record)
{
    return record->reserved[WORD_WATCHED] != 0;
}

CtrlPoint *connection_copy(CtrlPoint *record)
{
    CtrlPoint *copy = static_cast<CtrlPoint *>(malloc(sizeof *copy));
    if (copy == nullptr) {
        return nullptr;
    }
    const bool locked = registry_lock(); /* guards the rest of the record */
    pthread_mutex_lock(&use_lock);
    count_user(record);
    memcpy(copy, record, sizeof *copy);
    pthread_mutex_unlock(&use_lock);
    if (locked) {
        registry_unlock();
    }
    memcpy(&copy->reserved[WORD_LIVE_RECORD], &record, sizeof record);
    return copy;
}

/* Null for a record that is no copy of the library's. */
static CtrlPoint *live_record_of(const CtrlPoint *copy)
{
    CtrlPoint *record = nullptr;
    if (copy->reserved[WORD_IDENTITY] != 0) {
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

bool connection_is_of_past_run(const CtrlPoint *copy)
{
    const uint32_t identity = copy->reserved[WORD_IDENTITY];
    pthread_mutex_lock(&use_lock);
    const bool past = identity != 0 && static_cast<int32_t>(identity - last_past_identity) <= 0;
    pthread_mutex_unlock(&use_lock);
    return past;
}

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

static bool is_listed(const CtrlPoint *cp)
{
    for (const ListNode *node = g_cp_list.head; node != nullptr; node = node->next) {
        if (node->data == cp) {
            return true;
        }
    }
    return false;
}

static ConnectionTarget find_unlisted(CtrlPoint *cp)
{
    for (const ListNode *node = g_cp_list.head; node != nullptr; node = node->next) {
        CtrlPoint *listed = static_cast<CtrlPoint *>(node->data);
        if (listed_as(listed, cp)) {
            return {CONNECTION_LISTED, listed};
        }
    }
    const bool foreign = cp->reserved[WORD_IDENTITY] == 0;
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
