/* SPDX-License-Identifier: MIT */
/* The control port and the thread that serves it. */
#ifndef TVLINK_TCP_SERVER_H
#define TVLINK_TCP_SERVER_H

#include "tvlink/api.h"
#include "tvlink/registry.h"

#include <pthread.h>
#include <stdint.h>

TVLINK_BEGIN

TVLINK_API extern int32_t g_tcp_sock;  /* the listening socket; negative when there is none */
TVLINK_API extern pthread_t g_tcp_tid; /* the server thread; keeps its value after a stop */

/* Makes the listening socket and starts the server thread. Returns 0, -1 when there is no socket,
 * -4 when the thread cannot be created, each after a line. ipp_init calls it. */
TVLINK_API int start_tcp_thread(void);

/* A listening socket on all local addresses: non-blocking, time-outs of 1 ms (connections inherit
 * them), backlog 20. Tries to bind every 10 ms while g_thread_run is 1 and the guard's bind_wait_ms
 * allows. Returns the socket; -1 for a port outside 1 to 65535; -3 after lines when a call fails,
 * without a line when the port did not become free. */
TVLINK_API int tcp_sock_init(int32_t port);

/* The thread body: serves g_tcp_sock and every registered connection while g_thread_run is not 0,
 * then closes g_tcp_sock. Returns null. */
TVLINK_API void *tcp_thread(void *argument);

TVLINK_END

#endif
