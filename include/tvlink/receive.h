/* SPDX-License-Identifier: MIT */
/* Receiving: turns the bytes of a connection into queued items, on the server thread. */
#ifndef TVLINK_RECEIVE_H
#define TVLINK_RECEIVE_H

#include "tvlink/api.h"
#include "tvlink/ctrlpoint.h"

TVLINK_BEGIN

/* Reads all available bytes of the record's socket into its buffer, which grows to exactly their
 * number, and splits the buffer. With the guard's max_frame_length it reads in portions, so that
 * the buffer holds no more than the longest frame; a length of 0 then drops all available bytes. A
 * connection that announces a longer frame is dropped, and its record may be freed. One thread at a
 * time for a record. */
TVLINK_API void receive_ctrlpoint_packet(CtrlPoint *record);

/* Cuts the buffer into frames and queues each: heartbeats for the heartbeat worker, all others for
 * the request worker. A frame without its magic or shorter than a frame can be is skipped by its
 * own length, a length of 0 drops the whole buffer, a part of a frame stays. A full queue drops the
 * frame; a frame above the guard's max_frame_length ends the splitting. A host that calls it with a
 * record of its own keeps that record's socket open until its items are done. */
TVLINK_API void handle_ctrlpoint_request(CtrlPoint *record);

TVLINK_END

#endif
