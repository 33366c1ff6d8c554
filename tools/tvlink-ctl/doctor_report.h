/* SPDX-License-Identifier: MIT */
/* Prints what the doctor found: a line, or one JSON object, for each finding. */
#ifndef TVLINK_CTL_DOCTOR_REPORT_H
#define TVLINK_CTL_DOCTOR_REPORT_H

#include "doctor_facts.h"
#include "doctor_verdict.h"
#include "settings.h"

namespace ctl
{

/* Interfaces, route, groups and ports. */
void report_machine(const Settings &settings, const DoctorFacts &facts);

/* Searches, televisions and connections. */
void report_televisions(const Settings &settings, const DoctorFacts &facts);

void report_verdict(const Settings &settings, const DoctorVerdict &verdict);

} // namespace ctl

#endif
