/* SPDX-License-Identifier: MIT */
#include "base/detached_thread.h"

int detached_thread_start(pthread_t *thread, void *(*body)(void *), void *argument)
{
    pthread_attr_t detached;
    if (pthread_attr_init(&detached) != 0) {
        return -1;
    }
    pthread_attr_setdetachstate(&detached, PTHREAD_CREATE_DETACHED);
    const int result = pthread_create(thread, &detached, body, argument);
    pthread_attr_destroy(&detached);
    return result;
}
