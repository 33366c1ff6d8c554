/* SPDX-License-Identifier: MIT */
#include "tvlink/host/push.h"

#include "base/detached_thread.h"
#include "base/log.h"
#include "base/notices.h"
#include "link/connection.h"
#include "tvlink/reply.h"
#include "wire/frame.h"

#include <stdlib.h>

/* The latest push thread; for debuggers, never read. */
static pthread_t egp_tid;

static void free_push(PushRecord *push)
{
    free(push->reference);
    free(push);
}

/* A record of the library may be freed before the thread runs; a copy of it stands for the same
 * connection. False when memory is out. */
static bool set_target(PushRecord *push, CtrlPoint *cp)
{
    push->control_point = cp;
    if (!connection_has_handle(cp)) {
        return true;
    }
    push->reference = static_cast<CtrlPoint *>(malloc(sizeof *push->reference));
    if (push->reference != nullptr) {
        connection_refer(push->reference, cp);
    }
    push->control_point = push->reference;
    return push->reference != nullptr;
}

static PushRecord *new_push(CtrlPoint *cp, void *data, uint32_t length)
{
    PushRecord *push = static_cast<PushRecord *>(calloc(1, sizeof *push));
    if (push != nullptr && !set_target(push, cp)) {
        free_push(push);
        return nullptr;
    }
    if (push != nullptr) {
        push->data = data;
        push->length = length;
    }
    return push;
}

int start_egp_thread(CtrlPoint **cp, void *data, uint32_t length)
{
    if (cp == nullptr || *cp == nullptr) {
        return -1;
    }
    PushRecord *push = new_push(*cp, data, length);
    if (push == nullptr) {
        return -1;
    }
    const uint32_t peer = push->control_point->peer_addr;
    notice_push_begun(peer, length);
    pthread_t thread;
    if (detached_thread_start(&thread, epg_send, push) != 0) {
        log_out("err: pthread_create() fail\n");
        notice_push_ended(peer, IPP_REASON_NO_THREAD);
        free_push(push);
        return -1;
    }
    __atomic_store_n(&egp_tid, thread, __ATOMIC_RELAXED);
    return 0;
}

void *epg_send(void *record)
{
    PushRecord *push = static_cast<PushRecord *>(record);
    const uint32_t peer = push->control_point == nullptr ? 0 : push->control_point->peer_addr;
    const int sent = tcp_sendback(push->control_point, FRAME_GET_REPLY, push->data,
                                  static_cast<int32_t>(push->length));
    free(push->data);
    free_push(push);
    notice_push_ended(peer, sent == 1 ? IPP_REASON_NONE : IPP_REASON_GONE);
    return nullptr;
}
