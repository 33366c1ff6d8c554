/* SPDX-License-Identifier: MIT */
/* Announcements: unsolicited packets with the address of the television. */
#ifndef TVLINK_ANNOUNCE_H
#define TVLINK_ANNOUNCE_H

#include "tvlink/api.h"

TVLINK_BEGIN

/* Announces eight times, with pauses of 0.5, 1, 2, ... 64 seconds after each, or until the service
 * stops, which is noticed at the end of a pause. Returns what soc_close returned: 1 or -1. */
TVLINK_API int notify_cp_multicast(void);

/* The body of an announcing thread: notify_cp_multicast. The argument is not looked at. */
TVLINK_API void *udp_multicastthread(void *argument);

TVLINK_END

#endif
