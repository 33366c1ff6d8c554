/* SPDX-License-Identifier: MIT */
#include "support/process_state.h"

#include <algorithm>
#include <cstdlib>
#include <memory>
#include <thread>

#include <dirent.h>
#include <fcntl.h>

namespace
{

std::set<int> numbers_in(const char *folder)
{
    std::set<int> numbers;
    const std::unique_ptr<DIR, int (*)(DIR *)> opened(opendir(folder), closedir);
    while (const dirent *entry = readdir(opened.get())) {
        if (entry->d_name[0] != '.') {
            numbers.insert(std::atoi(entry->d_name));
        }
    }
    return numbers;
}

} // namespace

std::set<int> open_descriptors()
{
    std::set<int> numbers = numbers_in("/proc/self/fd");
    for (auto at = numbers.begin(); at != numbers.end();) {
        /* The one that the folder itself was read through is gone by now. */
        at = fcntl(*at, F_GETFD) < 0 ? numbers.erase(at) : std::next(at);
    }
    return numbers;
}

size_t thread_count()
{
    /* With its first thread ThreadSanitizer starts one of its own, which stays. */
    static const bool first_thread = (std::thread([] {}).join(), true);
    static_cast<void>(first_thread);
    return numbers_in("/proc/self/task").size();
}

bool no_more_descriptors_than(const std::set<int> &before)
{
    const std::set<int> now = open_descriptors();
    return std::includes(before.begin(), before.end(), now.begin(), now.end());
}

std::set<int> inheritable_descriptors()
{
    std::set<int> numbers;
    for (const int fd : open_descriptors()) {
        if ((fcntl(fd, F_GETFD) & FD_CLOEXEC) == 0) {
            numbers.insert(fd);
        }
    }
    return numbers;
}
