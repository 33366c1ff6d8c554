#include "tvlink/socket.h"

#include "core/log.h"

#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

static int set_seconds(int fd, int option, int seconds)
{
    struct timeval limit = {};
    limit.tv_sec = seconds;
    return setsockopt(fd, SOL_SOCKET, option, &limit, sizeof limit);
}

int soc_create(int domain, int type, int protocol, int send_s, int recv_s)
{
    const int on = 1;
    const int fd = socket(domain, type | SOCK_CLOEXEC, protocol);
    if (setsockopt(fd, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on) != 0) {
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

int soc_close(int fd)
{
    log_trace("soc_close", 351);
    return close(fd) == 0 ? 1 : -1;
}
