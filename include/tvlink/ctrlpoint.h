/* SPDX-License-Identifier: MIT */
/* The record of one connected control point: a phone or tablet that drives the television. */
#ifndef TVLINK_CTRLPOINT_H
#define TVLINK_CTRLPOINT_H

#include <pthread.h>
#include <stdint.h>

#include "tvlink/api.h"

TVLINK_BEGIN

/* The library makes one record for each connection that it accepts and owns it: the record is freed
 * when the connection has ended and nobody uses it any more. A host that is passed a record may use
 * it only during the call.
 *
 * A host may copy a record or an item with memcpy: the copy stands for the same connection for as
 * long as it lasts, and for none afterwards; it keeps nothing open and needs no release. When the
 * host puts another descriptor into `fd`, the copy becomes a record of its own.
 *
 * A host may also make a record itself, for a socket of its own to which handlers reply: it
 * zeroes the whole record, sets `fd` and initialises `send_lock`; the record and the socket stay
 * the host's.
 *
 * All times are seconds since the epoch. */
typedef struct CtrlPoint {
    int32_t fd;                /* the connected stream socket; the registry's key */
    uint32_t peer_addr;        /* the peer's IPv4 address in network byte order */
    uint8_t *rx_buf;           /* receive buffer, owned by the record; null until bytes arrive */
    uint32_t rx_cap;           /* size of rx_buf in bytes; rx_pos <= rx_fill <= rx_cap */
    uint32_t rx_fill;          /* end of the valid bytes in rx_buf */
    uint32_t rx_pos;           /* start of the bytes that are not consumed yet */
    uint32_t last_heartbeat;   /* when check_ctrlpoint_heart last sent a heartbeat; 0 at first */
    uint32_t connect_time;     /* when the connection was accepted */
    uint32_t last_active;      /* when bytes last arrived; at first when it was accepted */
    int32_t idle_limit;        /* 30 at creation; the idle test has bounds of its own */
    uint32_t reserved[4];      /* the library's handle; zero in a record that a host makes itself */
    pthread_mutex_t send_lock; /* serialises the sends on this connection */
} CtrlPoint;

TVLINK_END

#endif
