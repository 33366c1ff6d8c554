/* SPDX-License-Identifier: MIT */
/* Locks, and what clang's thread safety analysis has to know of them: which lock guards what, and
 * which function takes, releases or needs which. A call that is missing fails the build. */
#pragma once

#include <pthread.h>

#ifdef __clang__
#define LOCK_ATTRIBUTE(...) __attribute__((__VA_ARGS__))
#else
#define LOCK_ATTRIBUTE(...)
#endif

#define GUARDED_BY(lock) LOCK_ATTRIBUTE(guarded_by(lock))
#define NEEDS(lock) LOCK_ATTRIBUTE(requires_capability(lock))
#define TAKES(lock) LOCK_ATTRIBUTE(acquire_capability(lock))
#define TAKES_IF(result, lock) LOCK_ATTRIBUTE(try_acquire_capability(result, lock))
#define RELEASES(lock) LOCK_ATTRIBUTE(release_capability(lock))
#define NOT_ANALYSED LOCK_ATTRIBUTE(no_thread_safety_analysis)

/* Stands for a lock whose type the public headers fix. */
struct LOCK_ATTRIBUTE(capability("mutex")) LockName {
};

/* A lock of one source file. */
struct LOCK_ATTRIBUTE(capability("mutex")) Lock {
    pthread_mutex_t mutex = PTHREAD_MUTEX_INITIALIZER;
};

void lock_take(Lock *lock) TAKES(*lock);
void lock_release(Lock *lock) RELEASES(*lock);

/* The same for a lock of the public headers, and the name that stands for it. */
void lock_take(pthread_mutex_t *mutex, LockName *name) TAKES(*name);
void lock_release(pthread_mutex_t *mutex, LockName *name) RELEASES(*name);

NOT_ANALYSED inline void lock_take(Lock *lock)
{
    pthread_mutex_lock(&lock->mutex);
}

NOT_ANALYSED inline void lock_release(Lock *lock)
{
    pthread_mutex_unlock(&lock->mutex);
}

NOT_ANALYSED inline void lock_take(pthread_mutex_t *mutex, LockName *)
{
    pthread_mutex_lock(mutex);
}

NOT_ANALYSED inline void lock_release(pthread_mutex_t *mutex, LockName *)
{
    pthread_mutex_unlock(mutex);
}
