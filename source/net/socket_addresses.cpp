/* SPDX-License-Identifier: MIT */
#include "tvlink/host/socket.h"

#include "base/log.h"
#include "net/interface_list.h"

#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

/* Prints a line when the flags of the interface cannot be read; nothing else uses them. */
static void check_flags(int fd, struct ifreq entry)
{
    if (ioctl(fd, SIOCGIFFLAGS, &entry) < 0) {
        log_perror("SIOCGIFFLAGS");
    }
}

/* In reverse order: the last interface comes first. */
static int collect_addresses(int fd, const InterfaceList *list, uint32_t *addresses)
{
    int found = 0;
    for (size_t left = list->count; left > 0; left--) {
        struct ifreq entry = list->entries[left - 1];
        check_flags(fd, entry);
        if (ioctl(fd, SIOCGIFADDR, &entry) == 0) {
            addresses[found++] = interface_address(&entry);
        }
    }
    return found;
}

int net_getipaddress(uint32_t *addresses, int *count)
{
    if (addresses == nullptr || count == nullptr) {
        return -1;
    }
    const int fd = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    InterfaceList list;
    if (fd >= 0 && interface_list_read(fd, &list)) {
        *count = collect_addresses(fd, &list, addresses);
    }
    log_trace("net_getipaddress", 517);
    return close(fd); /* -1 when there is no socket */
}
