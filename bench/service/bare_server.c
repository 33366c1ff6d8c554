/* SPDX-License-Identifier: MIT */
#define _POSIX_C_SOURCE 200809L

#include "bare_server.h"

#include <limits.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <pthread.h>
#include <semaphore.h>
#include <stdlib.h>
#include <string.h>
#include <sys/select.h>
#include <sys/socket.h>
#include <time.h>
#include <unistd.h>

enum {
    RING_SIZE = 50,
    BUFFER_SIZE = 8192,
    MOST_DESCRIPTORS = 4096,
    WORD_BITS = sizeof(unsigned long) * CHAR_BIT,
    LENGTH_AT = 3,
    LENGTH_END = 7,
    TYPE_AT = 50,
    TYPE_SET = 7
};

struct phone {
    int open;
    size_t fill;
    unsigned char bytes[BUFFER_SIZE];
};

struct request {
    int fd;
    unsigned char bytes[];
};

static const struct bare_answers *answers;
static int listener, commands, results;

/* ---- The queue */

static struct request *ring[RING_SIZE];
static int front, rear;
static pthread_mutex_t ring_lock = PTHREAD_MUTEX_INITIALIZER;
static sem_t requests;

static void put_request(int fd, const void *bytes, size_t size)
{
    struct request *item = malloc(sizeof *item + size);
    item->fd = fd;
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

/* ---- The worker */

static void send_frame(int fd, const struct bare_frame *frame)
{
    send(fd, frame->bytes, frame->size, MSG_NOSIGNAL);
}

static void *answer_requests(void *unused)
{
    (void)unused;
    for (;;) {
        struct request *item = take_request();
        const int is_key = item->bytes[TYPE_AT] == TYPE_SET;
        if (!is_key) {
            memcpy(answers->text.bytes + answers->long_text_at, answers->long_text,
                   answers->long_text_size);
        }
        send_frame(item->fd, is_key ? &answers->key : &answers->text);
        free(item);
    }
    return NULL;
}

/* ---- Phones, by their descriptors */

static struct phone phones[MOST_DESCRIPTORS];
static int highest;
static pthread_mutex_t phones_lock = PTHREAD_MUTEX_INITIALIZER;

static void set_open(int fd, int open)
{
    pthread_mutex_lock(&phones_lock);
    phones[fd].open = open;
    phones[fd].fill = 0;
    highest = fd > highest ? fd : highest;
    pthread_mutex_unlock(&phones_lock);
}

static void accept_phone(void)
{
    const int on = 1;
    const int fd = accept(listener, NULL, NULL);
    setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    set_open(fd, 1);
}

static size_t frame_size(const unsigned char *frame)
{
    uint32_t size;
    memcpy(&size, frame + LENGTH_AT, sizeof size);
    return size;
}

/* Queues the whole frames, and moves the rest to the start. */
static void split(int fd, struct phone *phone)
{
    size_t at = 0;
    while (phone->fill - at >= LENGTH_END && frame_size(phone->bytes + at) <= phone->fill - at) {
        const size_t size = frame_size(phone->bytes + at);
        put_request(fd, phone->bytes + at, size);
        at += size;
    }
    phone->fill -= at;
    if (phone->fill > 0) {
        memmove(phone->bytes, phone->bytes + at, phone->fill);
    }
}

static void receive(int fd)
{
    struct phone *phone = &phones[fd];
    const ssize_t size = recv(fd, phone->bytes + phone->fill, BUFFER_SIZE - phone->fill, 0);
    if (size > 0) {
        phone->fill += (size_t)size;
        split(fd, phone);
    } else {
        set_open(fd, 0);
        close(fd);
    }
}

/* ---- Events */

static uint64_t send_event(void)
{
    struct timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    pthread_mutex_lock(&phones_lock);
    for (int fd = 0; fd <= highest; fd++) {
        if (phones[fd].open) {
            send_frame(fd, &answers->event);
        }
    }
    pthread_mutex_unlock(&phones_lock);
    return (uint64_t)now.tv_sec * 1000000000 + (uint64_t)now.tv_nsec;
}

static void *send_events(void *unused)
{
    char command;
    (void)unused;
    while (read(commands, &command, 1) == 1) {
        const uint64_t began = send_event();
        if (write(results, &began, sizeof began) != sizeof began) {
            break;
        }
    }
    exit(0);
}

/* ---- The select thread. The bits are laid out as in fd_set, which has too few of them. */

static unsigned long words[MOST_DESCRIPTORS / WORD_BITS];

static void watch(int fd)
{
    words[fd / WORD_BITS] |= 1UL << (fd % WORD_BITS);
}

/* Returns the number of words in use. */
static int watch_all(void)
{
    pthread_mutex_lock(&phones_lock);
    const int count = (highest > listener ? highest : listener) / WORD_BITS + 1;
    memset(words, 0, (size_t)count * sizeof *words);
    watch(listener);
    for (int fd = 0; fd <= highest; fd++) {
        if (phones[fd].open) {
            watch(fd);
        }
    }
    pthread_mutex_unlock(&phones_lock);
    return count;
}

static void serve_one_pass(void)
{
    struct timeval limit = {1, 500000};
    const int count = watch_all();
    const int ready = select(count * WORD_BITS, (fd_set *)(void *)words, NULL, NULL, &limit);
    for (int i = 0; ready > 0 && i < count; i++) {
        for (unsigned long word = words[i]; word != 0; word &= word - 1) {
            const int fd = i * WORD_BITS + __builtin_ctzl(word);
            if (fd == listener) {
                accept_phone();
            } else {
                receive(fd);
            }
        }
    }
}

void bare_serve(const struct bare_answers *made, int listening, int from, int to)
{
    pthread_t thread;
    answers = made;
    listener = listening;
    commands = from;
    results = to;
    sem_init(&requests, 0, 0);
    pthread_create(&thread, NULL, answer_requests, NULL);
    pthread_create(&thread, NULL, send_events, NULL);
    for (;;) {
        serve_one_pass();
    }
}
