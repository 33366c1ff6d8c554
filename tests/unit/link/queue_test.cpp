/* SPDX-License-Identifier: MIT */
#include "tvlink/queue.h"

#include "support/captured_lines.h"
#include "support/system_calls.h"
#include "tvlink.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <climits>
#include <cstddef>
#include <memory>
#include <thread>
#include <vector>

namespace
{

using Lines = std::vector<std::string>;
using OwnedQueue = std::unique_ptr<Queue, void (*)(Queue *)>;

constexpr uint32_t CAPACITY = 50;
int numbers[200];

OwnedQueue queue_for(uint32_t capacity)
{
    return OwnedQueue(newQueue(capacity), freeQueue);
}

void fill(Queue *queue, int count)
{
    for (int i = 0; i < count; i++) {
        ASSERT_EQ(enqueue(queue, &numbers[i]), 0) << i;
    }
}

/* A queue whose ring stands at these places. */
OwnedQueue queue_at(uint32_t capacity, int front, int rear)
{
    OwnedQueue queue = queue_for(capacity);
    for (int i = 0; i < front; i++) {
        enqueue(queue.get(), nullptr);
        dequeue(queue.get());
    }
    fill(queue.get(), rear - front);
    return queue;
}

TEST(Queue, HasItsFieldsInTheirFixedOrder)
{
    const size_t pointer = sizeof(void *);
    const std::vector<size_t> places = {
        offsetof(Queue, items),  sizeof(Queue::items),   offsetof(Queue, capacity),
        sizeof(Queue::capacity), offsetof(Queue, front), sizeof(Queue::front),
        offsetof(Queue, rear),   sizeof(Queue::rear),    sizeof(Queue)};
    const size_t end = pointer + 12;
    EXPECT_EQ(places, (std::vector<size_t>{0, pointer, pointer, 4, pointer + 4, 4, pointer + 8, 4,
                                           (end + pointer - 1) / pointer * pointer}));
}

TEST(Queue, IsMadeEmpty)
{
    const OwnedQueue queue = queue_for(CAPACITY);
    ASSERT_NE(queue, nullptr);
    EXPECT_EQ(queue->capacity, 50);
    EXPECT_EQ(queue->front, 0);
    EXPECT_EQ(queue->rear, 0);
    EXPECT_EQ(queueIsEmpty(queue.get()), 1);
    EXPECT_EQ(queueIsFull(queue.get()), 0);
    EXPECT_EQ(queueLength(queue.get()), 0);
    EXPECT_EQ(dequeue(queue.get()), nullptr);
}

TEST(Queue, HoldsOneElementLessThanItsCapacity)
{
    const CapturedLines lines;
    const OwnedQueue queue = queue_for(CAPACITY);
    fill(queue.get(), 49);
    EXPECT_EQ(queueIsFull(queue.get()), 1);
    EXPECT_EQ(queueIsEmpty(queue.get()), 0);
    EXPECT_EQ(lines.out(), Lines());
    EXPECT_EQ(enqueue(queue.get(), &numbers[49]), -1);
    EXPECT_EQ(lines.out(), Lines{"queue is full.\n"});
    EXPECT_EQ(lines.err(), Lines());
    for (int i = 0; i < 49; i++) {
        EXPECT_EQ(dequeue(queue.get()), &numbers[i]) << i;
    }
    EXPECT_EQ(dequeue(queue.get()), nullptr);
}

TEST(Queue, TakesOneMoreAfterOneWasTaken)
{
    const OwnedQueue queue = queue_for(CAPACITY);
    fill(queue.get(), 49);
    EXPECT_EQ(dequeue(queue.get()), &numbers[0]);
    EXPECT_EQ(queueIsFull(queue.get()), 0);
    EXPECT_EQ(enqueue(queue.get(), &numbers[100]), 0);
    EXPECT_EQ(queue->rear, 0) << "the ring does not wrap";
    EXPECT_EQ(queueIsFull(queue.get()), 1);
    for (int i = 1; i < 49; i++) {
        EXPECT_EQ(dequeue(queue.get()), &numbers[i]) << i;
    }
    EXPECT_EQ(dequeue(queue.get()), &numbers[100]);
    EXPECT_EQ(queueIsEmpty(queue.get()), 1);
}

TEST(Queue, KeepsTheOrderThroughManyRounds)
{
    const OwnedQueue queue = queue_for(7);
    int next_out = 0;
    for (int next_in = 0; next_in < 200; next_in++) {
        ASSERT_EQ(enqueue(queue.get(), &numbers[next_in]), 0);
        if (queueIsFull(queue.get()) != 0) {
            for (int i = 0; i < 4; i++) {
                ASSERT_EQ(dequeue(queue.get()), &numbers[next_out++]);
            }
        }
    }
    EXPECT_EQ(queue->items[7], nullptr) << "the last entry is used";
}

TEST(Queue, StoresANullElementLikeAnyOther)
{
    const OwnedQueue queue = queue_for(3);
    EXPECT_EQ(enqueue(queue.get(), nullptr), 0);
    EXPECT_EQ(enqueue(queue.get(), &numbers[1]), 0);
    EXPECT_EQ(dequeue(queue.get()), nullptr);
    EXPECT_EQ(dequeue(queue.get()), &numbers[1]);
}

TEST(Queue, LengthAddsWhatItWouldBeExpectedToSubtract)
{
    const CapturedLines lines;
    const OwnedQueue queue = queue_at(CAPACITY, 3, 5);
    ASSERT_EQ(queue->front, 3);
    ASSERT_EQ(queue->rear, 5);
    EXPECT_EQ(queueLength(queue.get()), 8);
    for (int index = 0; index < 8; index++) {
        EXPECT_EQ(getQueueElement(queue.get(), index), queue->items[3 + index]) << index;
    }
    EXPECT_EQ(getQueueElement(queue.get(), 1), &numbers[1]);
    EXPECT_EQ(lines.out(), Lines());
    EXPECT_EQ(getQueueElement(queue.get(), 8), nullptr);
    EXPECT_EQ(lines.out(), Lines{"queue element is out of range.\n"});
}

TEST(Queue, LengthIsTakenModuloTheCapacity)
{
    EXPECT_EQ(queueLength(queue_at(CAPACITY, 0, 49).get()), 49);
    EXPECT_EQ(queueLength(queue_at(CAPACITY, 25, 25).get()), 0);
    EXPECT_EQ(queueLength(queue_at(CAPACITY, 30, 40).get()), 20);
    const Queue huge = {nullptr, INT32_MAX, INT32_MAX - 1, INT32_MAX - 2};
    EXPECT_EQ(queueLength(&huge), INT32_MAX - 3);
}

TEST(Queue, ElementsAreCountedFromTheOldestRoundTheRing)
{
    const OwnedQueue queue = queue_at(10, 8, 9);
    fill(queue.get(), 3);
    ASSERT_EQ(queue->front, 8);
    ASSERT_EQ(queue->rear, 2);
    EXPECT_EQ(queueLength(queue.get()), 0);
    EXPECT_EQ(dequeue(queue.get()), &numbers[0]);
    ASSERT_EQ(queueLength(queue.get()), 1);
    EXPECT_EQ(getQueueElement(queue.get(), 0), &numbers[0]);
    EXPECT_EQ(dequeue(queue.get()), &numbers[0]) << "looking at an element removes it";
    ASSERT_EQ(queueLength(queue.get()), 2);
    EXPECT_EQ(getQueueElement(queue.get(), 0), &numbers[1]);
    EXPECT_EQ(getQueueElement(queue.get(), 1), &numbers[2]);
}

TEST(Queue, ElementsAreFoundAcrossTheEndOfTheRing)
{
    const OwnedQueue queue = queue_at(10, 9, 9);
    fill(queue.get(), 4);
    ASSERT_EQ(queue->rear, 3);
    ASSERT_EQ(queueLength(queue.get()), 2);
    EXPECT_EQ(getQueueElement(queue.get(), 0), &numbers[0]);
    EXPECT_EQ(getQueueElement(queue.get(), 1), &numbers[1]);
}

TEST(Queue, HasNoElementOutsideItsLength)
{
    const CapturedLines lines;
    const OwnedQueue queue = queue_for(CAPACITY);
    EXPECT_EQ(getQueueElement(queue.get(), 0), nullptr);
    EXPECT_EQ(getQueueElement(queue.get(), -1), nullptr);
    EXPECT_EQ(getQueueElement(queue.get(), INT32_MIN), nullptr);
    EXPECT_EQ(getQueueElement(queue.get(), INT32_MAX), nullptr);
    fill(queue.get(), 2);
    EXPECT_EQ(getQueueElement(queue.get(), -1), nullptr);
    EXPECT_EQ(getQueueElement(queue.get(), 2), nullptr);
    EXPECT_EQ(lines.out(), Lines(6, "queue element is out of range.\n"));
    EXPECT_EQ(lines.err(), Lines());
}

TEST(Queue, IsNullWhenMemoryIsOut)
{
    const CapturedLines lines;
    WatchedCall record(system_malloc);
    WatchedCall slots(system_calloc);
    record.fail(ENOMEM);
    EXPECT_EQ(newQueue(CAPACITY), nullptr);
    slots.fail(ENOMEM);
    EXPECT_EQ(newQueue(CAPACITY), nullptr);
    EXPECT_EQ(slots.calls(), 1);
    EXPECT_EQ(lines.out(), Lines());
}

TEST(Queue, HasNoCapacityBeyondItsSignedField)
{
    WatchedCall record(system_malloc);
    WatchedCall slots(system_calloc);
    EXPECT_EQ(newQueue(UINT32_MAX), nullptr);
    EXPECT_EQ(newQueue(static_cast<uint32_t>(INT32_MAX) + 1), nullptr);
    EXPECT_EQ(record.calls(), 0);
    EXPECT_EQ(slots.calls(), 0);
}

TEST(Queue, OfCapacityZeroIsEmptyAndFull)
{
    const CapturedLines lines;
    const OwnedQueue queue = queue_for(0);
    ASSERT_NE(queue, nullptr);
    EXPECT_EQ(queueIsEmpty(queue.get()), 1);
    EXPECT_EQ(queueIsFull(queue.get()), 1);
    EXPECT_EQ(queueLength(queue.get()), 0);
    EXPECT_EQ(enqueue(queue.get(), &numbers[0]), -1);
    EXPECT_EQ(dequeue(queue.get()), nullptr);
    EXPECT_EQ(getQueueElement(queue.get(), 0), nullptr);
    EXPECT_EQ(lines.out(), (Lines{"queue is full.\n", "queue element is out of range.\n"}));
}

TEST(Queue, OfCapacityOneHoldsNothing)
{
    const CapturedLines lines;
    const OwnedQueue queue = queue_for(1);
    EXPECT_EQ(queueIsEmpty(queue.get()), 1);
    EXPECT_EQ(queueIsFull(queue.get()), 1);
    EXPECT_EQ(enqueue(queue.get(), &numbers[0]), -1);
    EXPECT_EQ(dequeue(queue.get()), nullptr);
}

TEST(Queue, ThatIsNullTakesAndGivesNothing)
{
    const CapturedLines lines;
    EXPECT_EQ(enqueue(nullptr, &numbers[0]), -1);
    EXPECT_EQ(dequeue(nullptr), nullptr);
    freeQueue(nullptr);
    EXPECT_EQ(lines.out(), Lines());
}

TEST(Queue, LeavesItsElementsToTheirOwner)
{
    const std::unique_ptr<int> element(new int(7));
    Queue *queue = newQueue(CAPACITY);
    ASSERT_EQ(enqueue(queue, element.get()), 0);
    freeQueue(queue);
    EXPECT_EQ(*element, 7);
}

TEST(Queue, CarriesElementsBetweenTwoThreadsWithoutALock)
{
    constexpr int COUNT = 50000;
    const OwnedQueue queue = queue_for(CAPACITY);
    std::vector<int> sent(COUNT, 0);
    std::thread producer([&] {
        for (int i = 0; i < COUNT; i++) {
            sent[static_cast<size_t>(i)] = i + 1; /* not atomic: the queue has to order it */
            while (queueIsFull(queue.get()) != 0) {
                std::this_thread::yield();
            }
            ASSERT_EQ(enqueue(queue.get(), &sent[static_cast<size_t>(i)]), 0);
        }
    });
    for (int i = 0; i < COUNT; i++) {
        void *element = dequeue(queue.get());
        while (element == nullptr) {
            std::this_thread::yield();
            element = dequeue(queue.get());
        }
        int &value = *static_cast<int *>(element);
        if (value != i + 1) {
            ADD_FAILURE() << "element " << i << " is " << value;
            break;
        }
        value = 0;
    }
    producer.join();
    EXPECT_EQ(queueIsEmpty(queue.get()), 1);
}

} // namespace
