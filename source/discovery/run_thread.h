/* SPDX-License-Identifier: MIT */
/* Detached threads that belong to one run of the service. */
#pragma once

#include <pthread.h>
#include <stdint.h>

/* Starts a detached thread and passes it the number of the run. Returns what pthread_create
 * returns. */
int run_thread_start(pthread_t *thread, void *(*body)(void *), uint32_t run);

/* The number of the run from the argument of such a thread. */
uint32_t run_thread_number(void *argument);
