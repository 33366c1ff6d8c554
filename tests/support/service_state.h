/* SPDX-License-Identifier: MIT */
/* What the tests of start and stop look at. */
#pragma once

#include "support/captured_lines.h"
#include "support/phone.h"

#include <cstdint>
#include <string>

/* The lines for standard output, one after the other, without those of the announcing thread, the
 * discovery thread and the group-membership thread: they print when they please. */
std::string own_lines(const CapturedLines &lines);

/* A heartbeat is answered. */
void expect_alive(const Phone &phone);

/* Nothing runs, nobody holds the control port, the registry is empty and its lock free. */
void expect_stopped();

int32_t discovery_socket();
Descriptor holder_of_the_search_port();
