/* SPDX-License-Identifier: MIT */
/* Runs the suites that are chosen. All of them cannot run in one process: some need one in which no
 * worker has ever been started. */
#include <cstdio>

#include <gtest/gtest.h>

int main(int argc, char **argv)
{
    testing::InitGoogleTest(&argc, argv);
    if (testing::GTEST_FLAG(filter) == "*" && !testing::GTEST_FLAG(list_tests)) {
        std::fprintf(stderr,
                     "unit_tests: each suite needs a process of its own: run ctest, or choose "
                     "one with --gtest_filter='SUITE.*'\n");
        return 2;
    }
    return RUN_ALL_TESTS();
}
