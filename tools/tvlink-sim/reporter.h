/* SPDX-License-Identifier: MIT */
/* Posts the state on a thread of its own, at the start and after each change. Changes during a post
 * are coalesced into one later post of the newest state. ReporterWork provides state and transport.
 */
#ifndef TVLINK_SIM_REPORTER_H
#define TVLINK_SIM_REPORTER_H

#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <string>

namespace sim
{

/* Callbacks. All run on the reporter's thread, with no lock held. */
struct ReporterWork {
    std::function<std::string()> state; /* the newest state; never empty */
    /* May block. Returns the reason of a failure; empty on success. */
    std::function<std::string(const std::string &state)> post;
    /* Called when posts begin to fail, fail for another reason or, with an empty text, succeed
     * again. */
    std::function<void(const std::string &failure)> failure_changed;
};

/* Must outlive its thread. */
struct Reporter {
    std::mutex lock;
    std::condition_variable woken;
    bool changed = false;
    bool ending = false;
    bool running = false;
};

/* Starts the thread; once for each reporter. */
void start_reporter(Reporter &reporter, const ReporterWork &work);

/* Requests a post. Any thread, at any time; never waits for a post. */
void state_changed(Reporter &reporter);

/* The reporter begins no further post and no longer calls failure_changed. A post in progress is
 * not cancelled: its thread may have closed the socket, and the number of the descriptor may have
 * been reused. */
void end_reporter(Reporter &reporter);

/* Waits up to `patience` for the end of the thread, after end_reporter() or if it was never
 * started. False when a post is still in progress; the thread then ends after it, or with the
 * process. */
bool reporter_has_ended(Reporter &reporter, std::chrono::milliseconds patience);

} // namespace sim

#endif
