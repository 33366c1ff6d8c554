/* SPDX-License-Identifier: MIT */
/* The discovery socket, shared by the threads of the discovery. */
#pragma once

#include "tvlink/discovery_socket.h"

#include <netinet/in.h>
#include <stddef.h>

/* The descriptor of the socket; negative when it could not be made. */
int32_t discovery_socket_fd(void);

/* Make and close the socket. For the discovery thread. */
void discovery_socket_open(void);
void discovery_socket_close(void);

/* Does nothing once the socket is closed: its number may have been reused. */
void discovery_socket_send(const uint8_t *packet, size_t size, const struct sockaddr_in *to);

/* Joins the socket of this run to a group on all interfaces. False, with the reason in errno, when
 * the system refuses, the socket is closed or the run is over. */
bool discovery_join_group(const char *group, uint32_t run);

void discovery_leave_group(void);
