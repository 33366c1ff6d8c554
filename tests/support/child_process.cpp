/* SPDX-License-Identifier: MIT */
#include "support/child_process.h"

#include <cstdio>

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

extern "C" int __lsan_do_recoverable_leak_check() __attribute__((weak));

[[noreturn]] static void run(const std::function<void()> &body)
{
    body();
    const bool leaked =
        __lsan_do_recoverable_leak_check != nullptr && __lsan_do_recoverable_leak_check() != 0;
    std::fflush(nullptr);
    _exit(testing::Test::HasFailure() || leaked ? 1 : 0);
}

void in_child(const std::function<void()> &body)
{
    std::fflush(nullptr);
    const pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        run(body);
    }
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0)
        << "the child ended with wait status " << status;
}
