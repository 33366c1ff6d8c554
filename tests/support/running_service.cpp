/* SPDX-License-Identifier: MIT */
#include "support/running_service.h"

#include "base/flags.h"
#include "support/phone.h"
#include "tvlink.h"

#include <gtest/gtest.h>

RunningService::RunningService(uint16_t device_type)
{
    EXPECT_EQ(ipp_init(device_type, "TV", "SN"), IPP_OK);
}

RunningService::~RunningService()
{
    if (flags_running()) {
        Phone visitor;
        flags_stop_running();
        visitor.hang_up(); /* something happens, and the server thread's pass is over */
    }
    EXPECT_EQ(ipp_finish(), 0);
}
