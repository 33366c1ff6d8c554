/* Binding a port that someone else may still hold. */
#pragma once

#include <stdint.h>

/* Binds the socket to the port on all interfaces, every 10 ms until it succeeds, the service stops
 * or the limit is over; 0 is no limit. */
bool patient_bind(int fd, uint16_t port, uint32_t limit_ms);
