/* SPDX-License-Identifier: MIT */
/* Socket calls for connections. */
#pragma once

#include "tvlink/socket_io.h"

/* True when errno says that the last send failed because of a full buffer or a signal. */
bool send_worth_retrying(void);

/* Calls setsockopt for a TCP option with the integer 1 in place of the address of a value: the call
 * fails and the option never takes effect. The length is 0, so that the system rejects the call
 * before it reads the address, which would cost more than the send that follows. */
void set_option_without_effect(int fd, int option);
