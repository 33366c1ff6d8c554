/* SPDX-License-Identifier: MIT */
#include "support/own_network.h"

#include <cstdlib>
#include <thread>

#include <sched.h>

static bool prepared(const std::vector<std::string> &commands)
{
    if (unshare(CLONE_NEWNET) != 0) {
        return false;
    }
    for (const std::string &command : commands) {
        if (std::system(command.c_str()) != 0) {
            return false;
        }
    }
    return true;
}

bool in_own_network(const std::vector<std::string> &commands, const std::function<void()> &body)
{
    bool ran = false;
    std::thread([&] {
        ran = prepared(commands);
        if (ran) {
            body();
        }
    }).join();
    return ran;
}
