/* SPDX-License-Identifier: MIT */
#include "base/flags.h"

#include <gtest/gtest.h>

#include <thread>

namespace
{

/* Before main(): nothing has run yet. */
struct InitialFlags {
    uint8_t inited = g_is_inited;
    uint8_t run = g_thread_run;
    uint16_t device_type = g_dev_type;
    int32_t kept = gIsInited;
    uint32_t run_number = flags_run_number();
} const initial_flags;

class Flags : public testing::Test
{
protected:
    void TearDown() override
    {
        flags_set_inited(false);
        flags_stop_running();
        flags_set_device_type(0);
    }
};

TEST_F(Flags, BeginAsIfNothingRan)
{
    EXPECT_EQ(initial_flags.inited, 0);
    EXPECT_EQ(initial_flags.run, 0);
    EXPECT_EQ(initial_flags.device_type, 0);
    EXPECT_EQ(initial_flags.kept, 1);
    EXPECT_EQ(initial_flags.run_number, 0u);
}

TEST_F(Flags, SayWhetherTheServiceIsInited)
{
    flags_set_inited(true);
    EXPECT_EQ(g_is_inited, 1);
    EXPECT_TRUE(flags_inited());
    flags_set_inited(false);
    EXPECT_EQ(g_is_inited, 0);
    EXPECT_FALSE(flags_inited());
}

TEST_F(Flags, LetThreadsRunFromTheStartOfARunToItsStop)
{
    flags_start_run();
    EXPECT_EQ(g_thread_run, 1);
    EXPECT_TRUE(flags_running());
    flags_stop_running();
    EXPECT_EQ(g_thread_run, 0);
    EXPECT_FALSE(flags_running());
}

TEST_F(Flags, TellOneRunFromTheNext)
{
    flags_start_run();
    const uint32_t first = flags_run_number();
    EXPECT_NE(first, 0u);
    EXPECT_TRUE(flags_run_is_current(first));
    flags_stop_running();
    EXPECT_EQ(flags_run_number(), first);
    EXPECT_FALSE(flags_run_is_current(first));
    flags_start_run();
    EXPECT_EQ(flags_run_number(), first + 1);
    EXPECT_FALSE(flags_run_is_current(first)) << "a thread of the run before goes on";
    EXPECT_TRUE(flags_run_is_current(first + 1));
}

TEST_F(Flags, FollowAHostThatWritesTheGlobals)
{
    g_thread_run = 1;
    EXPECT_TRUE(flags_running());
    g_is_inited = 1;
    EXPECT_TRUE(flags_inited());
    g_dev_type = 77;
    EXPECT_EQ(flags_device_type(), 77);
}

TEST_F(Flags, KeepTheDeviceType)
{
    flags_set_device_type(0xBEEF);
    EXPECT_EQ(g_dev_type, 0xBEEF);
    EXPECT_EQ(flags_device_type(), 0xBEEF);
}

TEST_F(Flags, LeaveTheMouseLockAlone)
{
    EXPECT_EQ(pthread_mutex_trylock(&mouseLok), 0);
    EXPECT_EQ(pthread_mutex_unlock(&mouseLok), 0);
}

TEST_F(Flags, MayBeReadWhileTheyAreWritten)
{
    flags_start_run();
    const uint32_t run = flags_run_number();
    std::thread reader([run] {
        while (flags_run_is_current(run)) {
            (void)flags_inited();
            (void)flags_device_type();
        }
    });
    for (uint16_t i = 0; i < 1000; i++) {
        flags_set_inited(i % 2 == 0);
        flags_set_device_type(i);
    }
    flags_stop_running();
    reader.join();
    EXPECT_EQ(g_dev_type, 999);
}

} // namespace
