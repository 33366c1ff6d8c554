/* SPDX-License-Identifier: MIT */
/* Options of a socket, and a send that ends early only on a hard error. */
#ifndef TVLINK_SOCKET_IO_H
#define TVLINK_SOCKET_IO_H

#include "tvlink/api.h"

TVLINK_BEGIN

/* Adds O_NONBLOCK to the descriptor's flags. Returns what fcntl returns, or -1 for a negative
 * descriptor. */
TVLINK_API int set_socket_noblock(int fd);

/* Sets receive and send time-out to 0 seconds and ms x 1000 microseconds, so the system takes
 * values below 1,000 only. Returns 0; -1 for a negative argument, or after the line "err:
 * setsockopt() recv timeout fail" or "err: setsockopt() send timeout fail". */
TVLINK_API int set_socket_timeout(int fd, int ms);

/* Sends all bytes; retries every 10 ms without limit after a full buffer or a signal, so it may
 * block for as long as the peer reads nothing. Returns 0; -1 for a negative descriptor, null data
 * or a length below 1, and on a hard error after a line with errno. A closed peer raises no signal.
 * The caller serialises the sends on one socket. */
TVLINK_API int socket_send(int fd, const void *data, int length);

TVLINK_END

#endif
