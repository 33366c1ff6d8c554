#include "link/work_queues.h"

#include "base/log.h"

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

bool work_queue_post(const WorkQueue *work, void *item)
{
    log_hold();
    pthread_mutex_lock(work->producer_lock);
    const bool queued = enqueue(*work->queue, item) == 0;
    pthread_mutex_unlock(work->producer_lock);
    log_release();
    if (queued) {
        sem_post(work->items);
    }
    return queued;
}

void *work_queue_wait(const WorkQueue *work)
{
    sem_wait(work->items);
    pthread_mutex_lock(work->consumer_lock);
    void *item = dequeue(*work->queue);
    pthread_mutex_unlock(work->consumer_lock);
    return item;
}
