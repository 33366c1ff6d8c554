/* SPDX-License-Identifier: MIT */
#include "support/network.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <thread>

#include <fcntl.h>
#include <sched.h>
#include <unistd.h>

Network::Network()
{
    std::thread([this] {
        if (unshare(CLONE_NEWNET) == 0) {
            space_ = Descriptor(open("/proc/thread-self/ns/net", O_RDONLY | O_CLOEXEC));
        }
    }).join();
}

bool Network::made() const
{
    return space_.get() >= 0;
}

void Network::run(const std::function<void()> &body) const
{
    std::thread([&] {
        ASSERT_EQ(setns(space_.get(), CLONE_NEWNET), 0);
        body();
    }).join();
}

void Network::ip(const std::string &arguments) const
{
    run([&] { EXPECT_EQ(std::system(("ip " + arguments).c_str()), 0) << arguments; });
}

void Network::link(const std::string &name, const Network &there,
                   const std::string &name_there) const
{
    const std::string place =
        "/proc/" + std::to_string(getpid()) + "/fd/" + std::to_string(there.space_.get());
    ip("link add " + name + " type veth peer name " + name_there + " netns " + place);
}

int Network::descriptor() const
{
    return space_.get();
}
