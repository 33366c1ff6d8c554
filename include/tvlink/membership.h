/* SPDX-License-Identifier: MIT */
/* Membership of the search group. */
#ifndef TVLINK_MEMBERSHIP_H
#define TVLINK_MEMBERSHIP_H

#include "tvlink/api.h"

TVLINK_BEGIN

/* The thread body: tries once a second to join g_udp_sock to the search group until it succeeds or
 * the service stops, then prints a line. The argument is not looked at. */
TVLINK_API void *udp_addgroupthread(void *argument);

TVLINK_END

#endif
