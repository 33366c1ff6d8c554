/* SPDX-License-Identifier: MIT */
#include "link/tcp_server.h"

#include "base/clock.h"
#include "base/flags.h"
#include "base/guard.h"
#include "base/log.h"
#include "base/notices.h"
#include "base/running_slot.h"
#include "link/heartbeat.h"
#include "link/receive.h"
#include "link/send.h"
#include "link/watch.h"
#include "link/work_queues.h"
#include "net/bind_with_retries.h"
#include "net/socket_io.h"

#include <errno.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <stdlib.h>
#include <sys/socket.h>
#include <unistd.h>

static const int BACKLOG = 20;
static const int LISTENER_TIMEOUT_MS = 1;
static const useconds_t PAUSE_US = 10000;
static const int PASS_TIME_MS = 1500;

namespace
{

/* What one pass leaves to the next. */
struct Passes {
    bool traffic;         /* something was ready */
    uint32_t not_idle_in; /* the second in which no idle connection was found; 0: none */
};

} // namespace

int32_t g_tcp_sock = -1;
pthread_t g_tcp_tid = 0;

static bool thread_to_join = false;

static int32_t listening_socket()
{
    return __atomic_load_n(&g_tcp_sock, __ATOMIC_ACQUIRE);
}

static void set_listening_socket(int32_t fd)
{
    __atomic_store_n(&g_tcp_sock, fd, __ATOMIC_RELEASE);
}

/* ---- Start and stop */

int start_tcp_thread()
{
    set_listening_socket(tcp_sock_init(IPP_CONTROL_PORT));
    if (listening_socket() < 0) {
        log_out("err: tcp_sock_init() fail\n");
        return -1;
    }
    backlog_signal_open();
    if (pthread_create(&g_tcp_tid, nullptr, tcp_thread, nullptr) != 0) {
        log_out("err: pthread_create() fail\n");
        close(listening_socket()); /* otherwise the next start could not bind the port */
        set_listening_socket(-1);
        backlog_signal_close();
        return -4;
    }
    thread_to_join = true;
    return 0;
}

void tcp_server_join()
{
    if (thread_to_join) {
        pthread_join(g_tcp_tid, nullptr);
        thread_to_join = false;
    }
    backlog_signal_close();
}

/* ---- The listening socket */

static bool reuse_address(int fd)
{
    const int on = 1;
    if (setsockopt(fd, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on) == 0) {
        return true;
    }
    log_out("err: setsockopt() fail\n");
    log_perror("setsockopt");
    log_trace("tcp_sock_init", 52);
    return false;
}

static bool listen_on(int fd)
{
    if (listen(fd, BACKLOG) == 0) {
        return true;
    }
    log_out("err: listen() fail\n");
    log_trace("tcp_sock_init", 76);
    return false;
}

static bool prepare_listener(int fd, uint16_t port)
{
    if (!reuse_address(fd)) {
        return false;
    }
    set_socket_noblock(fd);
    set_socket_timeout(fd, LISTENER_TIMEOUT_MS);
    return bind_with_retries(fd, port, guard_bind_wait_ms(), false) && listen_on(fd);
}

int tcp_sock_init(int32_t port)
{
    if (port < 1 || port > UINT16_MAX) {
        return -1;
    }
    const int fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (fd < 0) {
        log_out("err: tcp socket() fail=%d\n", errno);
        log_perror("TCP_SOCKET");
        return -3;
    }
    if (!prepare_listener(fd, static_cast<uint16_t>(port))) {
        close(fd);
        return -3;
    }
    return fd;
}

/* ---- New connections */

static int try_to_register(int fd, uint32_t peer_addr) NEEDS(registry_mutex)
{
    const uint32_t limit = guard_max_ctrlpoints();
    if (limit != 0 && registry_list()->count >= limit) {
        return IPP_REASON_TOO_MANY;
    }
    return check_and_insert(fd, peer_addr) == 0 ? IPP_REASON_NONE : IPP_REASON_NO_MEMORY;
}

/* The reason why it is refused. */
static int register_connection(int fd, uint32_t peer_addr)
{
    registry_lock();
    const int reason = try_to_register(fd, peer_addr);
    registry_unlock();
    return reason;
}

static bool has_send_timeout(int fd)
{
    struct timeval limit = {};
    socklen_t size = sizeof limit;
    return getsockopt(fd, SOL_SOCKET, SO_SNDTIMEO, &limit, &size) == 0 &&
           (limit.tv_sec != 0 || limit.tv_usec != 0);
}

