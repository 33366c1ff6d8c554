/* Sends by callers that hold the registry lock. */
#pragma once

#include "tvlink/reply.h"

/* tcp_sendback for a listed record by a caller that holds the registry lock. On -1 the record may
 * have been removed from the registry and freed. */
int reply_send_locked(CtrlPoint *record, int type, const void *payload, int32_t length);

/* A broadcast sends to one peer after the other, holding the registry lock throughout. Peers that
 * acknowledge nothing during it stall together: the guard's send_stall_ms passes once for all of
 * them, not once for each. */
void reply_begin_broadcast(void);
void reply_end_broadcast(void);
