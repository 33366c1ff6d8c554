/* Membership of the search group. */
#ifndef TVLINK_MEMBERSHIP_H
#define TVLINK_MEMBERSHIP_H

#include "tvlink/api.h"

TVLINK_BEGIN

/* The thread body: joins g_udp_sock to the search group, once a second until the network lets it or
 * the service stops, then prints a line. Its argument is null, or the number of the run that it
 * belongs to. */
TVLINK_API void *udp_addgroupthread(void *argument);

TVLINK_END

#endif
