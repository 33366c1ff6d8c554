/* SPDX-License-Identifier: MIT */
/* Keeps the television's state in a file across restarts (--state). */
#ifndef TVLINK_SIM_STATE_KEEPING_H
#define TVLINK_SIM_STATE_KEEPING_H

#include <string>

namespace sim
{

struct Television;

/* Gives the television the state in the file, if there is one. A file that is no state is set aside
 * under another name, and a line says so. False, after a line, when the file cannot be read or set
 * aside: the television must not start, since it would overwrite it. */
bool recall_state(const std::string &file, Television &tv);

/* An empty name keeps nothing. From here on a thread writes the state whenever it has changed. */
void start_state_keeping(const std::string &file);

/* Any thread, at any time, also when nothing is kept; does not wait. */
void note_state_to_keep();

/* Writes the last state and ends. */
void finish_state_keeping(const std::string &file);

} // namespace sim

#endif
