/* SPDX-License-Identifier: MIT */
/* Sending one frame to one connection, or to all. */
#pragma once

#include "link/connection.h"
#include "tvlink/reply.h"
#include "wire/frame.h"

/* The diagnostic lines of a send: they name the exported function. */
struct SendTrace {
    const char *function;
    int progress_line; /* 0: no line for each send */
    int error_line;
};

extern const SendTrace SENDBACK;
extern const SendTrace SENDBACKALL;

/* tcp_sendback for a frame that has been built. */
int send_frame(CtrlPoint *cp, Frame frame);

struct SendToAll {
    Frame frame;    /* without bytes: everything but the sending is done */
    int third_byte; /* of the payload, for the lines of events */
    const SendTrace *trace;

    /* Called for each listed record in turn; false: it is left out. */
    bool (*begin)(const SendToAll *to_all, CtrlPoint *record, int number);
};

/* How many a frame was sent to, or is kept for, and to how many that failed. */
struct SendTally {
    uint32_t reached;
    uint32_t failed;
};

/* The place of a frame that is still being made among those of its connection, which stays in use
 * meanwhile. */
struct ReservedPlace {
    Connection to;
    BacklogPart *part;
};

/* With the guard's send_backlog_bytes: reserves the place. Everything that is sent afterwards is
 * kept and waits for send_reserved(), which must follow. False: there is none; send as usual. */
bool send_reserve(CtrlPoint *cp, ReservedPlace *place);

/* Sends the frame from its place; of size 0: nothing. A failure has the line and the consequence
 * that it has in tcp_sendback. */
void send_reserved(const ReservedPlace *place, Frame frame);

/* For the server thread: sends what the backlog of an acquired connection holds, as far as the peer
 * takes it. A peer that has taken no byte for the guard's send_stall_ms is dropped. */
void send_waiting(Connection to);

/* sendto_all_ctrlpoint for a frame that has been built. */
void send_event(Frame frame, uint16_t code, int third_byte);

/* Sends the frame to one listed record after the other and removes those that fail, under the
 * registry lock. With the guard's send_stall_ms everybody is tried before anybody is waited for,
 * and then all that are stalled are waited for at once. */
SendTally send_broadcast(const SendToAll *to_all) NEEDS(registry_mutex);
