/* SPDX-License-Identifier: MIT */
/* Binding a port that another process or an earlier run may still hold. */
#pragma once

#include <stdint.h>

/* Binds the socket to the port on all interfaces. Tries every 10 ms until it succeeds, the service
 * stops or limit_ms milliseconds have passed; 0 is no limit. With `reports` one line says
 * that the port is still taken, after a second or at the limit. */
bool bind_with_retries(int fd, uint16_t port, uint32_t limit_ms, bool reports);
