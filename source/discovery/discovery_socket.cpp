/* SPDX-License-Identifier: MIT */
#include "discovery/discovery_socket.h"

#include "base/flags.h"
#include "base/guard.h"
#include "base/lock.h"
#include "base/log.h"
#include "net/bind_with_retries.h"
#include "net/socket_io.h"
#include "tvlink.h"

#include <arpa/inet.h>
#include <errno.h>
#include <sys/socket.h>
#include <unistd.h>

/* Deliberately not the group that was joined: membership ends with the socket. */
static const char *const DROPPED_GROUP = "235.200.201.202";

static const int RECEIVE_TIMEOUT_MS = 5;

int32_t g_udp_sock = -1;

/* Keeps the discovery socket open while other threads than the discovery thread use it. */
static Lock socket_lock;
static bool socket_closed GUARDED_BY(socket_lock) = false;
static int32_t unclosed GUARDED_BY(socket_lock) =
    -1; /* left by a discovery thread that could not start its helper */

static bool prepare_socket(int fd, uint16_t port)
{
    const int on = 1;
    if (setsockopt(fd, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on) != 0) {
        log_out("err: setsockopt() fail\n");
        log_trace("udp_sock_init", 58);
        return false;
    }
    if (set_socket_timeout(fd, RECEIVE_TIMEOUT_MS) != 0) {
        set_socket_noblock(fd); /* a receive must not outlast the run */
    }
    return bind_with_retries(fd, port, guard_bind_wait_ms(), true);
}

int udp_sock_init(int32_t port)
{
    if (port < 1 || port > UINT16_MAX) {
        return -1;
    }
    const int fd = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, IPPROTO_UDP);
    if (fd < 0) {
        log_out("err: udp socket() fail\n");
        return -3;
    }
    if (!prepare_socket(fd, static_cast<uint16_t>(port))) {
        close(fd);
        return -3;
    }
    return fd;
}

int32_t discovery_socket_fd()
{
    return __atomic_load_n(&g_udp_sock, __ATOMIC_ACQUIRE);
}

void discovery_socket_open()
{
    const int32_t fd = udp_sock_init(IPP_SEARCH_PORT);
    lock_take(&socket_lock);
    if (unclosed >= 0) {
        close(unclosed);
    }
    unclosed = fd;
    __atomic_store_n(&g_udp_sock, fd, __ATOMIC_RELEASE);
    socket_closed = false;
    lock_release(&socket_lock);
}

void discovery_socket_close()
{
    lock_take(&socket_lock);
    close(discovery_socket_fd());
    unclosed = -1;
    socket_closed = true;
    lock_release(&socket_lock);
}

bool discovery_join_group(const char *group, uint32_t run)
{
    struct ip_mreq request = {};
    request.imr_multiaddr.s_addr = inet_addr(group);
    request.imr_interface.s_addr = htonl(INADDR_ANY);
    bool joined = false;
    lock_take(&socket_lock);
    if (socket_closed || !flags_run_is_current(run)) {
        errno = EBADF;
    } else {
        joined = setsockopt(discovery_socket_fd(), IPPROTO_IP, IP_ADD_MEMBERSHIP, &request,
                            sizeof request) == 0;
    }
    lock_release(&socket_lock);
    return joined;
}

void discovery_socket_send(const uint8_t *packet, size_t size, const struct sockaddr_in *to)
{
    lock_take(&socket_lock);
    if (!socket_closed) {
        sendto(discovery_socket_fd(), packet, size, 0,
               reinterpret_cast<const struct sockaddr *>(to), sizeof *to);
    }
    lock_release(&socket_lock);
}

void discovery_leave_group()
{
    struct ip_mreq request = {};
    request.imr_interface.s_addr = htonl(INADDR_ANY);
    if (inet_aton(DROPPED_GROUP, &request.imr_multiaddr) < 0) {
        log_perror("inet_aton");
    }
    setsockopt(discovery_socket_fd(), IPPROTO_IP, IP_DROP_MEMBERSHIP, &request, sizeof request);
}
