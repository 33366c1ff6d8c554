/* SPDX-License-Identifier: MIT */
/* Answers to the searches of control points. */
#ifndef TVLINK_DISCOVERY_H
#define TVLINK_DISCOVERY_H

#include "tvlink/api.h"
#include "tvlink/discovery_socket.h"

#include <netinet/in.h>
#include <pthread.h>
#include <stdint.h>

TVLINK_BEGIN

TVLINK_API extern pthread_t g_udp_tid; /* the discovery thread; keeps its value after a stop */
TVLINK_API extern pthread_t g_multicast_tid; /* the latest announcing thread, detached */
TVLINK_API extern pthread_t g_addgroup_tid;  /* the latest group-membership thread, detached */

/* Starts the discovery thread and the announcing thread. Returns 0, or -4 after a line when one of
 * them cannot be created; the discovery thread runs on without the announcing thread. ipp_init
 * calls it. */
TVLINK_API int start_udp_serv_thread(void);

/* The thread body: makes the socket, starts the group-membership thread and answers searches while
 * g_thread_run is not 0. The result is -1, -4 or 0 as a pointer; the library does not read it. */
TVLINK_API void *udp_thread(void *argument);

/* Answers the phone at this address, port 9988, after 0.1 to 0.35 s. Null does nothing. */
TVLINK_API void response_cp_search(const struct sockaddr_in *from);

TVLINK_END

#endif
