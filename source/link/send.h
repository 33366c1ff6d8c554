/* Sends from inside the registry's lock. */
#pragma once

#include "tvlink/reply.h"

/* tcp_sendback for a listed record by a caller that holds the registry lock. On -1 after a hard
 * error the record is gone. */
int reply_send_locked(CtrlPoint *record, int type, const void *payload, int32_t length);

/* A round sends to one phone after the other with the registry lock held all the time. Phones that
 * take nothing meanwhile stall together: the guard's limit is waited for once, not for each. */
void reply_begin_round(void);
void reply_end_round(void);
