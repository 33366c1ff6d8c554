/* Threads that belong to one run of the service and that nobody waits for. */
#pragma once

#include <pthread.h>
#include <stdint.h>

/* Starts a detached thread that is told the run's number. Returns what pthread_create returns. */
int run_thread_start(pthread_t *thread, void *(*body)(void *), uint32_t run);

/* The run that such a thread belongs to; the present one when the body was called by hand. */
uint32_t run_thread_number(void *argument);
