/* SPDX-License-Identifier: MIT */
/* A bounded first-in-first-out ring of pointers. */
#ifndef TVLINK_QUEUE_H
#define TVLINK_QUEUE_H

#include "tvlink/api.h"

#include <stdint.h>

TVLINK_BEGIN

/* Holds capacity - 1 elements at most; `items` has capacity + 1 entries, of which the last stays
 * unused. Empty when front == rear. The queue neither copies nor frees what its elements point to:
 * the consumer that dequeues an element owns it. It takes no lock: one producer and one consumer
 * at a time. */
typedef struct Queue {
    void **items;     /* the elements */
    int32_t capacity; /* places; one stays free */
    int32_t front;    /* the oldest element */
    int32_t rear;     /* where the next element goes */
} Queue;

/* A new empty queue, to be released with freeQueue; null when memory is out or the capacity does
 * not fit a signed 32-bit number. A queue of capacity 0 is empty and full. */
TVLINK_API Queue *newQueue(uint32_t capacity);

/* Frees the queue, not the elements that are still inside. Null is allowed. */
TVLINK_API void freeQueue(Queue *queue);

/* 0; -1 for a full queue, after the line "queue is full.", and for a null queue. Does not block. */
TVLINK_API int enqueue(Queue *queue, void *element);

/* Removes and returns the oldest element; null when the queue is empty or null. Does not block. */
TVLINK_API void *dequeue(Queue *queue);

/* 1 or 0. */
TVLINK_API int queueIsEmpty(const Queue *queue);
TVLINK_API int queueIsFull(const Queue *queue);

/* (rear + capacity + front) mod capacity: the number of elements only while front is 0. */
TVLINK_API int32_t queueLength(const Queue *queue);

/* The element `index` places behind the oldest, 0 <= index < queueLength(); otherwise null, after
 * the line "queue element is out of range.". The element stays in the queue. */
TVLINK_API void *getQueueElement(const Queue *queue, int32_t index);

TVLINK_END

#endif
