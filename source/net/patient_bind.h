/* Binding a port that someone else may still hold. */
#pragma once

#include <stdint.h>

/* Binds the socket to the port on all interfaces, every 10 ms until it succeeds, the service stops
 * or the guard's bind_wait_ms is over. */
bool patient_bind(int fd, uint16_t port);
