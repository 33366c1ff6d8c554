/* Socket calls that the connections share. */
#pragma once

#include "tvlink/socket_io.h"

/* Was the last failed send a full buffer or a signal, so that it is worth another attempt? Reads
 * errno. */
bool send_worth_retrying(void);

/* Sets a TCP option with the integer 1 where the address of its value belongs: the call fails and
 * the option is never in force. The length is 0, so that the system refuses before it looks at the
 * address, which would cost more than the send that follows. */
void set_option_in_vain(int fd, int option);
