/* SPDX-License-Identifier: MIT */
/* The slots of the registered method table, for the terminal. */
#ifndef TVLINK_SIM_SLOT_LIST_H
#define TVLINK_SIM_SLOT_LIST_H

#include <string>

namespace sim
{

/* A line for each slot: number, name, how phones reach it, what it is for; a star in front of the
 * name when the host has not filled it. */
std::string slot_list();

} // namespace sim

#endif
