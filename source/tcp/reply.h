/* Sends from inside the registry's lock. */
#pragma once

#include "tvlink/reply.h"

/* tcp_sendback for a listed record by a caller that holds the registry lock. On -1 after a hard
 * error the record is gone. */
int reply_send_locked(CtrlPoint *record, int type, const void *payload, int32_t length);
