#include "tvlink/heartbeat.h"

#include "base/clock.h"
#include "base/log.h"
#include "link/connection.h"
#include "link/registry.h"
#include "link/send.h"
#include "wire/frame.h"

static const char HEART[] = {'H', 'E', 'A', 'R', 'T'};
static const uint32_t HEARTBEAT_EVERY_S = 6;

int device_heartbeat(CtrlPoint *cp)
{
    return tcp_sendback(cp, FRAME_HEARTBEAT, HEART, sizeof HEART);
}

int check_ctrlpoint_timeout()
{
    if (!registry_lock()) {
        return 0;
    }
    int32_t limit = 300; /* ignored by ctrlpoint_is_idle */
    void *idle = list_get(&g_cp_list, ctrlpoint_is_idle, &limit);
    if (idle != nullptr) {
        list_remove(&g_cp_list, idle, ctrlpoint_free);
        log_out("zqt===  info: a CtrlPoint timeout, remove ok!\n");
    }
    registry_unlock();
    return 0;
}

static void heartbeat_if_due(CtrlPoint *record)
{
    const uint32_t now = get_current_time();
    if (now - record->last_heartbeat >= HEARTBEAT_EVERY_S) {
        record->last_heartbeat = now; /* before the send, which may free the record */
        reply_send_locked(record, FRAME_HEARTBEAT, HEART, sizeof HEART);
    }
}

int check_ctrlpoint_heart()
{
    if (!registry_lock()) {
        return 0;
    }
    reply_begin_broadcast();
    const ListNode *node = g_cp_list.head;
    while (node != nullptr) {
        CtrlPoint *record = static_cast<CtrlPoint *>(node->data);
        node = node->next; /* a failed send removes the current node */
        heartbeat_if_due(record);
    }
    reply_end_broadcast();
    registry_unlock();
    return 0;
}
