/* SPDX-License-Identifier: MIT */
/* The interfaces with an IPv4 address, as the system lists them. */
#pragma once

#include <net/if.h>
#include <stddef.h>
#include <stdint.h>

/* In bytes. The size of an entry differs between 32-bit and 64-bit systems, that of the list does
 * not. */
enum { INTERFACE_LIST_SIZE = 512 };

struct InterfaceList {
    struct ifreq entries[INTERFACE_LIST_SIZE / sizeof(struct ifreq)];
    size_t count;
};

/* Queries the system through the socket. False, and an empty list, when the query fails. */
bool interface_list_read(int fd, struct InterfaceList *list);

/* The address in an entry, network byte order. */
uint32_t interface_address(const struct ifreq *entry);
