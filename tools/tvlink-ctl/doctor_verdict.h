/* SPDX-License-Identifier: MIT */
/* The doctor's conclusion from the facts: the first thing that is wrong, and what to try next. */
#ifndef TVLINK_CTL_DOCTOR_VERDICT_H
#define TVLINK_CTL_DOCTOR_VERDICT_H

#include "doctor_facts.h"
#include "failure.h"

namespace ctl
{

struct DoctorVerdict {
    std::string name; /* for programs: stable, unlike the texts */
    ExitStatus status = STATUS_DONE;
    std::string text;
    std::string next; /* what to try next */
};

DoctorVerdict doctor_verdict(const DoctorFacts &facts);

/* "tvlink-sim (pid 17)", "a process of another user (uid 5)" or "another process" */
std::string doctor_holder(const DoctorPort &port);

/* Whether both ports of a television are in use on this machine. */
bool doctor_television_here(const DoctorFacts &facts);

} // namespace ctl

#endif
