/* SPDX-License-Identifier: MIT */
#include "tvlink/workers.h"

#include "base/clock.h"
#include "base/log.h"
#include "base/notices.h"
#include "base/outcome.h"
#include "base/running_slot.h"
#include "base/stats.h"
#include "link/connection.h"
#include "link/work_queues.h"
#include "tvlink/heartbeat.h"
#include "tvlink/router.h"
#include "wire/request_head.h"

#include <stdlib.h>

static const uint32_t NO_CODE = 65536;

pthread_t devCallBackTid = 0;
pthread_t heartBeatFeedbackTid = 0;

namespace
{

struct Worker {
    const WorkQueue *work;
    const char *queue_error;
    void *(*body)(void *);
    pthread_t *thread;
    bool has_queue; /* made by an earlier start, which may have failed later */
    bool started;
};

Worker request_worker = {
    &REQUEST_QUEUE, "new devCallBackQueue error.\n", devCallBackThread, &devCallBackTid, false,
    false};
Worker heartbeat_worker = {&HEARTBEAT_QUEUE,
                           "new heartBeatFeedbackQueue error.\n",
                           heartBeatFeedbackThread,
                           &heartBeatFeedbackTid,
                           false,
                           false};

} // namespace

static int make_queue(Worker *worker)
{
    if (worker->has_queue) {
        return 0;
    }
    Queue *queue = newQueue(WORK_QUEUE_CAPACITY);
    if (queue == nullptr) {
        log_out("%s", worker->queue_error);
        return -1;
    }
    *worker->work->queue = queue;
    sem_init(worker->work->items, 0, 0);
    worker->has_queue = true;
    return 0;
}

static int start_worker(Worker *worker)
{
    if (worker->started) {
        return 0;
    }
    if (make_queue(worker) != 0) {
        return -1;
    }
    if (pthread_create(worker->thread, nullptr, worker->body, nullptr) != 0) {
        log_out("err: startDevCallBackThread pthread_create() fail\n");
        return -4;
    }
    worker->started = true;
    return 0;
}

int startDevCallBackThread()
{
    return start_worker(&request_worker);
}

int startHeartBeatFeedbackThread()
{
    return start_worker(&heartbeat_worker);
}

/* The connection stays in use, and its descriptor its own, while the request runs. Once it has
 * ended the host finds no descriptor in the item. */
static void run_request(CtrlPoint *item)
{
    const Connection connection = connection_acquire(item);
    if (connection.record == nullptr) {
        connection_clear_descriptor(item);
    }
    response_ctrlpoint_request(item, item->rx_buf, static_cast<int32_t>(item->rx_cap));
    connection_release(connection);
}

/* Runs the request, unless its service has stopped, and fills in what became of it. */
static void run_watched(CtrlPoint *item, IppRequest *request)
{
    const uint64_t begin_us = clock_elapsed_us();
    running_slot_begin(*request, begin_us);
    outcome_begin();
    run_request(item);
    const Outcome outcome = outcome_end();
    request->slot_us = clock_between_us(begin_us, outcome.slot_end_us);
    request->replied = outcome.replied ? 1 : 0;
    request->result = outcome.result;
    if (outcome.reason != IPP_REASON_NONE) {
        request->reason = outcome.reason;
    }
    stats_slot_took(request->slot_us, request->has_code != 0 ? request->code : NO_CODE);
}

static void finish_request(CtrlPoint *item, const QueuedNote &note)
{
    IppRequest request = request_head(item, item->rx_buf, item->rx_cap);
    request.reason = note.reason;
    if (note.queued_us != 0) {
        request.queue_us = clock_between_us(note.queued_us, clock_elapsed_us());
    }
    if (connection_is_stale(item)) {
        request.reason = IPP_REASON_STOPPED;
    } else {
        run_watched(item, &request);
    }
    notice_request_ended(request);
    if (!request_queue_has_body(item->rx_buf)) {
        free(item->rx_buf);
    }
    free(item);
}

void *devCallBackThread(void *)
{
    for (;;) {
        QueuedNote note;
        CtrlPoint *item = static_cast<CtrlPoint *>(work_queue_wait(&REQUEST_QUEUE, &note));
        if (item != nullptr) {
            finish_request(item, note);
        }
    }
}

void *heartBeatFeedbackThread(void *)
{
    for (;;) {
        CtrlPoint *item = static_cast<CtrlPoint *>(work_queue_wait(&HEARTBEAT_QUEUE));
        if (item != nullptr) {
            device_heartbeat(item);
            free(item);
        }
    }
}
