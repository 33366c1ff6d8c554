/* Sending one frame to all connections. */
#pragma once

#include "link/connection.h"
#include "tvlink/reply.h"

/* The diagnostic lines of a send: they name the exported function. */
struct SendTrace {
    const char *function;
    int progress_line; /* 0: no line for each send */
    int error_line;
};

extern const SendTrace SENDBACK;
extern const SendTrace SENDBACKALL;

struct Broadcast {
    int type;
    const void *payload;
    int32_t length;
    const SendTrace *trace;

    /* Called for each listed record in turn; false: it is left out. */
    bool (*begin)(const Broadcast *broadcast, CtrlPoint *record, int number);
};

/* Sends the frame to one listed record after the other and removes those that fail, under the
 * registry lock. With the guard's send_stall_ms everybody is tried before anybody is waited for,
 * and then all that are stalled are waited for at once. */
void send_broadcast(const Broadcast *broadcast) NEEDS(registry_mutex);
