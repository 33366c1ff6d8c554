/* SPDX-License-Identifier: MIT */
#include "net/bind_with_retries.h"

#include "base/clock.h"
#include "base/flags.h"
#include "base/log.h"

#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

static const useconds_t PAUSE_US = 10000;
static const uint64_t REPORT_AFTER_MS = 1000;

bool bind_with_retries(int fd, uint16_t port, uint32_t limit_ms, bool reports)
{
    struct sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_ANY);
    const uint64_t since = clock_elapsed_ms();
    while (bind(fd, reinterpret_cast<struct sockaddr *>(&address), sizeof address) != 0) {
        const uint64_t waited = clock_elapsed_ms() - since;
        const bool last = limit_ms != 0 && waited >= limit_ms;
        if (!flags_running()) {
            return false;
        }
        if (reports && (last || waited >= REPORT_AFTER_MS)) {
            log_warning("err: port %d is taken\n", port);
            reports = false;
        }
        if (last) {
            return false;
        }
        usleep(PAUSE_US);
    }
    return true;
}
