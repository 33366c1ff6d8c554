/* SPDX-License-Identifier: MIT */
/* A thin layer over IPv4 sockets. Success values differ from one operation to the next.
 *
 * Every operation may be called on any thread. Sends on one socket from several threads interleave
 * unless the caller serialises them. Unless a function says so it prints nothing and does not
 * block. */
#ifndef TVLINK_HOST_SOCKET_H
#define TVLINK_HOST_SOCKET_H

#include "tvlink/api.h"

#include <stdint.h>

TVLINK_BEGIN

/* The text for the resolver error of this thread (h_errno). It is owned by the system and never
 * released. */
TVLINK_API const char *soc_getFormatError(void);

/* Prints the text, ": " and that error's text as a line; only the latter for null or an empty
 * text. */
TVLINK_API void soc_showFormatError(const char *text);

/* A socket with address reuse on and time-outs in whole seconds, 0 for none. Returns the
 * descriptor, close-on-exec, or -1. A descriptor that was made stays open when an option cannot be
 * set on it. */
TVLINK_API int soc_create(int domain, int type, int protocol, int send_s, int recv_s);

/* Connects to a dotted IPv4 address, borrowed for the call, and the port, of which the low 16 bits
 * count. A text that is no address counts as 255.255.255.255, which TCP refuses. Returns 0, or -1
 * and errno; -1 for a null address. Blocks until the peer or the network has answered, unless the
 * socket is non-blocking or has a send time-out. */
TVLINK_API int soc_connect(int fd, const char *address, int port);

/* Sets address reuse and binds to all interfaces and the port, of which the low 16 bits count; 0
 * lets the system choose. Returns 1, or -1 and errno; a failure of the option prints "setsockopt"
 * with the resolver's error. */
TVLINK_API int soc_bind(int fd, int port);

/* Returns 1, or -1 and errno. */
TVLINK_API int socket_listen(int fd, int backlog);

/* Accepts an IPv4 connection. The buffer, which may be null, gets the peer's dotted address: at
 * most 15 characters and a terminating zero, so it has room for 16 bytes; it is left alone on
 * failure. Returns the descriptor, close-on-exec and the caller's, or -1 and errno. Blocks until
 * a peer connects, unless the socket is non-blocking or has a receive time-out. */
TVLINK_API int soc_accept(int fd, char *address);

/* Sends all bytes with these flags. Retries every 10 microseconds without limit after a full
 * buffer, a send time-out or a signal, so it may block for as long as the peer reads nothing.
 * Returns the length; 0 for a length below 1; -1 after a line when a send fails, as it does for
 * null data with a length, or sends no byte. A closed peer raises no signal. */
TVLINK_API int soc_send(int fd, const void *data, int length, int flags);

/* One recv with these flags, which may block. Returns the number of bytes, 0 when the peer has
 * closed, or -1 and errno; -1 for a negative length and for a null buffer with a length. */
TVLINK_API int socket_recv(int fd, void *buffer, int length, int flags);

/* Repeats soc_send of one chunk, and always of a whole one, until at least the total has been sent:
 * the data is as long as the total rounded up to whole chunks. Returns the bytes counted as sent,
 * which is that length; less when a send failed; 0 for a total or a chunk below 1. May block as
 * soc_send does. */
TVLINK_API int socket_send_pack(int fd, const void *data, int total, int chunk);

/* Repeats socket_recv of up to one chunk until at least the total has arrived: the buffer has room
 * for the total and one byte less than a chunk. Returns the bytes received, which may be more than
 * the total; less when a receive failed; 0 for a total or a chunk below 1. When the peer closes
 * early it repeats the receive endlessly, without a pause: use it only on a stream that will
 * deliver the total. May block. */
TVLINK_API int socket_recv_pack(int fd, void *buffer, int total, int chunk);

/* Closes the descriptor after a trace line. Returns 1, or -1. */
TVLINK_API int soc_close(int fd);

/* Makes the descriptor non-blocking, or blocking again when the mode is 0. Returns 1 after the line
 * "soc_setBlock ok"; -1 after a line with the system's reason. */
TVLINK_API int soc_setNoBlock(int fd, int mode);

/* Keep-alive of a TCP socket, from four borrowed values: on or off, seconds of silence before the
 * first probe, seconds between probes, and the number of unanswered probes that end the connection.
 * Set in this order; the first failure prints a line and ends the call, and the options that were
 * set before it stay set. Returns 0 or -1; -1 for null. */
TVLINK_API int soc_keepLive(int fd, const int *values);

/* Stores the IPv4 addresses (network byte order) of all interfaces, the loopback included, the last
 * in the system's order first, and their number; there are never more than 16. Looks at no more
 * than 512 bytes of the system's list. Leaves the outputs alone when there is no list. Prints a
 * trace line, and a line for each interface without readable flags. Returns 0; -1 when no socket
 * could be opened for the query or an output is null. */
TVLINK_API int net_getipaddress(uint32_t *addresses, int *count);

TVLINK_END

#endif
