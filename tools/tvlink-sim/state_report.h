/* Reports the television's state to a web server (--report-url). */
#ifndef TVLINK_SIM_STATE_REPORT_H
#define TVLINK_SIM_STATE_REPORT_H

#include <chrono>
#include <string>

namespace sim
{

/* Nothing is reported to an empty URL; any other one is one that read_report_url() takes. */
void start_state_report(const std::string &url);

/* Any thread, at any time, also when nothing is reported. */
void note_state_change();

/* Begins no other post. A post under way may still end. */
void end_state_report();
/* Waits for that until then, and says so when it has not. */
void finish_state_report(const std::string &url, std::chrono::steady_clock::time_point deadline);

} // namespace sim

#endif
