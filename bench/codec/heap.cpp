#include "heap.h"

#include <cstdlib>
#include <cstring>

#include <malloc.h>

namespace
{

size_t held = 0;
size_t most = 0;

void *counted(void *block)
{
    held += malloc_usable_size(block);
    most = held > most ? held : most;
    return block;
}

} // namespace

size_t heap_held()
{
    return held;
}

void heap_watch()
{
    most = held;
}

size_t heap_most()
{
    return most;
}

/* The program's own come before libc's, also for calls from shared libraries. One thread only. */
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
