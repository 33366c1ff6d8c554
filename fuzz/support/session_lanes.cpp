/* SPDX-License-Identifier: MIT */
#include "support/session_lanes.h"

#include "support/fibers.h"
#include "support/fuzz_input.h"

static const unsigned ALL_STEPS = 1000000;

static Fiber *fibers[LANE_COUNT];

void make_lanes(void (*const bodies[LANE_COUNT])())
{
    for (unsigned lane = 0; lane < LANE_COUNT && fibers[LANE_STOPPER] == nullptr; lane++) {
        fibers[lane] = fiber_new(bodies[lane]);
    }
}

Lane present_lane()
{
    for (unsigned lane = 0; lane < LANE_COUNT; lane++) {
        if (fiber_current() == fibers[lane]) {
            return static_cast<Lane>(lane);
        }
    }
    must(false, "only threads of the service wait and work");
    return LANE_COUNT;
}

void run_lane(Lane lane, unsigned steps)
{
    fiber_run(fibers[lane], steps == 0 ? ALL_STEPS : steps);
}

void run_all(std::initializer_list<Lane> lanes)
{
    bool progressed = true;
    for (unsigned round = 0; progressed; round++) {
        must(round < MAX_ROUNDS, "the service comes to rest");
        progressed = false;
        for (const Lane lane : lanes) {
            progressed = fiber_run(fibers[lane], ALL_STEPS) || progressed;
        }
    }
}
