/* The threads of the service in a session fuzz input: fibers that take turns. */
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

/* Makes the fibers, once in a process; a body for each lane. */
void make_lanes(void (*const bodies[LANE_COUNT])());

/* Whose turn it is. */
Lane present_lane();

/* Gives it a turn of so many steps, 0: of as many as it can. */
void run_lane(Lane lane, unsigned steps);

/* Until all of these threads wait. */
void run_all(std::initializer_list<Lane> lanes);

const unsigned MOST_ROUNDS = 100000; /* that are needed until all is quiet */
