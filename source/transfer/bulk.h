/* SPDX-License-Identifier: MIT */
/* Bulk transfers: offering data on a socket of its own. */
#pragma once

#include "tvlink/bulk.h"
#include "tvlink/ctrlpoint.h"

/* Copies the data, preceded by its length, and starts a thread that sends it to one connection.
 * Stores the port to connect to. False, and port 0, when the socket cannot be made, memory is out
 * or the guard's max_captures is reached. `handler` names the caller in the line about a thread
 * that could not be started. */
bool bulk_offer(const CtrlPoint *cp, const void *data, uint32_t size, const char *handler,
                uint16_t *port);
