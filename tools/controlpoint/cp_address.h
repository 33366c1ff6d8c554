#ifndef CP_ADDRESS_H
#define CP_ADDRESS_H

#include "controlpoint.h"

#include <netinet/in.h>

/* The IPv4 address of a dotted address or a host's name, with the port. May ask a name server.
 * CP_NOT_FOUND when there is no such host, CP_BAD_ARGUMENT without a host or with port 0. */
CpStatus cp_resolve(const char *host, uint16_t port, sockaddr_in *address);

/* An address from its number in network byte order. */
sockaddr_in cp_socket_address(uint32_t address, uint16_t port);

#endif
