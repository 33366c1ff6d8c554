/* SPDX-License-Identifier: MIT */
/* Functions of libc's that the library calls: those of the executable come first. */

#include "host.h"

#include <atomic>
#include <cstdlib>

static std::atomic<bool> counting{false}; /* the count would slow down what is timed */
static std::atomic<uint64_t> count{0};
static std::atomic<uint64_t> random_number{0};

uint64_t allocation_count()
{
    counting = true;
    return count;
}

uint64_t take_random_number()
{
    return random_number.exchange(0);
}

static void count_block()
{
    if (counting.load(std::memory_order_relaxed)) {
        count++;
    }
}

extern "C" {

void *__libc_malloc(size_t size);
void *__libc_calloc(size_t number, size_t size);
void *__libc_realloc(void *block, size_t size);

void *malloc(size_t size)
{
    count_block();
    return __libc_malloc(size);
}

void *calloc(size_t number, size_t size)
{
    count_block();
    return __libc_calloc(number, size);
}

void *realloc(void *block, size_t size)
{
    count_block();
    return __libc_realloc(block, size);
}

int rand()
{
    const long number = random();
    random_number = static_cast<uint64_t>(number) + 1;
    return static_cast<int>(number);
}

} /* extern "C" */
