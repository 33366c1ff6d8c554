/* SPDX-License-Identifier: MIT */
#include "tvlink/local_address.h"

#include "net/interface_list.h"

#include <arpa/inet.h>
#include <sys/socket.h>
#include <unistd.h>

int get_local_ip(uint32_t *address)
{
    const int fd = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (fd < 0) {
        return -1;
    }
    InterfaceList list;
    interface_list_read(fd, &list);
    close(fd);
    for (size_t i = 0; i < list.count; i++) {
        const uint32_t found = interface_address(&list.entries[i]);
        if (found != htonl(INADDR_LOOPBACK)) {
            *address = found;
            return 0;
        }
    }
    return 0;
}
