/* SPDX-License-Identifier: MIT */
/* The interfaces of this machine, and the memberships of the two multicast groups. */
#include "doctor_collect.h"
#include "system.h"

#include <arpa/inet.h>
#include <cctype>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <ifaddrs.h>
#include <memory>
#include <net/if.h>
#include <netinet/in.h>
#include <sstream>
#include <sys/ioctl.h>
#include <sys/socket.h>

namespace ctl
{
namespace
{

/* The flag for a carrier. <linux/if.h>, which names it, conflicts with <net/if.h>; IFF_RUNNING is
 * updated only after a delay. */
constexpr unsigned lower_up = 1U << 16;

uint32_t address_of(const sockaddr *generic)
{
    sockaddr_in address = {};
    memcpy(&address, generic, sizeof address);
    return address.sin_addr.s_addr;
}

DoctorInterface interface_of(const ifaddrs &entry)
{
    DoctorInterface result;
    result.name = entry.ifa_name;
    result.up = (entry.ifa_flags & IFF_UP) != 0;
    result.has_link = (entry.ifa_flags & lower_up) != 0;
    result.multicast = (entry.ifa_flags & IFF_MULTICAST) != 0;
    result.loopback = (entry.ifa_flags & IFF_LOOPBACK) != 0;
    return result;
}

/* The address that a television on this machine announces: the first of the system's list that is
 * not 127.0.0.1, whether or not its interface is up. The list is as long as a television's. */
uint32_t announced_address()
{
    const tools::Descriptor probe(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    ifreq entries[512 / sizeof(ifreq)];
    ifconf list = {};
    list.ifc_len = sizeof entries;
    list.ifc_req = entries;
    if (ioctl(probe.number, SIOCGIFCONF, &list) < 0) {
        return 0;
    }
    const size_t count = static_cast<size_t>(list.ifc_len) / sizeof(ifreq);
    for (size_t i = 0; i < count; i++) {
        const uint32_t address = address_of(&entries[i].ifr_addr);
        if (address != htonl(INADDR_LOOPBACK)) {
            return address;
        }
    }
    return 0;
}

/* The system lists all interfaces first, then each again for each of its addresses. */
void add_address(std::vector<DoctorInterface> &list, const DoctorInterface &found)
{
    size_t at = 0;
    while (at < list.size() && list[at].name != found.name) {
        at++;
    }
    if (at < list.size() && list[at].address == 0) {
        list[at] = found;
        return;
    }
    while (at < list.size() && list[at].name == found.name) {
        at++;
    }
    list.insert(list.begin() + static_cast<std::ptrdiff_t>(at), found);
}

void mark_announced(std::vector<DoctorInterface> &list)
{
    const uint32_t announced = announced_address();
    for (DoctorInterface &interface : list) {
        if (announced != 0 && interface.address == announced) {
            interface.announced = true;
            return;
        }
    }
}

int join_error(const char *group)
{
    const tools::Descriptor probe(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    ip_mreqn request = {};
    request.imr_multiaddr.s_addr = inet_addr(group);
    const int result = setsockopt(probe.number, IPPROTO_IP, IP_ADD_MEMBERSHIP, &request,
                                  static_cast<socklen_t>(sizeof request));
    return result == 0 ? 0 : errno;
}

/* In the system's table, the line of an interface precedes those of its groups. */
void find_members(DoctorGroup &group)
{
    char wanted[9];
    snprintf(wanted, sizeof wanted, "%08X",
             static_cast<unsigned>(inet_addr(group.address.c_str())));
    std::ifstream table("/proc/self/net/igmp");
    std::string line;
    std::string interface;
    group.members_known = table.is_open();
    while (std::getline(table, line)) {
        std::istringstream words(line);
        std::string first;
        words >> first;
        if (!line.empty() && isdigit(static_cast<unsigned char>(line[0])) != 0) {
            words >> interface;
        } else if (first == wanted) {
            group.members.push_back(interface);
        }
    }
}

} // namespace

std::vector<DoctorInterface> doctor_interfaces()
{
    ifaddrs *all = nullptr;
    if (getifaddrs(&all) != 0) {
        return {};
    }
    const std::unique_ptr<ifaddrs, void (*)(ifaddrs *)> owner(all, freeifaddrs);
    std::vector<DoctorInterface> list;
    for (const ifaddrs *entry = all; entry != nullptr; entry = entry->ifa_next) {
        DoctorInterface found = interface_of(*entry);
        const int family = entry->ifa_addr == nullptr ? AF_UNSPEC : entry->ifa_addr->sa_family;
        if (family == AF_INET) {
            found.address = address_of(entry->ifa_addr);
            add_address(list, found);
        } else if (family == AF_PACKET) {
            list.push_back(found);
        }
    }
    mark_announced(list);
    return list;
}

DoctorGroup doctor_group(const char *address)
{
    DoctorGroup group;
    group.address = address;
    find_members(group);
    group.error = join_error(address);
    return group;
}

} // namespace ctl
