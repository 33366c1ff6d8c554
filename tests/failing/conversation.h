/* SPDX-License-Identifier: MIT */
/* One run of the service with everything in it: start, search, every routed request, heartbeat,
 * events, a push, a capture, stop. */
#pragma once

#include "support/recording_host.h"

#include <string>

enum class Expect {
    ANYTHING,  /* something fails on the way: what comes is taken, what does not is done without */
    EVERYTHING /* every answer must come */
};

/* The phone's side waits this long for what may never come. */
constexpr int SHORT_WAIT_MS = 100;

/* An empty text, or what was missing. The service is stopped when it returns. */
std::string hold_conversation(Expect expect);
