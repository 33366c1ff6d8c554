/* SPDX-License-Identifier: MIT */
/* Connects stream sockets, and maps their errors to statuses. */
#ifndef CP_SOCKET_H
#define CP_SOCKET_H

#include "controlpoint.h"

#include <netinet/in.h>

/* Makes a socket and connects it, up to a deadline on the clock of cp_clock.h. After an error
 * `*descriptor` is -1. */
CpStatus cp_socket_connect(int *descriptor, const sockaddr_in *address, int64_t deadline);

/* True when a send or a receive that failed with this errno is to be retried. */
bool cp_socket_transient(int error);

/* The status for errno after any other failed send or receive: CP_CLOSED, with `*problem` set to a
 * static text for cp_problem, or CP_SYSTEM. */
CpStatus cp_socket_failure(const char **problem);

#endif
