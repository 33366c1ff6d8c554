/* SPDX-License-Identifier: MIT */
/* What the process holds at the moment. */
#pragma once

#include <cstddef>
#include <set>
#include <string>

std::set<int> open_descriptors();
size_t thread_count();

/* No descriptor is open that was not open then: one less is right, as a worker may just have closed
 * what an earlier test left to it. */
bool no_more_descriptors_than(const std::set<int> &before);

/* Open descriptors that a child process would inherit. */
std::set<int> inheritable_descriptors();
