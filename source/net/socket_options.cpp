#include "tvlink/socket.h"

#include "core/log.h"

#include <sys/ioctl.h>

int soc_setNoBlock(int fd, int mode)
{
    if (ioctl(fd, FIONBIO, &mode) != 0) {
        log_perror("soc_setBlock fails  error ");
        return -1;
    }
    log_out("soc_setBlock ok\n ");
    return 1;
}
