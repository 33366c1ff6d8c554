/* System functions in whose place a fuzz target puts its own. The fuzz programs are linked so that
 * calls of these functions come here first. */
#pragma once

#include <ctime>

#include <pthread.h>
#include <semaphore.h>
#include <sys/select.h>
#include <sys/socket.h>
#include <sys/types.h>

/* Null: what the system does. bind never takes a port (the system chooses one when the socket
 * listens), usleep never sleeps, and no thread is ever created. */
struct SystemCalls {
    ssize_t (*recvfrom)(void *data, size_t size, sockaddr *from);
    ssize_t (*sendto)(const void *data, size_t size, const sockaddr *to);
    ssize_t (*recv)(int fd, void *data, size_t size);
    ssize_t (*send)(int fd, const void *data, size_t size);
    int (*bytes_arriving)(int fd, int *count); /* ioctl FIONREAD */
    int (*bytes_unsent)(int fd);               /* ioctl SIOCOUTQ */
    int (*select)(int count, fd_set *readable);
    int (*socket)();
    int (*listen)();
    int (*getsockname)(sockaddr *name);
    int (*accept4)(sockaddr *from);
    void (*shutdown)(int fd); /* is told; the system does it */
    void (*close)(int fd);    /* the same */
    int (*pthread_create)(void *(*body)(void *), void *argument);
    int (*pthread_join)();
    void (*usleep)();
    void (*posted)(const sem_t *items); /* a semaphore has been counted up, ... */
    void (*taken)(const sem_t *items);  /* ... and down */
    time_t (*seconds)();                /* gettimeofday */
    timespec (*elapsed)();              /* clock_gettime of the monotonic clock */

    /* Called again and again in place of the wait for a mutex, a condition or a semaphore; and then
     * once, if it had to be called. */
    void (*wait)();
    void (*go_on)();
};

extern SystemCalls system_calls;

/* What the system says itself. */
int real_bytes_arriving(int fd, int *count);
