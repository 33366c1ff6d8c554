/* SPDX-License-Identifier: MIT */
#include "net/stop_signal.h"

#include <sys/eventfd.h>
#include <unistd.h>

static int descriptor = -1;

void stop_signal_open()
{
    if (stop_signal_fd() < 0) {
        __atomic_store_n(&descriptor, eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK), __ATOMIC_RELEASE);
    }
}

void stop_signal_raise()
{
    eventfd_write(stop_signal_fd(), 1);
}

void stop_signal_close()
{
    const int fd = __atomic_exchange_n(&descriptor, -1, __ATOMIC_ACQ_REL);
    if (fd >= 0) {
        close(fd);
    }
}

int stop_signal_fd()
{
    return __atomic_load_n(&descriptor, __ATOMIC_ACQUIRE);
}
