/* SPDX-License-Identifier: MIT */
/* A queue between the server thread and a worker, with its locks and its semaphore. */
#pragma once

#include "base/lock.h"
#include "tvlink/work_queues.h"

/* Stand for the locks of the two sides of a queue. */
extern LockName producer_mutex;
extern LockName consumer_mutex;

/* What the server thread notes of a queued request, beside the queue. */
struct QueuedNote {
    const void *item;   /* what was put there; a host may have put something else since */
    uint64_t queued_us; /* 0: not known */
    int reason;         /* IPP_REASON_BAD_CHECKSUM, or none */
};

struct WorkQueue {
    Queue **queue;
    sem_t *items;
    pthread_mutex_t *producer_lock;
    pthread_mutex_t *consumer_lock;
    QueuedNote *notes; /* one for each place; null: none are made */
};

extern const WorkQueue REQUEST_QUEUE;
extern const WorkQueue HEARTBEAT_QUEUE;

/* enqueue() for the library's own items, and the count of the host's calls of it. */
int queue_put(Queue *queue, void *element);
uint32_t queue_host_changes(void);

/* False when the queue is full or does not exist: the item stays the caller's. */
bool work_queue_post(const WorkQueue *work, void *item, QueuedNote note = {});

/* True when an item in the request queue has this body too: the host has queued a copy of the item.
 * For the request worker. */
bool request_queue_has_body(const uint8_t *body);

/* Waits for an item; null when the wait ended without one. The note is all zero when the item has
 * none. */
void *work_queue_wait(const WorkQueue *work, QueuedNote *note = nullptr);

/* True when a request waits for the worker. */
bool request_queue_is_used(void);
