/* A queue between the server thread and a worker, with its locks and its semaphore. */
#pragma once

#include "tvlink/work_queues.h"

struct WorkQueue {
    Queue **queue;
    sem_t *items;
    pthread_mutex_t *producer_lock;
    pthread_mutex_t *consumer_lock;
};

extern const WorkQueue REQUEST_QUEUE;
extern const WorkQueue HEARTBEAT_QUEUE;

/* False when the queue is full or does not exist: the item stays the caller's. */
bool work_queue_post(const WorkQueue *work, void *item);

/* Waits for an item; null when the wait ended without one. */
void *work_queue_wait(const WorkQueue *work);
