/* SPDX-License-Identifier: MIT */
#include "tvlink/host/socket.h"

#include "base/log.h"

#include <arpa/inet.h>
#include <netdb.h>
#include <netinet/in.h>
#include <stdint.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

/* For debuggers: the library never reads it. */
static int last_accepted = -1;

const char *soc_getFormatError()
{
    return hstrerror(h_errno);
}

void soc_showFormatError(const char *text)
{
    log_herror(text);
}

static int allow_reuse(int fd)
{
    const int on = 1;
    return setsockopt(fd, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
}

static int set_seconds(int fd, int option, int seconds)
{
    struct timeval limit = {};
    limit.tv_sec = seconds;
    return setsockopt(fd, SOL_SOCKET, option, &limit, sizeof limit);
}

int soc_create(int domain, int type, int protocol, int send_s, int recv_s)
{
    const int fd = socket(domain, type | SOCK_CLOEXEC, protocol);
    if (allow_reuse(fd) != 0) {
        return -1;
    }
    if (fd == -1) {
        log_herror("create socket fails");
        return -1;
    }
    if (set_seconds(fd, SO_SNDTIMEO, send_s) != 0 || set_seconds(fd, SO_RCVTIMEO, recv_s) != 0) {
        return -1;
    }
    return fd;
}

static struct sockaddr_in endpoint(in_addr_t address, int port)
{
    struct sockaddr_in result = {};
    result.sin_family = AF_INET;
    result.sin_port = htons(static_cast<uint16_t>(port));
    result.sin_addr.s_addr = address;
    return result;
}

int soc_connect(int fd, const char *address, int port)
{
    if (address == nullptr) {
        return -1;
    }
    const struct sockaddr_in to = endpoint(inet_addr(address), port);
    return connect(fd, reinterpret_cast<const struct sockaddr *>(&to), sizeof to);
}

int soc_bind(int fd, int port)
{
    if (allow_reuse(fd) != 0) {
        log_herror("setsockopt");
        return -1;
    }
    const struct sockaddr_in at = endpoint(htonl(INADDR_ANY), port);
    return bind(fd, reinterpret_cast<const struct sockaddr *>(&at), sizeof at) == 0 ? 1 : -1;
}

int socket_listen(int fd, int backlog)
{
    return listen(fd, backlog) == 0 ? 1 : -1;
}

int soc_accept(int fd, char *address)
{
    struct sockaddr_in peer = {};
    socklen_t size = sizeof peer;
    const int accepted =
        accept4(fd, reinterpret_cast<struct sockaddr *>(&peer), &size, SOCK_CLOEXEC);
    if (accepted < 0) {
        return -1;
    }
    __atomic_store_n(&last_accepted, accepted, __ATOMIC_RELAXED);
    if (address != nullptr) {
        inet_ntop(AF_INET, &peer.sin_addr, address, INET_ADDRSTRLEN);
    }
    return accepted;
}

int soc_close(int fd)
{
    log_trace("soc_close", 351);
    return close(fd) == 0 ? 1 : -1;
}
