/* SPDX-License-Identifier: MIT */
#include "link/work_queues.h"

#include "base/held_calls.h"
#include "base/stats.h"
#include "tvlink/ctrlpoint.h"

Queue *devCallBackQueue = nullptr;
sem_t devCallBackSem;
pthread_mutex_t devCallBackMutex = PTHREAD_MUTEX_INITIALIZER;

Queue *heartBeatFeedbackQueue = nullptr;
sem_t heartBeatFeedbackSem;
pthread_mutex_t heartBeatFeedbackMutex = PTHREAD_MUTEX_INITIALIZER;

/* The two sides of the request queue hold different locks: one producer and one consumer need no
 * common lock. */
static QueuedNote request_notes[WORK_QUEUE_CAPACITY] = {};

const WorkQueue REQUEST_QUEUE = {&devCallBackQueue, &devCallBackSem, &devCallBackMutex,
                                 &heartBeatFeedbackMutex, request_notes};
const WorkQueue HEARTBEAT_QUEUE = {&heartBeatFeedbackQueue, &heartBeatFeedbackSem,
                                   &heartBeatFeedbackMutex, &heartBeatFeedbackMutex, nullptr};

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

/* A host may have put a queue of another size in its place. */
static QueuedNote *note_at(const WorkQueue *work, const Queue *queue, const int32_t *index)
{
    const bool has_notes = work->notes != nullptr && queue->capacity == WORK_QUEUE_CAPACITY;
    return has_notes ? &work->notes[__atomic_load_n(index, __ATOMIC_ACQUIRE)] : nullptr;
}

static void count_waiting(const Queue *queue)
{
    const int32_t rear = __atomic_load_n(&queue->rear, __ATOMIC_ACQUIRE);
    const int32_t front = __atomic_load_n(&queue->front, __ATOMIC_ACQUIRE);
    const int32_t count = rear - front + (rear < front ? queue->capacity : 0);
    stats_raise(&IppStats::queue_highest, static_cast<uint32_t>(count));
}

static bool put(const WorkQueue *work, Queue *queue, void *item, const QueuedNote &note)
{
    if (queue == nullptr) {
        return false;
    }
    QueuedNote *to = note_at(work, queue, &queue->rear);
    if (to != nullptr && queueIsFull(queue) == 0) {
        *to = note;
        to->item = item;
    }
    const bool queued = queue_put(queue, item) == 0;
    if (queued && work->notes != nullptr) {
        count_waiting(queue);
    }
    return queued;
}

bool work_queue_post(const WorkQueue *work, void *item, QueuedNote note)
{
    calls_hold();
    lock_take(work->producer_lock, &producer_mutex);
    const bool queued = put(work, to_fill(work), item, note);
    lock_release(work->producer_lock, &producer_mutex);
    calls_release();
    if (queued) {
        sem_post(work->items);
    }
    return queued;
}

/* The note of the next item, before the place may be used again. */
static QueuedNote next_note(const WorkQueue *work, const Queue *queue)
{
    if (queue == nullptr || queueIsEmpty(queue) != 0) {
        return {};
    }
    const QueuedNote *note = note_at(work, queue, &queue->front);
    const bool is_its = note != nullptr && note->item == queue->items[queue->front];
    return is_its ? *note : QueuedNote{};
}

void *work_queue_wait(const WorkQueue *work, QueuedNote *note)
{
    sem_wait(work->items);
    lock_take(work->consumer_lock, &consumer_mutex);
    if (note != nullptr) {
        *note = next_note(work, to_empty(work));
    }
    void *item = dequeue(to_empty(work));
    lock_release(work->consumer_lock, &consumer_mutex);
    return item;
}

bool request_queue_is_used()
{
    const Queue *queue = *REQUEST_QUEUE.queue;
    return queue != nullptr && queueIsEmpty(queue) == 0;
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
