#include "tvlink/workers.h"

#include "base/log.h"
#include "link/connection.h"
#include "link/work_queues.h"
#include "tvlink/heartbeat.h"
#include "tvlink/router.h"

#include <stdlib.h>

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

static void finish_request(CtrlPoint *item)
{
    if (!connection_is_stale(item)) {
        run_request(item);
    }
    if (!request_queue_has_body(item->rx_buf)) {
        free(item->rx_buf);
    }
    free(item);
}

void *devCallBackThread(void *)
{
    for (;;) {
        CtrlPoint *item = static_cast<CtrlPoint *>(work_queue_wait(&REQUEST_QUEUE));
        if (item != nullptr) {
            finish_request(item);
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
