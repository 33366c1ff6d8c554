/* SPDX-License-Identifier: MIT */
/* A network with interfaces that a test chooses. */
#pragma once

#include <functional>
#include <string>
#include <vector>

/* Runs the commands (`ip ...`), then the body, on a thread with a network of its own, in which at
 * first even the loopback interface is down. False, and the body has not run, when the system does
 * not allow it. */
bool in_own_network(const std::vector<std::string> &commands, const std::function<void()> &body);