static void admit_connection(int fd, uint32_t peer_addr)
{
    const int on = 1;
    setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    if (!has_send_timeout(fd)) {
        set_socket_noblock(fd); /* a send must not outlast the service */
    }
    const int reason =
        guard_admits(peer_addr) ? register_connection(fd, peer_addr) : IPP_REASON_NOT_ADMITTED;
    if (reason != IPP_REASON_NONE) {
        close(fd);
        notice_connection_refused(peer_addr, reason);
    }
}

/* True when accept failed because no connection was pending, or the pending one was closed. After
 * any other failure the socket may stay ready. */
static bool none_was_pending(int reason)
{
    return reason == EAGAIN || reason == ECONNABORTED;
}

/* False when no connection was accepted. */
static bool accept_connection(int listener)
{
    struct sockaddr_in peer = {};
    socklen_t size = sizeof peer;
    const int fd =
        accept4(listener, reinterpret_cast<struct sockaddr *>(&peer), &size, SOCK_CLOEXEC);
    if (fd >= 0) {
        admit_connection(fd, peer.sin_addr.s_addr);
        return true;
    }
    if (!none_was_pending(errno)) {
        usleep(PAUSE_US); /* without the pause the server would spin */
    }
    return false;
}

/* What poll() finds; 0: nothing. */
static short pending(int fd)
{
    struct pollfd entry = {fd, POLLIN, 0};
    return poll(&entry, 1, 0) > 0 ? entry.revents : short{0};
}

/* Accepts all pending connections; the system holds one more than the backlog. With many
 * connections a pass takes long, and a peer that finds the backlog full retries only after a
 * second. */
static void accept_pending(int listener)
{
    for (int i = 0; i <= BACKLOG && accept_connection(listener) && pending(listener) != 0; i++) {
    }
}

/* ---- One pass */

static void remove_if_ended(CtrlPoint *record)
{
    const short found = pending(record->fd);
    if (found != 0 && bytes_arriving(record->fd) == 0) {
        log_trace("tcp_thread", 595);
        registry_remove(record, (found & POLLERR) != 0 ? IPP_REASON_RESET : IPP_REASON_CLOSED);
    }
}

/* The descriptor may have been closed since the pass began, and its number be that of a new
 * connection, which has nothing to read and has not ended. */
static void serve_ready(const Watch *watch, int fd)
{
    const Connection connection = watch_acquire(watch, fd);
    if (connection.place == nullptr || connection.record == nullptr) {
        return;
    }
    const uint32_t arriving = bytes_arriving(fd);
    if (arriving > 0) {
        receive_arriving(connection.record, arriving);
    } else {
        remove_if_ended(connection.record);
    }
    connection_release(connection);
}

static void serve_all_ready(const Watch *watch)
{
    const DescriptorSet *ready = &watch->ready;
    const int listener = listening_socket();
    for (int fd = descriptor_set_next(ready, 0); fd >= 0; fd = descriptor_set_next(ready, fd + 1)) {
        if (fd == listener) {
            accept_pending(listener);
        } else if (fd == backlog_signal_fd()) {
            backlog_signal_clear();
        } else {
            serve_ready(watch, fd);
        }
    }
}

/* Also to those without room: whoever takes nothing for too long is dropped. */
static void send_all_waiting(const Watch *watch)
{
    const DescriptorSet *set = &watch->waiting;
    for (int fd = descriptor_set_next(set, 0); fd >= 0; fd = descriptor_set_next(set, fd + 1)) {
        const Connection connection = watch_acquire(watch, fd);
        if (connection.place != nullptr && connection.record != nullptr) {
            send_waiting(connection);
            connection_release(connection);
        }
    }
}

/* Within a second that has been looked at there is no idle connection, unless a host has changed a
 * record: a pass without traffic looks again. */
static void check_idle(Passes *passes)
{
    const uint32_t now = get_current_time();
    if (!passes->traffic || now != passes->not_idle_in) {
        passes->not_idle_in = heartbeat_drop_idle() ? 0 : now;
    }
}

static void serve_one_pass(Watch *watch, Passes *passes)
{
    const bool busy = passes->traffic || request_queue_is_used();
    const int ready = watch_wait(watch, running_slot_wait_ms(PASS_TIME_MS, busy));
    running_slot_check();
    if (ready == -1) {
        log_out("err: select() fail\n");
        log_perror("select");
        usleep(PAUSE_US);
        return;
    }
    if (ready > 0) {
        serve_all_ready(watch);
    }
    send_all_waiting(watch);
    passes->traffic = ready > 0;
    check_idle(passes);
}

void *tcp_thread(void *)
{
    Watch watch = watch_begin(listening_socket());
    Passes passes = {false, 0};
    while (flags_running()) {
        serve_one_pass(&watch, &passes);
    }
    watch_end(&watch);
    log_trace("tcp_thread", 637);
    close(listening_socket());
    set_listening_socket(-1);
    return nullptr;
}
