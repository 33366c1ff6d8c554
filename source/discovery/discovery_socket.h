/* The discovery socket as the threads of the discovery share it. */
#pragma once

#include "tvlink/discovery_socket.h"

#include <netinet/in.h>
#include <stddef.h>

/* The number of the socket; negative when it could not be made. */
int32_t discovery_socket_number(void);

/* The discovery thread's: makes the socket, closes it. */
void discovery_socket_open(void);
void discovery_socket_close(void);

/* Does nothing once the socket is closed: its number may be someone else's. */
void discovery_socket_send(const uint8_t *packet, size_t size, const struct sockaddr_in *to);

/* Joins the socket of this run to a group on all interfaces. False, and the reason in errno, when
 * the system refuses, the socket is closed or the run is over. */
bool discovery_join_group(const char *group, uint32_t run);

void discovery_leave_group(void);
