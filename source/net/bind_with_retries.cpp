#include "net/bind_with_retries.h"

#include "base/clock.h"
#include "base/flags.h"

#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

static const useconds_t PAUSE_US = 10000;

bool bind_with_retries(int fd, uint16_t port, uint32_t limit_ms)
{
    struct sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_ANY);
    const uint64_t since = clock_elapsed_ms();
    while (bind(fd, reinterpret_cast<struct sockaddr *>(&address), sizeof address) != 0) {
        if (!flags_running() || (limit_ms != 0 && clock_elapsed_ms() - since >= limit_ms)) {
            return false;
        }
        usleep(PAUSE_US);
    }
    return true;
}
