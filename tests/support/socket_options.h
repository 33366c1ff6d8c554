/* SPDX-License-Identifier: MIT */
/* Socket options as texts and numbers that a test can compare. */
#pragma once

#include <string>

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/time.h>

inline int option_of(int fd, int option, int level = SOL_SOCKET)
{
    int value = -1;
    socklen_t size = sizeof value;
    EXPECT_EQ(getsockopt(fd, level, option, &value, &size), 0);
    return value;
}

/* "seconds.microseconds" */
inline std::string timeout_of(int fd, int option)
{
    timeval value = {-1, -1};
    socklen_t size = sizeof value;
    EXPECT_EQ(getsockopt(fd, SOL_SOCKET, option, &value, &size), 0);
    return std::to_string(value.tv_sec) + "." + std::to_string(value.tv_usec);
}
