/* How the doctor finds things out. Nothing here needs to be root; what is not permitted stays
 * unknown. */
#ifndef TVLINK_CTL_DOCTOR_COLLECT_H
#define TVLINK_CTL_DOCTOR_COLLECT_H

#include "doctor_facts.h"
#include "settings.h"

namespace ctl
{

std::vector<DoctorInterface> doctor_interfaces();
DoctorRoute doctor_route();
DoctorGroup doctor_group(const char *address);

/* Whether a port of this machine can be bound, and if not, by whom it is held. */
DoctorPort doctor_tcp_port(uint16_t number);
DoctorPort doctor_udp_port(uint16_t number);

/* Searches, for no longer than the time-out, and adds what it finds. */
void doctor_search(const Settings &settings, DoctorFacts &facts);

/* Connects to all that were found, and to the host, at the same time and for no longer than the
 * time-out. */
void doctor_contact(const Settings &settings, DoctorFacts &facts);

} // namespace ctl

#endif
