/* SPDX-License-Identifier: MIT */
#include "discovery/announce.h"

#include "base/flags.h"
#include "base/log.h"
#include "discovery/answer_packet.h"
#include "discovery/run_thread.h"
#include "tvlink.h"
#include "tvlink/host/socket.h"

#include <arpa/inet.h>
#include <errno.h>
#include <sys/socket.h>
#include <unistd.h>

static const char *const ANNOUNCEMENT_GROUP = "239.201.202.203";
static const char *const NAME = "notify_cp_multicast"; /* in its trace lines */
static const uint32_t FIRST_PAUSE_MS = 500;
static const uint32_t LAST_MULTIPLIER = 256; /* the pause doubles from 1 up to below this */

namespace
{

struct Announcement {
    uint32_t run;
    uint8_t packet[ANSWER_SIZE];
    struct sockaddr_in to;
};

} // namespace

static void send_and_pause(int fd, const Announcement *what, uint32_t multiplier)
{
    log_out("groupcast notfit 9988 \n");
    sendto(fd, what->packet, sizeof what->packet, 0,
           reinterpret_cast<const struct sockaddr *>(&what->to), sizeof what->to);
    const int reason = errno; /* announce_on() examines it */
    usleep(FIRST_PAUSE_MS * multiplier * 1000);
    errno = reason;
}

/* False when the socket is broken and a new one is needed. */
static bool announce_on(int fd, const Announcement *what)
{
    for (uint32_t multiplier = 1;; multiplier *= 2) {
        if (!flags_run_is_current(what->run) || multiplier == LAST_MULTIPLIER) {
            log_trace(NAME, 175);
            return true;
        }
        log_trace(NAME, 160);
        if (errno == EPIPE) {
            return false;
        }
        send_and_pause(fd, what, multiplier);
    }
}

static int announce(uint32_t run)
{
    Announcement what = {run, {}, {}};
    answer_packet_build(what.packet);
    for (;;) {
        errno = 0; /* a broken pipe of the previous socket must not count */
        const int fd = soc_create(AF_INET, SOCK_DGRAM, 0, 0, 0);
        what.to = answer_destination(inet_addr(ANNOUNCEMENT_GROUP));
        log_trace(NAME, 149);
        log_out("zqt===  %s %d  %d  %d\n", NAME, 158, flags_thread_run(), 1);
        if (announce_on(fd, &what)) {
            return soc_close(fd);
        }
        log_out("groupcast port VOTA%d \n", IPP_CONTROL_PORT);
        log_trace(NAME, 166);
        soc_close(fd);
    }
}

int notify_cp_multicast()
{
    return announce(flags_run_number());
}

void *announcing_thread(void *run)
{
    announce(run_thread_number(run));
    return nullptr;
}

void *udp_multicastthread(void *)
{
    notify_cp_multicast();
    return nullptr;
}
