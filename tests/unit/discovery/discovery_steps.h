/* SPDX-License-Identifier: MIT */
/* Parts of the discovery thread's life, and the lines that they print. */
#pragma once

#include "discovery/discovery.h"
#include "discovery/discovery_socket.h"
#include "support/system_calls.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <string>
#include <vector>

#include <fcntl.h>

inline void operator+=(std::vector<std::string> &lines, const std::vector<std::string> &more)
{
    lines.insert(lines.end(), more.begin(), more.end());
}

/* Opens the discovery socket as the discovery thread does, without a membership thread beside it:
 * the thread ends early, and leaves the socket open, when that one cannot be created. */
inline void open_discovery_socket()
{
    WatchedCall creation(system_pthread_create);
    creation.fail(EAGAIN);
    EXPECT_EQ(udp_thread(nullptr), reinterpret_cast<void *>(-4));
    EXPECT_GE(fcntl(g_udp_sock, F_GETFD), 0);
}
