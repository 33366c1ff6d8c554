/* SPDX-License-Identifier: MIT */
#include "cp_interfaces.h"

#include <ifaddrs.h>
#include <net/if.h>
#include <netinet/in.h>
#include <sys/socket.h>

static bool takes_multicast(const ifaddrs *entry)
{
    const unsigned needed = IFF_UP | IFF_MULTICAST;
    return entry->ifa_addr != nullptr && entry->ifa_addr->sa_family == AF_INET &&
           (entry->ifa_flags & needed) == needed && (entry->ifa_flags & IFF_LOOPBACK) == 0;
}

/* The system lists an interface once for each of its addresses. */
static void add_once(CpInterfaces *interfaces, unsigned index)
{
    for (size_t i = 0; i < interfaces->count; i++) {
        if (interfaces->list[i] == index) {
            return;
        }
    }
    if (index != 0 && interfaces->count < CP_MAX_INTERFACES) {
        interfaces->list[interfaces->count++] = index;
    }
}

void cp_list_interfaces(CpInterfaces *interfaces)
{
    interfaces->count = 0;
    ifaddrs *all = nullptr;
    if (getifaddrs(&all) != 0) {
        return;
    }
    for (const ifaddrs *entry = all; entry != nullptr; entry = entry->ifa_next) {
        if (takes_multicast(entry)) {
            add_once(interfaces, if_nametoindex(entry->ifa_name));
        }
    }
    freeifaddrs(all);
}

static ip_mreqn request_for(unsigned interface, uint32_t group)
{
    ip_mreqn request = {};
    request.imr_multiaddr.s_addr = group;
    request.imr_ifindex = static_cast<int>(interface);
    return request;
}

bool cp_send_through(int descriptor, unsigned interface)
{
    const ip_mreqn request = request_for(interface, 0);
    const bool chosen =
        setsockopt(descriptor, IPPROTO_IP, IP_MULTICAST_IF, &request, sizeof request) == 0;
    return chosen || interface == cp_any_interface; /* the default */
}

void cp_join_group(int descriptor, const CpInterfaces *interfaces, uint32_t group)
{
    size_t i = 0;
    do {
        const unsigned index = interfaces->count == 0 ? cp_any_interface : interfaces->list[i];
        const ip_mreqn request = request_for(index, group);
        setsockopt(descriptor, IPPROTO_IP, IP_ADD_MEMBERSHIP, &request, sizeof request);
    } while (++i < interfaces->count);
}
