/* What one attempt to send has come to. */
#pragma once

#include "tvlink/socket_io.h"

/* Was the last failed send a full buffer or a signal, so that it is worth another attempt? Reads
 * errno. */
bool send_worth_retrying(void);
