/* SPDX-License-Identifier: MIT */
#include "link/heartbeat.h"

#include "base/clock.h"
#include "base/log.h"
#include "link/registry.h"
#include "link/send.h"
#include "wire/frame.h"

#include <stdlib.h>

static const char HEART[] = {'H', 'E', 'A', 'R', 'T'};
static const uint32_t HEARTBEAT_EVERY_S = 6;

int device_heartbeat(CtrlPoint *cp)
{
    return tcp_sendback(cp, FRAME_HEARTBEAT, HEART, sizeof HEART);
}

bool heartbeat_drop_idle()
{
    registry_lock();
    int32_t limit = 300; /* ignored by ctrlpoint_is_idle */
    void *idle = list_get(registry_list(), ctrlpoint_is_idle, &limit);
    if (idle != nullptr) {
        registry_remove_locked(static_cast<CtrlPoint *>(idle), IPP_REASON_IDLE);
        log_out("zqt===  info: a CtrlPoint timeout, remove ok!\n");
    }
    registry_unlock();
    return idle != nullptr;
}

int check_ctrlpoint_timeout()
{
    heartbeat_drop_idle();
    return 0;
}

static bool begin_if_due(const SendToAll *, CtrlPoint *record, int)
{
    const uint32_t now = get_current_time();
    if (now - record->last_heartbeat < HEARTBEAT_EVERY_S) {
        return false;
    }
    __atomic_store_n(&record->last_heartbeat, now, __ATOMIC_RELAXED);
    return true;
}

int check_ctrlpoint_heart()
{
    const Frame frame = frame_build(FRAME_HEARTBEAT, HEART, sizeof HEART);
    const SendToAll heartbeat = {frame, 0, &SENDBACK, begin_if_due};
    registry_lock();
    send_broadcast(&heartbeat);
    registry_unlock();
    free(frame.bytes);
    return 0;
}
