/* SPDX-License-Identifier: MIT */
#include "net/interface_list.h"

#include <netinet/in.h>
#include <string.h>
#include <sys/ioctl.h>

bool interface_list_read(int fd, InterfaceList *list)
{
    struct ifconf request = {};
    request.ifc_len = sizeof list->entries;
    request.ifc_req = list->entries;
    list->count = 0;
    if (ioctl(fd, SIOCGIFCONF, &request) < 0) {
        return false;
    }
    list->count = static_cast<size_t>(request.ifc_len) / sizeof(struct ifreq);
    return true;
}

uint32_t interface_address(const struct ifreq *entry)
{
    struct sockaddr_in address = {};
    memcpy(&address, &entry->ifr_addr, sizeof address);
    return address.sin_addr.s_addr;
}
