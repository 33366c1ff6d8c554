#include "bare_ping_pong.h"

#include <pthread.h>
#include <semaphore.h>
#include <stdlib.h>
#include <string.h>
#include <sys/select.h>
#include <sys/socket.h>
#include <unistd.h>

enum { RING_SIZE = 50, BUFFER_SIZE = 4096 };

struct request {
    int fd;
    size_t size;
    unsigned char bytes[];
};

static struct request *ring[RING_SIZE];
static int front, rear;
static pthread_mutex_t ring_lock = PTHREAD_MUTEX_INITIALIZER;
static sem_t requests;

static const void *answer_bytes;
static int answer_length;

static void put_request(int fd, const void *bytes, size_t size)
{
    struct request *item = malloc(sizeof *item + size);
    item->fd = fd;
    item->size = size;
    memcpy(item->bytes, bytes, size);
    pthread_mutex_lock(&ring_lock);
    ring[rear] = item;
    rear = (rear + 1) % RING_SIZE;
    pthread_mutex_unlock(&ring_lock);
    sem_post(&requests);
}

static struct request *take_request(void)
{
    sem_wait(&requests);
    pthread_mutex_lock(&ring_lock);
    struct request *item = ring[front];
    front = (front + 1) % RING_SIZE;
    pthread_mutex_unlock(&ring_lock);
    return item;
}

static void *answer_requests(void *unused)
{
    (void)unused;
    for (;;) {
        struct request *item = take_request();
        send(item->fd, answer_bytes, (size_t)answer_length, MSG_NOSIGNAL);
        free(item);
    }
    return NULL;
}

/* False when the connection has ended. */
static int serve_ready(int fd)
{
    unsigned char bytes[BUFFER_SIZE];
    const ssize_t size = recv(fd, bytes, sizeof bytes, 0);
    if (size <= 0) {
        return 0;
    }
    put_request(fd, bytes, (size_t)size);
    return 1;
}

static void serve_connection(int listener, int fd)
{
    int open = 1;
    while (open) {
        struct timeval limit = {1, 500000};
        fd_set ready;
        FD_ZERO(&ready);
        FD_SET(listener, &ready);
        FD_SET(fd, &ready);
        select((listener > fd ? listener : fd) + 1, &ready, NULL, NULL, &limit);
        if (FD_ISSET(fd, &ready)) {
            open = serve_ready(fd);
        }
    }
    close(fd);
}

void bare_ping_pong_serve(int listener, const void *answer, int answer_size)
{
    pthread_t worker;
    answer_bytes = answer;
    answer_length = answer_size;
    sem_init(&requests, 0, 0);
    pthread_create(&worker, NULL, answer_requests, NULL);
    for (;;) {
        const int fd = accept(listener, NULL, NULL);
        if (fd < 0) {
            return;
        }
        serve_connection(listener, fd);
    }
}
