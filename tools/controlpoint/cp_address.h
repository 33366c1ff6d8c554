/* SPDX-License-Identifier: MIT */
#ifndef CP_ADDRESS_H
#define CP_ADDRESS_H

#include "controlpoint.h"

#include <netinet/in.h>

/* Resolves a dotted address or a host's name to its IPv4 address, with the port. May query DNS.
 * CP_NOT_FOUND when there is no such host, CP_BAD_ARGUMENT without a host or with port 0. */
CpStatus cp_resolve(const char *host, uint16_t port, sockaddr_in *address);

/* An address from its number in network byte order. */
sockaddr_in cp_socket_address(uint32_t address, uint16_t port);

#endif
