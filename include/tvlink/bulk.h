/* Bulk transfers: data that is too large for a reply is fetched from a socket of its own, which
 * lives for one connection. What travels is a 4-byte length, little-endian, and the data. */
#ifndef TVLINK_BULK_H
#define TVLINK_BULK_H

#include "tvlink/api.h"

#include <stdint.h>

TVLINK_BEGIN

/* What a bulk thread is given; it frees buffer and record and closes the socket. */
typedef struct BulkJob {
    int listener;       /* listening socket */
    uint8_t *data;      /* length field and data, malloc'ed */
    uint32_t length;    /* of both */
    uint32_t peer;      /* IPv4, network byte order: who asked; 0: not known, anybody is served */
    uint32_t accept_ms; /* how long to wait for a connection, and only peer's counts; 0: for ever,
                           and anybody's */
    uint32_t stall_ms;  /* give up when the connection takes no byte for so long; 0: never */
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
