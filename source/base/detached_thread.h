/* SPDX-License-Identifier: MIT */
/* Detached threads. */
#pragma once

#include <pthread.h>

/* Returns what pthread_create returns; the thread's identifier is written only on success. */
int detached_thread_start(pthread_t *thread, void *(*body)(void *), void *argument);
