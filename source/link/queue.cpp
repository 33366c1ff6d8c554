/* SPDX-License-Identifier: MIT */
#include "base/log.h"
#include "link/work_queues.h"

#include <stdint.h>
#include <stdlib.h>

/* One producer and one consumer may run concurrently without a common lock (the two sides of the
 * request queue hold different mutexes): only the producer stores `rear`, only the consumer stores
 * `front`, each after its access to the element. */

static int32_t load_index(const int32_t *index)
{
    return __atomic_load_n(index, __ATOMIC_ACQUIRE);
}

static void store_index(int32_t *index, int32_t value)
{
    __atomic_store_n(index, value, __ATOMIC_RELEASE);
}

static int32_t wrapped(const Queue *queue, int64_t index)
{
    return queue->capacity == 0 ? 0 : static_cast<int32_t>(index % queue->capacity);
}

Queue *newQueue(uint32_t capacity)
{
    if (capacity > INT32_MAX || (uint64_t{capacity} + 1) * sizeof(void *) > SIZE_MAX) {
        return nullptr;
    }
    Queue *queue = static_cast<Queue *>(malloc(sizeof *queue));
    if (queue == nullptr) {
        return nullptr;
    }
    queue->items = static_cast<void **>(calloc(static_cast<size_t>(capacity) + 1, sizeof(void *)));
    if (queue->items == nullptr) {
        free(queue);
        return nullptr;
    }
    queue->capacity = static_cast<int32_t>(capacity);
    queue->front = 0;
    queue->rear = 0;
    return queue;
}

void freeQueue(Queue *queue)
{
    if (queue != nullptr) {
        free(queue->items);
        free(queue);
    }
}

static uint32_t host_changes = 0;

uint32_t queue_host_changes()
{
    return __atomic_load_n(&host_changes, __ATOMIC_ACQUIRE);
}

/* Counted before and after: whoever reads the same number twice has seen a whole change, or none.
 */
int enqueue(Queue *queue, void *element)
{
    __atomic_add_fetch(&host_changes, 1, __ATOMIC_ACQ_REL);
    const int result = queue_put(queue, element);
    __atomic_add_fetch(&host_changes, 1, __ATOMIC_ACQ_REL);
    return result;
}

int queue_put(Queue *queue, void *element)
{
    if (queue == nullptr) {
        return -1;
    }
    if (queueIsFull(queue) != 0) {
        log_out("queue is full.\n");
        return -1;
    }
    const int32_t rear = load_index(&queue->rear);
    queue->items[rear] = element;
    store_index(&queue->rear, wrapped(queue, static_cast<int64_t>(rear) + 1));
    return 0;
}

void *dequeue(Queue *queue)
{
    if (queue == nullptr || queueIsEmpty(queue) != 0) {
        return nullptr;
    }
    const int32_t front = load_index(&queue->front);
    void *element = queue->items[front];
    store_index(&queue->front, wrapped(queue, static_cast<int64_t>(front) + 1));
    return element;
}

int queueIsEmpty(const Queue *queue)
{
    return load_index(&queue->front) == load_index(&queue->rear) ? 1 : 0;
}

int queueIsFull(const Queue *queue)
{
    const int64_t next = static_cast<int64_t>(load_index(&queue->rear)) + 1;
    return wrapped(queue, next) == load_index(&queue->front) ? 1 : 0;
}

int32_t queueLength(const Queue *queue)
{
    const int64_t sum = static_cast<int64_t>(load_index(&queue->rear)) + queue->capacity +
                        load_index(&queue->front);
    return wrapped(queue, sum);
}

void *getQueueElement(const Queue *queue, int32_t index)
{
    if (index < 0 || index >= queueLength(queue)) {
        log_out("queue element is out of range.\n");
        return nullptr;
    }
    return queue->items[wrapped(queue, static_cast<int64_t>(load_index(&queue->front)) + index)];
}
