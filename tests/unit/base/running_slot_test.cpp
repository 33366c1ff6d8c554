/* SPDX-License-Identifier: MIT */
/* The warning of a slot that runs for too long. */
#include "base/running_slot.h"

#include "base/clock.h"
#include "support/captured_lines.h"
#include "support/recorded_notices.h"
#include "tvlink.h"

#include <gtest/gtest.h>

#include <arpa/inet.h>

namespace
{

const uint64_t HOUR_US = 3600000000u;

class RunningSlot : public testing::Test
{
protected:
    RunningSlot()
    {
        IppGuard guard = {};
        guard.slot_warn_ms = 1000;
        EXPECT_EQ(ipp_set_guard(&guard), 0);
        request.peer_addr = inet_addr("192.0.2.7");
    }

    ~RunningSlot() override
    {
        running_slot_end();
        ipp_set_guard(nullptr);
    }

    IppRequest request = {};
    CapturedLines lines;
    RecordedNotices notices;
};

TEST_F(RunningSlot, IsToldOnceWhenItsTimeIsOver)
{
    running_slot_begin(request, clock_elapsed_us() - HOUR_US);
    EXPECT_EQ(running_slot_wait_ms(1500, false), 0);
    running_slot_check();
    running_slot_check();
    EXPECT_EQ(notices.all().size(), 1u);
    EXPECT_EQ(running_slot_wait_ms(1500, false), 1500);
}

TEST_F(RunningSlot, IsNotToldBefore)
{
    running_slot_begin(request, clock_elapsed_us());
    running_slot_check();
    EXPECT_TRUE(notices.all().empty());
    EXPECT_LE(running_slot_wait_ms(1500, false), 1000);
}

/* The worker may begin after the server thread has looked at its clock. */
TEST_F(RunningSlot, IsNotToldWhenItBeganAfterTheLook)
{
    running_slot_begin(request, clock_elapsed_us() + HOUR_US);
    running_slot_check();
    EXPECT_TRUE(notices.all().empty());
    EXPECT_TRUE(lines.all().empty());
}

TEST_F(RunningSlot, IsWaitedForWhenTheWorkerMayBegin)
{
    EXPECT_EQ(running_slot_wait_ms(1500, true), 1000);
    EXPECT_EQ(running_slot_wait_ms(1500, false), 1500);
    ipp_set_guard(nullptr);
    EXPECT_EQ(running_slot_wait_ms(1500, true), 1500);
}

} // namespace
