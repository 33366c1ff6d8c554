/* What the process holds at the moment. */
#pragma once

#include <cstddef>
#include <set>
#include <string>

std::set<int> open_descriptors();
size_t thread_count();

/* Open descriptors that a child process would inherit. */
std::set<int> inheritable_descriptors();
