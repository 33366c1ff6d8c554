/* SPDX-License-Identifier: MIT */
/* Reports the television's state to a web server (--report-url). */
#ifndef TVLINK_SIM_STATE_REPORT_H
#define TVLINK_SIM_STATE_REPORT_H

#include <chrono>
#include <string>

namespace sim
{

/* An empty URL disables the report; any other URL must have passed read_report_url(). */
void start_state_report(const std::string &url);

/* Requests a post. Any thread, at any time, also when the report is disabled. */
void note_state_change();

/* Begins no further post; a post in progress is not cancelled. */
void end_state_report();
/* Waits for a post in progress until `deadline`, and prints a failure when it goes on. */
void finish_state_report(const std::string &url, std::chrono::steady_clock::time_point deadline);

} // namespace sim

#endif
