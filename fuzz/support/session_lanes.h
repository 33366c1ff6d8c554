/* SPDX-License-Identifier: MIT */
/* The threads of a session: each thread of the service and of its host is a fiber, called lane. */
#pragma once

#include <initializer_list>

enum Lane {
    LANE_SERVER,
    LANE_REQUESTS,
    LANE_HEARTBEATS,
    LANE_HOST,
    LANE_STOPPER,
    LANE_COUNT,
};

/* Creates the fibers, on the first call in a process only. */
void make_lanes(void (*const bodies[LANE_COUNT])());

/* The running lane. */
Lane present_lane();

/* Runs the lane for at most so many steps, 0: until it waits. */
void run_lane(Lane lane, unsigned steps);

/* Runs these lanes round-robin until all of them wait. */
void run_all(std::initializer_list<Lane> lanes);

const unsigned MAX_ROUNDS = 100000; /* until all lanes wait; more are a livelock */
