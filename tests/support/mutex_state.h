/* SPDX-License-Identifier: MIT */
/* Who has a mutex at the moment, as the C library notes it down. */
#pragma once

#include <pthread.h>
#include <unistd.h>

#ifdef __GLIBC__

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

#else /* musl */

/* Of a mutex that is not recursive musl notes down only that somebody has it; if that is this
 * thread, then it stays so however long it looks. */
inline bool held_by_this_thread(const pthread_mutex_t &mutex)
{
    const int owner_bits = 0x3fffffff;
    const bool owner_is_noted = mutex.__u.__i[0] != PTHREAD_MUTEX_NORMAL;
    const int look_us = 1000;
    for (int looks = 0; looks < 300; looks++) {
        const int lock = mutex.__u.__vi[1];
        if (lock == 0 || (owner_is_noted && (lock & owner_bits) != gettid())) {
            return false;
        }
        usleep(look_us);
    }
    return true;
}

inline bool has_waiters(const pthread_mutex_t &mutex)
{
    return mutex.__u.__vi[2] > 0;
}

#endif
