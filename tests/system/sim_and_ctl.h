/* SPDX-License-Identifier: MIT */
/* The two tools as programs, the way a person starts them. */
#pragma once

#include "support/program.h"

#include "tvlink.h"

#include <gtest/gtest.h>

#include <memory>

#include <sys/socket.h>
#include <sys/time.h>

using Words = std::vector<std::string>;

/* Starts a simulated television and waits until it serves. Null, and a failure, if it does not. */
inline std::unique_ptr<Program> start_sim(const Words &arguments = {})
{
    auto sim = std::make_unique<Program>(TVLINK_SIM_PATH, arguments);
    const bool started = wait_until(
        [&] {
            return sim->out().find("Ctrl-C stops\n") != std::string::npos ||
                   sim->out().find("\"type\":\"start\"") != std::string::npos;
        },
        3 * PATIENCE); /* it may have long files to read */
    EXPECT_TRUE(started) << sim->out() << sim->err();
    return started ? std::move(sim) : nullptr;
}

/* Accepts the connection of a program that may end without one. */
inline Descriptor accept_soon(int listener)
{
    const timeval patience = {30, 0};
    setsockopt(listener, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
    return Descriptor(accept4(listener, nullptr, nullptr, SOCK_CLOEXEC));
}

/* Runs tvlink-ctl to its end. */
inline Finished ctl(const Words &arguments)
{
    return run_program(TVLINK_CTL_PATH, arguments);
}

/* The same, for the television on this machine. */
inline Finished local_ctl(Words arguments)
{
    arguments.insert(arguments.end(), {"--host", "127.0.0.1"});
    return ctl(arguments);
}

inline void expect_output(const Words &arguments, const std::string &out)
{
    const Finished result = local_ctl(arguments);
    EXPECT_EQ(result.status, 0) << testing::PrintToString(arguments) << result.err;
    EXPECT_EQ(result.out, out) << testing::PrintToString(arguments);
    EXPECT_EQ(result.err, "") << testing::PrintToString(arguments);
}

/* It ends with this status, this output, and this first line on standard error. */
inline void expect_failure(const Finished &result, int status, const std::string &out,
                           const std::string &complaint)
{
    EXPECT_EQ(result.status, status) << result.err;
    EXPECT_EQ(result.out, out);
    EXPECT_EQ(first_line(result.err), complaint);
}
