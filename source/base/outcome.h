/* SPDX-License-Identifier: MIT */
/* What becomes of the request that this thread runs, noted where it is decided.
 *
 * A host may call a handler on a thread of its own: what is noted there is of no consequence. */
#pragma once

#include <stdint.h>

struct Outcome {
    bool watched; /* this thread is the worker, and runs a request */
    int reason;   /* the first one that was noted; IPP_REASON_NONE: it was carried out */
    int result;   /* what the reply says: the result byte of a set reply, -1 for the empty reply */
    bool replied;
    uint64_t slot_end_us; /* when the slot had returned; 0: nothing has been answered */
};

/* For the worker, around the request. */
void outcome_begin(void);
Outcome outcome_end(void);

/* The request is not carried out. Only the first reason counts. */
void outcome_refuse(int reason);

/* The slot, if there was one, has returned. Only the first call counts. */
void outcome_answer(int result);

void outcome_replied(void);
