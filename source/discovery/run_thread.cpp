/* SPDX-License-Identifier: MIT */
#include "discovery/run_thread.h"

#include "base/detached_thread.h"
#include "base/flags.h"

int run_thread_start(pthread_t *thread, void *(*body)(void *), uint32_t run)
{
    return detached_thread_start(thread, body, reinterpret_cast<void *>(uintptr_t{run}));
}

uint32_t run_thread_number(void *argument)
{
    return static_cast<uint32_t>(reinterpret_cast<uintptr_t>(argument));
}
