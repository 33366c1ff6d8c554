/* What a pass of the server waits for: kept from pass to pass, and made anew when the registry has
 * changed. With many connections the walk through the list costs more than the rest of a pass. */
#pragma once

#include "link/registry.h"
#include "net/descriptor_set.h"

/* Zeros: nothing is watched yet. */
struct Watch {
    DescriptorSet all;
    DescriptorSet ready;    /* those of the latest pass */
    DescriptorSet waiting;  /* connections with a backlog */
    DescriptorSet writable; /* those with room */
    CtrlPoint **records;    /* by descriptor; valid while the registry is as it was */
    int room;               /* descriptors that `records` has room for */
    bool complete;          /* nothing was left out for want of memory */
    CtrlPointList registry;
    uint32_t list_changes;
};

/* Waits as select does, for all connections, the listening socket and the signals; and for room for
 * what waits to be sent, then not longer than a tenth of a second. */
int watch_wait(Watch *watch, int listener, struct timeval limit);

/* The connection with this descriptor, acquired; without a place and a record when there is none.
 */
Connection watch_acquire(const Watch *watch, int fd);

void watch_free(Watch *watch);
