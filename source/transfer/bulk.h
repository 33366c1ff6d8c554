/* Handing data over on a socket of its own. */
#pragma once

#include "tvlink/bulk.h"
#include "tvlink/ctrlpoint.h"

/* Copies the data behind its length and starts a thread that serves it to one connection. Writes
 * the port to connect to. False, and port 0, when nothing could be set up or as many
 * as the guard allows are under way. The caller is the
 * handler whose name stands in the line of a failed start. */
bool bulk_offer(const CtrlPoint *cp, const void *data, uint32_t size, const char *handler,
                uint16_t *port);
