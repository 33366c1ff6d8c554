/* SPDX-License-Identifier: MIT */
/* What a socket is set to. */
#pragma once

#include "support/sockets.h"

#include <gtest/gtest.h>

#include <sys/socket.h>
#include <sys/time.h>

inline int option(int fd, int level, int name)
{
    int value = -1;
    socklen_t size = sizeof value;
    EXPECT_EQ(getsockopt(fd, level, name, &value, &size), 0);
    return value;
}

/* In the system's own steps, which may be coarser than what was asked for. */
inline long time_out(int fd, int name)
{
    timeval value = {-1, 0};
    socklen_t size = sizeof value;
    EXPECT_EQ(getsockopt(fd, SOL_SOCKET, name, &value, &size), 0);
    return value.tv_sec * 1000000 + value.tv_usec;
}

inline long one_millisecond()
{
    const Descriptor example(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    const timeval value = {0, 1000};
    EXPECT_EQ(setsockopt(example.get(), SOL_SOCKET, SO_SNDTIMEO, &value, sizeof value), 0);
    return time_out(example.get(), SO_SNDTIMEO);
}
