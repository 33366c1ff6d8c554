/* SPDX-License-Identifier: MIT */
/* Tests of what can be done only once in the life of a process. */
#pragma once

#include <functional>

/* Runs the body, expectations included, in a forked child; its failures fail the test. The child is
 * as the test program was at that moment, and ends without cleaning up: what it has started need
 * not be stopped. Threads do not survive a fork, so a suite that uses this starts none of its own
 * that are still running. */
void in_child(const std::function<void()> &body);
