/* A stream socket on its way to a television, and what its failures mean. */
#ifndef CP_SOCKET_H
#define CP_SOCKET_H

#include "controlpoint.h"

#include <netinet/in.h>

/* Makes a socket and connects it, up to a deadline on the clock of cp_clock.h. After an error
 * `*descriptor` is -1. */
CpStatus cp_socket_connect(int *descriptor, const sockaddr_in *address, int64_t deadline);

/* Whether a send or a receive that failed with this errno is to be tried again. */
bool cp_socket_transient(int error);

/* What the errno of any other failed send or receive means: CP_CLOSED, and `problem` says why, or
 * CP_SYSTEM. */
CpStatus cp_socket_failure(const char **problem);

#endif
