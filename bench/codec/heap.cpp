/* SPDX-License-Identifier: MIT */
#include "heap.h"

#include <cstdlib>
#include <cstring>

#include <malloc.h>

namespace
{

size_t held = 0;
size_t peak = 0;

void *counted(void *block)
{
    held += malloc_usable_size(block);
    peak = held > peak ? held : peak;
    return block;
}

} // namespace

size_t heap_held()
{
    return held;
}

void heap_watch()
{
    peak = held;
}

size_t heap_peak()
{
    return peak;
}

/* These override libc's functions, also for calls from shared libraries. Not thread-safe. */
extern "C" {

void *__libc_malloc(size_t size);
void *__libc_calloc(size_t count, size_t size);
void *__libc_realloc(void *block, size_t size);
void __libc_free(void *block);

void *malloc(size_t size)
{
    return counted(__libc_malloc(size));
}

void *calloc(size_t count, size_t size)
{
    return counted(__libc_calloc(count, size));
}

void *realloc(void *block, size_t size)
{
    const size_t old_size = malloc_usable_size(block);
    void *moved = __libc_realloc(block, size);
    held -= moved == nullptr ? 0 : old_size;
    return counted(moved);
}

void free(void *block)
{
    held -= malloc_usable_size(block);
    __libc_free(block);
}

} /* extern "C" */
