/* The networks that this machine is on, for multicast. */
#ifndef CP_INTERFACES_H
#define CP_INTERFACES_H

#include <cstddef>
#include <cstdint>

enum { CP_MAX_INTERFACES = 32 };

/* Stands for whichever interface the system's routes choose. */
inline constexpr unsigned cp_any_interface = 0;

struct CpInterfaces {
    unsigned list[CP_MAX_INTERFACES]; /* interface indexes */
    size_t count;
};

/* Fills in the interfaces that are up, have an IPv4 address, take multicast and are not the
 * loopback. None are found when the system does not tell. */
void cp_list_interfaces(CpInterfaces *interfaces);

/* Makes multicast packets leave through an interface. False where that cannot be chosen. */
bool cp_send_through(int descriptor, unsigned interface);

/* Joins a group (network byte order) on every interface, or on the one that the routes choose if
 * there is none. What cannot be joined is left out. */
void cp_join_group(int descriptor, const CpInterfaces *interfaces, uint32_t group);

#endif
