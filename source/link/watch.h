/* SPDX-License-Identifier: MIT */
/* What the server thread waits for. The system keeps the descriptors from pass to pass, so that a
 * pass costs the same however many phones are connected; they are compared with the registry only
 * when that has changed, or after a pause. */
#pragma once

#include "link/registry.h"
#include "net/descriptor_set.h"

struct Watched {
    CtrlPoint *record; /* valid while the registry is as it was; null: none */
    uint32_t identity; /* of the connection that the system watches; 0: none */
    bool for_room;     /* also until there is room to send */
};

struct Watch {
    int listener;
    int epoll;             /* -1: the system watches nothing yet */
    DescriptorSet ready;   /* those of the latest pass */
    DescriptorSet waiting; /* connections with a backlog */
    Watched *connections;  /* by descriptor */
    int room;              /* descriptors that `connections` has room for */
    bool complete;         /* nothing was left out */
    bool for_room;         /* a connection may be watched for room */
    CtrlPointList registry;
    uint32_t list_changes;
};

Watch watch_begin(int listener);

/* Waits until a connection, the listening socket or a signal is readable, a connection with a
 * backlog has room, or the time is over; with a backlog not longer than a tenth of a second.
 * Returns how many there are; -1 with an errno. */
int watch_wait(Watch *watch, int limit_ms);

/* The connection with this descriptor, acquired; without a place and a record when there is none.
 */
Connection watch_acquire(const Watch *watch, int fd);

void watch_end(Watch *watch);
