/* SPDX-License-Identifier: MIT */
/* Bulk transfers: data that is too large for a reply is fetched from a socket of its own, which
 * serves one connection. It sends a 4-byte length, little-endian, and the data. */
#ifndef TVLINK_BULK_H
#define TVLINK_BULK_H

#include "tvlink/api.h"

#include <stdint.h>

TVLINK_BEGIN

/* The argument of a bulk thread, which frees buffer and record and closes the socket. */
typedef struct BulkJob {
    int listener;       /* listening socket */
    uint8_t *data;      /* length field and data, malloc'ed */
    uint32_t length;    /* of both */
    uint32_t peer;      /* the requester's IPv4 address in network byte order; 0: unknown, and any
                           address is served */
    uint32_t accept_ms; /* limit on the wait for a connection, which must come from peer; 0: no
                           limit, and any address is served */
    uint32_t stall_ms;  /* give up when no byte can be sent for this time; 0: never */
} BulkJob;

/* Opens a listening socket on a port that the system chooses and writes the port, in host order.
 * Returns the descriptor; -1, port 0 and diagnostic lines when it could not. Any thread. */
TVLINK_API int create_new_socket(uint16_t *port);

/* The body of a bulk thread: takes a BulkJob from malloc, serves one connection, and ends. Returns
 * null after the data was sent or the sending was given up, (void *)-1 when no connection could be
 * accepted. */
TVLINK_API void *big_data_thread(void *job);

TVLINK_END

#endif
