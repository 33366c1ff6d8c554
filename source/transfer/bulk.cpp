/* SPDX-License-Identifier: MIT */
#include "transfer/bulk.h"

#include "base/clock.h"
#include "base/detached_thread.h"
#include "base/guard.h"
#include "base/log.h"
#include "base/notices.h"
#include "net/socket_io.h"
#include "wire/frame.h"

#include <arpa/inet.h>
#include <errno.h>
#include <limits.h>
#include <netinet/in.h>
#include <poll.h>
#include <stdlib.h>
#include <string.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

static const int BACKLOG = 5;
static const uint32_t LENGTH_FIELD = 4;
static const useconds_t RETRY_PAUSE_US = 100;

/* ---- The listening socket */

static bool listen_anywhere(int fd)
{
    const int on = 1;
    if (setsockopt(fd, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on) != 0) {
        log_out("err: create_new_socket() fail\n");
        return false;
    }
    struct sockaddr_in any = {};
    any.sin_family = AF_INET;
    if (bind(fd, reinterpret_cast<struct sockaddr *>(&any), sizeof any) != 0) {
        log_out("err:bind()-line=%d,func=%s\n", 57, "create_new_socket");
        return false;
    }
    return listen(fd, BACKLOG) == 0;
}

static bool read_port(int fd, uint16_t *port)
{
    struct sockaddr_in bound = {};
    socklen_t size = sizeof bound;
    if (getsockname(fd, reinterpret_cast<struct sockaddr *>(&bound), &size) != 0) {
        return false;
    }
    *port = ntohs(bound.sin_port);
    return true;
}

int create_new_socket(uint16_t *port)
{
    const int fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (listen_anywhere(fd) && read_port(fd, port)) {
        return fd;
    }
    log_trace("create_new_socket", 85);
    if (fd >= 0) {
        close(fd);
    }
    *port = 0;
    return -1;
}

/* ---- The thread */

static void end_job(BulkJob *job)
{
    if (job->listener >= 0) {
        close(job->listener);
    }
    free(job->data);
    free(job);
}

/* Waits for a connection until the deadline; false when none came. */
static bool wait_for_connection(int listener, uint64_t deadline)
{
    for (uint64_t now = clock_elapsed_ms(); now < deadline; now = clock_elapsed_ms()) {
        const uint64_t left = deadline - now;
        struct pollfd waiting = {listener, POLLIN, 0};
        const int ready = poll(&waiting, 1, left > INT_MAX ? INT_MAX : static_cast<int>(left));
        if (ready > 0) {
            return true;
        }
        if (ready == 0 ? left <= INT_MAX : errno != EINTR) {
            return false;
        }
    }
    return false;
}

/* EAGAIN is retryable only with a deadline: the loop then waits for a connection in between. */
static bool accept_worth_retrying(const BulkJob *job)
{
    return errno == EINTR || errno == ECONNABORTED || (errno == EAGAIN && job->accept_ms != 0);
}

static bool is_expected(const BulkJob *job, const struct sockaddr_in *peer)
{
    return job->accept_ms == 0 || job->peer == 0 || peer->sin_addr.s_addr == job->peer;
}

/* The accepted connection; -1 when there is none. */
static int accept_one(const BulkJob *job)
{
    const uint64_t deadline = clock_elapsed_ms() + job->accept_ms;
    if (job->accept_ms != 0) {
        set_socket_noblock(job->listener); /* a pending connection may be closed before accept */
    }
    while (job->accept_ms == 0 || wait_for_connection(job->listener, deadline)) {
        struct sockaddr_in peer = {};
        socklen_t size = sizeof peer;
        const int fd =
            accept4(job->listener, reinterpret_cast<struct sockaddr *>(&peer), &size, SOCK_CLOEXEC);
        if (fd >= 0 && is_expected(job, &peer)) {
            return fd;
        }
        if (fd >= 0) {
            close(fd);
        } else if (!accept_worth_retrying(job)) {
            return -1;
        }
    }
    return -1;
}

/* A send that can send nothing for this time fails with EAGAIN. */
static void limit_stall(int fd, uint32_t stall_ms)
{
    struct timeval limit = {};
    limit.tv_sec = static_cast<time_t>(stall_ms / 1000);
    limit.tv_usec = static_cast<suseconds_t>(stall_ms % 1000 * 1000);
    setsockopt(fd, SOL_SOCKET, SO_SNDTIMEO, &limit, sizeof limit);
}

static bool worth_another_send(const BulkJob *job)
{
    return errno == EINTR || (errno == EAGAIN && job->stall_ms == 0);
}

/* The reason why it was not sent whole. */
static int send_job(int fd, const BulkJob *job, uint32_t *sent)
{
    while (*sent < job->length) {
        const ssize_t taken = send(fd, job->data + *sent, job->length - *sent, MSG_NOSIGNAL);
        if (taken > 0) {
            *sent += static_cast<uint32_t>(taken);
        } else if (taken == -1 && worth_another_send(job)) {
            usleep(RETRY_PAUSE_US);
        } else if (taken == -1) {
            const int reason = errno;
            log_out("err:socket_send(): %s:%d,errno=%d\n", "big_data_thread", 148, reason);
            return reason == EAGAIN ? IPP_REASON_STALLED : IPP_REASON_RESET;
        }
    }
    return IPP_REASON_NONE;
}

