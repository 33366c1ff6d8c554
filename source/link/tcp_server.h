#pragma once

#include "tvlink/tcp_server.h"

/* Waits until the server thread has ended, if one is running. */
void tcp_server_join(void);
