/* SPDX-License-Identifier: MIT */
/* A host that takes the service apart. */
#include <stddef.h>

#include <tvlink/queue.h>

int main(void)
{
    int element = 0;
    Queue *queue = newQueue(2);
    if (queue == NULL || enqueue(queue, &element) != 0 || dequeue(queue) != &element) {
        return 1;
    }
    freeQueue(queue);
    return 0;
}
