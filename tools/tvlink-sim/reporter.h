/* Posts the state on a thread of its own, at the start and whenever it has changed. Changes that
 * come while a post is under way become one later post of the newest state. What the state is and
 * how it is posted others know. */
#ifndef TVLINK_SIM_REPORTER_H
#define TVLINK_SIM_REPORTER_H

#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <string>

namespace sim
{

/* All are called on the reporter's thread, with no lock held. */
struct ReporterWork {
    std::function<std::string()> state; /* the newest; never empty */
    /* May block. Why it failed; empty when it did not. */
    std::function<std::string(const std::string &state)> post;
    /* When posts begin to fail, fail for another reason, or, with an empty text, work again. */
    std::function<void(const std::string &failure)> failure_changed;
};

/* Lives as long as its thread. */
struct Reporter {
    std::mutex lock;
    std::condition_variable woken;
    bool changed = false;
    bool ending = false;
    bool running = false;
};

/* Once for each reporter. */
void start_reporter(Reporter &reporter, const ReporterWork &work);

/* Any thread, at any time; never waits for a post. */
void state_changed(Reporter &reporter);

/* The reporter begins no other post and tells nothing any more. A post under way goes on: what
 * blocks in it can neither be woken nor, since its descriptor's number may have gone to somebody
 * else, be shut down from here. */
void end_reporter(Reporter &reporter);

/* Waits for a reporter that was told to end, or was not started. False when a post is under way
 * still; it ends by itself, or with the process. */
bool reporter_has_ended(Reporter &reporter, std::chrono::milliseconds patience);

} // namespace sim

#endif
