/* System functions in whose place a fuzz target puts its own. The fuzz programs are linked so that
 * calls of these functions come here first. */
#pragma once

#include <pthread.h>
#include <sys/socket.h>
#include <sys/types.h>

/* Null: what the system does. bind never takes a port (the system chooses one when the socket
 * listens), usleep never sleeps, and no thread is ever created. */
struct SystemCalls {
    ssize_t (*recvfrom)(void *data, size_t size, sockaddr *from);
    ssize_t (*sendto)(const void *data, size_t size, const sockaddr *to);
    ssize_t (*send)(const void *data, size_t size);
    int (*accept4)();
    int (*pthread_create)(void *(*body)(void *), void *argument);
};

extern SystemCalls system_calls;
