/* A thin layer over IPv4 sockets. Success values differ from one operation to the next. */
#ifndef TVLINK_SOCKET_H
#define TVLINK_SOCKET_H

#include "tvlink/api.h"

TVLINK_BEGIN

/* A socket with address reuse on and time-outs in whole seconds, 0 for none. Returns the
 * descriptor, close-on-exec, or -1. A descriptor that was made stays open when an option cannot be
 * set on it. */
TVLINK_API int soc_create(int domain, int type, int protocol, int send_s, int recv_s);

/* Closes the descriptor after a trace line. Returns 1, or -1. */
TVLINK_API int soc_close(int fd);

/* Makes the descriptor non-blocking, or blocking again when the mode is 0. Returns 1 after the line
 * "soc_setBlock ok"; -1 after a line with the system's reason. Never blocks. */
TVLINK_API int soc_setNoBlock(int fd, int mode);

TVLINK_END

#endif
