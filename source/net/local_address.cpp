#include "tvlink/local_address.h"

#include <arpa/inet.h>
#include <net/if.h>
#include <string.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

/* The size of an entry differs between 32-bit and 64-bit systems; the list's does not. */
static const int INTERFACE_LIST_SIZE = 512;

static uint32_t interface_address(const struct ifreq *entry)
{
    struct sockaddr_in address = {};
    memcpy(&address, &entry->ifr_addr, sizeof address);
    return address.sin_addr.s_addr;
}

int get_local_ip(uint32_t *address)
{
    const int fd = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (fd < 0) {
        return -1;
    }
    struct ifreq entries[INTERFACE_LIST_SIZE / sizeof(struct ifreq)];
    struct ifconf list = {};
    list.ifc_len = sizeof entries;
    list.ifc_req = entries;
    if (ioctl(fd, SIOCGIFCONF, &list) < 0) {
        list.ifc_len = 0;
    }
    close(fd);
    const size_t count = static_cast<size_t>(list.ifc_len) / sizeof(struct ifreq);
    for (size_t i = 0; i < count; i++) {
        const uint32_t found = interface_address(&entries[i]);
        if (found != htonl(INADDR_LOOPBACK)) {
            *address = found;
            return 0;
        }
    }
    return 0;
}
