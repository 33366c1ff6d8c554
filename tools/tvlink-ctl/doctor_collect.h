/* SPDX-License-Identifier: MIT */
/* How the doctor collects its facts. It needs no privileges; what it may not read stays unknown. */
#ifndef TVLINK_CTL_DOCTOR_COLLECT_H
#define TVLINK_CTL_DOCTOR_COLLECT_H

#include "doctor_facts.h"
#include "settings.h"

namespace ctl
{

std::vector<DoctorInterface> doctor_interfaces();
DoctorRoute doctor_route();
DoctorGroup doctor_group(const char *address);

/* Whether a port of this machine can be bound, and otherwise which process holds it. */
DoctorPort doctor_port(const std::string &protocol, uint16_t number);

/* Searches, for no longer than the time-out, and adds the televisions that answer. */
void doctor_search(const Settings &settings, DoctorFacts &facts);

/* Connects to all televisions that were found and to the host, concurrently and for no longer than
 * the time-out. */
void doctor_contact(const Settings &settings, DoctorFacts &facts);

} // namespace ctl

#endif
