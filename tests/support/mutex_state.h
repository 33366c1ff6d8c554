/* SPDX-License-Identifier: MIT */
/* Who has a mutex at the moment, as the C library notes it down. */
#pragma once

#include <pthread.h>
#include <unistd.h>

inline bool held_by_this_thread(const pthread_mutex_t &mutex)
{
    return __atomic_load_n(&mutex.__data.__owner, __ATOMIC_RELAXED) == gettid();
}

/* Does some thread wait for it? */
inline bool has_waiters(const pthread_mutex_t &mutex)
{
    const int held_and_wanted = 2;
    return __atomic_load_n(&mutex.__data.__lock, __ATOMIC_RELAXED) == held_and_wanted;
}
