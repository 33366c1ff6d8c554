/* SPDX-License-Identifier: MIT */
#include "reporter.h"

#include <thread>

namespace sim
{

namespace
{

/* False when the reporter is ending. */
bool wait_for_change(Reporter &reporter)
{
    std::unique_lock<std::mutex> guard(reporter.lock);
    reporter.woken.wait(guard, [&] { return reporter.changed || reporter.ending; });
    reporter.changed = false;
    return !reporter.ending;
}

bool is_ending(Reporter &reporter)
{
    const std::lock_guard<std::mutex> guard(reporter.lock);
    return reporter.ending;
}

void post_changes(Reporter &reporter, const ReporterWork &work)
{
    std::string posted; /* the state that the server has; empty: none, or unknown after a failure */
    std::string last_failure;
    while (wait_for_change(reporter)) {
        const std::string state = work.state();
        if (state == posted) {
            continue;
        }
        const std::string failure = work.post(state);
        posted = failure.empty() ? state : "";
        if (failure != last_failure && !is_ending(reporter)) {
            work.failure_changed(failure);
            last_failure = failure;
        }
    }
}

} // namespace

void start_reporter(Reporter &reporter, const ReporterWork &work)
{
    {
        const std::lock_guard<std::mutex> guard(reporter.lock);
        reporter.changed = true;
        reporter.running = true;
    }
    std::thread([&reporter, work] {
        post_changes(reporter, work);
        const std::lock_guard<std::mutex> guard(reporter.lock);
        reporter.running = false;
        reporter.woken.notify_all();
    }).detach();
}

void state_changed(Reporter &reporter)
{
    const std::lock_guard<std::mutex> guard(reporter.lock);
    reporter.changed = true;
    reporter.woken.notify_all();
}

void end_reporter(Reporter &reporter)
{
    const std::lock_guard<std::mutex> guard(reporter.lock);
    reporter.ending = true;
    reporter.woken.notify_all();
}

bool reporter_has_ended(Reporter &reporter, std::chrono::milliseconds patience)
{
    std::unique_lock<std::mutex> guard(reporter.lock);
    return reporter.woken.wait_for(guard, patience, [&] { return !reporter.running; });
}

} // namespace sim
