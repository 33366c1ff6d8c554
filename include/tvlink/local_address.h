/* SPDX-License-Identifier: MIT */
/* The television's own address. */
#ifndef TVLINK_LOCAL_ADDRESS_H
#define TVLINK_LOCAL_ADDRESS_H

#include "tvlink/api.h"

#include <stdint.h>

TVLINK_BEGIN

/* Stores the IPv4 address (network byte order) of the first interface, in the system's order, whose
 * address is not 127.0.0.1; looks at no more than 512 bytes of the system's list. Leaves the output
 * alone when there is none. Returns 0, or -1 when no socket could be opened for the query. Any
 * thread. */
TVLINK_API int get_local_ip(uint32_t *address);

TVLINK_END

#endif
