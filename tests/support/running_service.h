/* SPDX-License-Identifier: MIT */
/* The whole service, discovery included, as a host starts it. */
#pragma once

#include <cstdint>

/* Runs while it lives. */
class RunningService
{
public:
    explicit RunningService(uint16_t device_type = 1);
    ~RunningService(); /* by ipp_finish, but without waiting for the end of a pass */
    RunningService(const RunningService &) = delete;
    RunningService &operator=(const RunningService &) = delete;
};
