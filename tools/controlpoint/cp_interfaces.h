/* SPDX-License-Identifier: MIT */
/* The network interfaces of this machine, for multicast. */
#ifndef CP_INTERFACES_H
#define CP_INTERFACES_H

#include <cstddef>
#include <cstdint>

enum { CP_MAX_INTERFACES = 32 };

/* The interface that the system's routes choose. */
inline constexpr unsigned cp_any_interface = 0;

struct CpInterfaces {
    unsigned list[CP_MAX_INTERFACES]; /* interface indexes */
    size_t count;
};

/* Fills in the interfaces that are up, have an IPv4 address, take multicast and are not the
 * loopback. None when the system cannot list them. */
void cp_list_interfaces(CpInterfaces *interfaces);

/* Chooses the interface through which multicast packets are sent. False on failure. */
bool cp_send_through(int descriptor, unsigned interface);

/* Joins a group (network byte order) on every interface, or on cp_any_interface if there is none.
 * Failures are ignored. */
void cp_join_group(int descriptor, const CpInterfaces *interfaces, uint32_t group);

#endif
