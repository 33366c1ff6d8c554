/* SPDX-License-Identifier: MIT */
#include "base/outcome.h"

#include "base/clock.h"
#include "base/running_slot.h"
#include "tvlink/observer.h"

static __thread Outcome outcome = {false, IPP_REASON_NONE, 0, false, 0};

void outcome_begin()
{
    outcome = {true, IPP_REASON_NONE, 0, false, 0};
}

void outcome_refuse(int reason)
{
    if (outcome.reason == IPP_REASON_NONE) {
        outcome.reason = reason;
    }
}

void outcome_answer(int result)
{
    if (outcome.watched && outcome.slot_end_us == 0) {
        running_slot_end();
        outcome.result = result;
        outcome.slot_end_us = clock_elapsed_us();
    }
}

void outcome_replied()
{
    outcome.replied = true;
}

Outcome outcome_end()
{
    outcome_answer(0);
    outcome.watched = false;
    return outcome;
}
