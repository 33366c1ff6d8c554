#include "link/work_queues.h"

#include "base/log.h"
#include "tvlink/ctrlpoint.h"

Queue *devCallBackQueue = nullptr;
sem_t devCallBackSem;
pthread_mutex_t devCallBackMutex = PTHREAD_MUTEX_INITIALIZER;

Queue *heartBeatFeedbackQueue = nullptr;
sem_t heartBeatFeedbackSem;
pthread_mutex_t heartBeatFeedbackMutex = PTHREAD_MUTEX_INITIALIZER;

/* The two sides of the request queue hold different locks: one producer and one consumer need no
 * common lock. */
const WorkQueue REQUEST_QUEUE = {&devCallBackQueue, &devCallBackSem, &devCallBackMutex,
                                 &heartBeatFeedbackMutex};
const WorkQueue HEARTBEAT_QUEUE = {&heartBeatFeedbackQueue, &heartBeatFeedbackSem,
                                   &heartBeatFeedbackMutex, &heartBeatFeedbackMutex};

LockName producer_mutex;
LockName consumer_mutex;

static Queue *to_fill(const WorkQueue *work) NEEDS(producer_mutex)
{
    return *work->queue;
}

static Queue *to_empty(const WorkQueue *work) NEEDS(consumer_mutex)
{
    return *work->queue;
}

bool work_queue_post(const WorkQueue *work, void *item)
{
    log_hold();
    lock_take(work->producer_lock, &producer_mutex);
    const bool queued = queue_put(to_fill(work), item) == 0;
    lock_release(work->producer_lock, &producer_mutex);
    log_release();
    if (queued) {
        sem_post(work->items);
    }
    return queued;
}

void *work_queue_wait(const WorkQueue *work)
{
    sem_wait(work->items);
    lock_take(work->consumer_lock, &consumer_mutex);
    void *item = dequeue(to_empty(work));
    lock_release(work->consumer_lock, &consumer_mutex);
    return item;
}

static bool has_body(const Queue *queue, const uint8_t *body)
{
    const int32_t rear = __atomic_load_n(&queue->rear, __ATOMIC_ACQUIRE);
    for (int32_t i = queue->front; i != rear; i = (i + 1) % queue->capacity) {
        const CtrlPoint *item = static_cast<const CtrlPoint *>(queue->items[i]);
        if (item != nullptr && item->rx_buf == body) {
            return true;
        }
    }
    return false;
}

/* The host's changes that are known to have left the queue. */
static uint32_t changes_gone = 0;

/* Looks only while something that the host has queued may be there. */
bool request_queue_has_body(const uint8_t *body)
{
    const uint32_t changes = queue_host_changes();
    if (changes == changes_gone) {
        return false;
    }
    if (queueIsEmpty(*REQUEST_QUEUE.queue) != 0) {
        changes_gone = changes;
        return false;
    }
    lock_take(REQUEST_QUEUE.consumer_lock, &consumer_mutex);
    const bool found = has_body(to_empty(&REQUEST_QUEUE), body);
    lock_release(REQUEST_QUEUE.consumer_lock, &consumer_mutex);
    return found;
}
