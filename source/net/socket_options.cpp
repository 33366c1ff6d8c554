/* SPDX-License-Identifier: MIT */
#include "tvlink/host/socket.h"

#include "base/log.h"

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/ioctl.h>
#include <sys/socket.h>

namespace
{

struct KeepAliveOption {
    int level;
    int option;
    const char *failure;
};

/* In the order of the values that the caller gives. */
const KeepAliveOption KEEP_ALIVE_OPTIONS[] = {
    {SOL_SOCKET, SO_KEEPALIVE, " keep live fails"},
    {IPPROTO_TCP, TCP_KEEPIDLE, " keep live idle fails"},
    {IPPROTO_TCP, TCP_KEEPINTVL, " keep live interval fails"},
    {IPPROTO_TCP, TCP_KEEPCNT, " keep live count fails"},
};

} // namespace

int soc_setNoBlock(int fd, int mode)
{
    if (ioctl(fd, FIONBIO, &mode) != 0) {
        log_perror("soc_setBlock fails  error ");
        return -1;
    }
    log_out("soc_setBlock ok\n ");
    return 1;
}

int soc_keepLive(int fd, const int *values)
{
    if (values == nullptr) {
        return -1;
    }
    for (const KeepAliveOption &row : KEEP_ALIVE_OPTIONS) {
        if (setsockopt(fd, row.level, row.option, values, sizeof *values) != 0) {
            log_perror(row.failure);
            return -1;
        }
        values++;
    }
    return 0;
}
