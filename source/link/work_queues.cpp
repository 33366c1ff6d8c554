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

LockName PRODUCER_LOCK;
LockName CONSUMER_LOCK;

NOT_ANALYSED static void lock_producer(const WorkQueue *work) TAKES(PRODUCER_LOCK)
{
    log_hold();
    pthread_mutex_lock(work->producer_lock);
}

NOT_ANALYSED static void unlock_producer(const WorkQueue *work) RELEASES(PRODUCER_LOCK)
{
    pthread_mutex_unlock(work->producer_lock);
    log_release();
}

NOT_ANALYSED static void lock_consumer(const WorkQueue *work) TAKES(CONSUMER_LOCK)
{
    pthread_mutex_lock(work->consumer_lock);
}

NOT_ANALYSED static void unlock_consumer(const WorkQueue *work) RELEASES(CONSUMER_LOCK)
{
    pthread_mutex_unlock(work->consumer_lock);
}

static bool put(const WorkQueue *work, void *item) NEEDS(PRODUCER_LOCK)
{
    return enqueue(*work->queue, item) == 0;
}

static void *take(const WorkQueue *work) NEEDS(CONSUMER_LOCK)
{
    return dequeue(*work->queue);
}

static bool has_body(const Queue *queue, const uint8_t *body) NEEDS(CONSUMER_LOCK)
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

bool work_queue_post(const WorkQueue *work, void *item)
{
    lock_producer(work);
    const bool queued = put(work, item);
    unlock_producer(work);
    if (queued) {
        sem_post(work->items);
    }
    return queued;
}

bool work_queue_has_body(const WorkQueue *work, const uint8_t *body)
{
    if (queueIsEmpty(*work->queue) != 0) {
        return false;
    }
    lock_consumer(work);
    const bool found = has_body(*work->queue, body);
    unlock_consumer(work);
    return found;
}

void *work_queue_wait(const WorkQueue *work)
{
    sem_wait(work->items);
    lock_consumer(work);
    void *item = take(work);
    unlock_consumer(work);
    return item;
}