static int serve_job(const BulkJob *job, uint32_t *sent)
{
    const int fd = accept_one(job);
    if (fd < 0) {
        log_out("err: accept() in big_data_thread() function\n");
        log_trace("big_data_thread", 121);
        return IPP_REASON_NOT_FETCHED;
    }
    if (job->stall_ms != 0) {
        limit_stall(fd, job->stall_ms);
    }
    const int reason = send_job(fd, job, sent);
    log_trace("big_data_thread", 156);
    close(fd);
    return reason;
}

void *big_data_thread(void *record)
{
    BulkJob *job = static_cast<BulkJob *>(record);
    const uint32_t peer = job->peer;
    uint32_t sent = 0;
    const int reason = serve_job(job, &sent);
    end_job(job);
    notice_capture_ended(peer, reason, sent);
    return reinterpret_cast<void *>(intptr_t{reason == IPP_REASON_NOT_FETCHED ? -1 : 0});
}

/* ---- The limit on concurrent transfers */

/* Transfers that are waiting for their connection or sending. */
static uint32_t active_transfers = 0;

static bool acquire_transfer()
{
    const uint32_t limit = guard_max_captures();
    uint32_t active = __atomic_load_n(&active_transfers, __ATOMIC_RELAXED);
    do {
        if (limit != 0 && active >= limit) {
            return false;
        }
    } while (!__atomic_compare_exchange_n(&active_transfers, &active, active + 1, true,
                                          __ATOMIC_RELAXED, __ATOMIC_RELAXED));
    return true;
}

static void release_transfer()
{
    __atomic_sub_fetch(&active_transfers, 1, __ATOMIC_RELAXED);
}

static void *serve_offer(void *job)
{
    void *result = big_data_thread(job);
    release_transfer();
    return result;
}

/* ---- Offering data */

/* Keeps a job whose thread could not be started, because the phone gets its port all the same. Ends
 * the oldest one when there are more than a few. */
static void keep_unserved(BulkJob *job)
{
    static BulkJob *unserved[8];
    static uint32_t kept = 0;
    const uint32_t number = __atomic_fetch_add(&kept, 1, __ATOMIC_RELAXED);
    const size_t place = number % (sizeof unserved / sizeof unserved[0]);
    BulkJob *oldest = __atomic_exchange_n(&unserved[place], job, __ATOMIC_ACQ_REL);
    if (oldest != nullptr) {
        end_job(oldest);
    }
}

static uint8_t *with_length(const void *data, uint32_t size)
{
    if (size > UINT32_MAX - LENGTH_FIELD) {
        return nullptr;
    }
    uint8_t *copy = static_cast<uint8_t *>(malloc(size_t{size} + LENGTH_FIELD));
    if (copy != nullptr) {
        store_u32(copy, size);
        memcpy(copy + LENGTH_FIELD, data, size);
    }
    return copy;
}

static BulkJob *new_job(const CtrlPoint *cp, const void *data, uint32_t size)
{
    BulkJob *job = static_cast<BulkJob *>(calloc(1, sizeof *job));
    uint8_t *copy = job == nullptr ? nullptr : with_length(data, size);
    if (copy == nullptr) {
        free(job);
        return nullptr;
    }
    job->data = copy;
    job->length = size + LENGTH_FIELD;
    job->peer = cp == nullptr ? 0 : cp->peer_addr;
    job->accept_ms = guard_bulk_accept_ms();
    job->stall_ms = guard_send_stall_ms();
    return job;
}

/* A job with a listening socket, and its port; null and port 0 when it could not be made. */
static BulkJob *listening_job(const CtrlPoint *cp, const void *data, uint32_t size, uint16_t *port)
{
    BulkJob *job = new_job(cp, data, size);
    if (job == nullptr) {
        return nullptr;
    }
    job->listener = create_new_socket(port);
    if (job->listener <= 0) { /* 0 would be the standard input of a host that has closed it */
        *port = 0;
        end_job(job);
        return nullptr;
    }
    return job;
}

bool bulk_offer(const CtrlPoint *cp, const void *data, uint32_t size, const char *handler,
                uint16_t *port)
{
    *port = 0;
    if (!acquire_transfer()) {
        return false;
    }
    BulkJob *job = listening_job(cp, data, size, port);
    if (job == nullptr) {
        release_transfer();
        return false;
    }
    notice_capture_begun(job->peer, *port, job->length);
    pthread_t thread;
    if (detached_thread_start(&thread, serve_offer, job) != 0) {
        log_out("err:ptread_create():%s:%d\n", handler, 231);
        notice_capture_ended(job->peer, IPP_REASON_NO_THREAD, 0);
        keep_unserved(job);
        release_transfer();
    }
    return true;
}
