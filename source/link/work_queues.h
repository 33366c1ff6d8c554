/* A queue between the server thread and a worker, with its locks and its semaphore. */
#pragma once

#include "base/lock.h"
#include "tvlink/work_queues.h"

/* Stand for the locks of the two sides of a queue. */
extern LockName producer_mutex;
extern LockName consumer_mutex;

struct WorkQueue {
    Queue **queue;
    sem_t *items;
    pthread_mutex_t *producer_lock;
    pthread_mutex_t *consumer_lock;
};

extern const WorkQueue REQUEST_QUEUE;
extern const WorkQueue HEARTBEAT_QUEUE;

/* enqueue() for the library's own items, and the count of the host's calls of it. */
int queue_put(Queue *queue, void *element);
uint32_t queue_host_changes(void);

/* False when the queue is full or does not exist: the item stays the caller's. */
bool work_queue_post(const WorkQueue *work, void *item);

/* True when an item in the request queue has this body too: the host has queued a copy of the item.
 * For the request worker. */
bool request_queue_has_body(const uint8_t *body);

/* Waits for an item; null when the wait ended without one. */
void *work_queue_wait(const WorkQueue *work);
