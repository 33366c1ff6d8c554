/* What the doctor makes of what was found out: the first thing that is wrong, and what to try. */
#ifndef TVLINK_CTL_DOCTOR_VERDICT_H
#define TVLINK_CTL_DOCTOR_VERDICT_H

#include "doctor_facts.h"
#include "failure.h"

namespace ctl
{

struct DoctorVerdict {
    std::string name; /* for programs; never changes, unlike the texts */
    ExitStatus status = STATUS_DONE;
    std::string text;
    std::string next; /* what to try */
};

DoctorVerdict doctor_verdict(const DoctorFacts &facts);

/* "tvlink-sim (pid 17)", "a process of another user (uid 5)" or "another process" */
std::string doctor_holder(const DoctorPort &port);

/* Whether a television's two ports are held. */
bool doctor_television_here(const DoctorFacts &facts);

} // namespace ctl

#endif
