/* Why a television cannot be found. */
#include "commands.h"
#include "doctor_collect.h"
#include "doctor_report.h"
#include "doctor_verdict.h"

namespace ctl
{
namespace
{

DoctorFacts examine_machine()
{
    DoctorFacts facts;
    facts.interfaces = doctor_interfaces();
    facts.route = doctor_route();
    facts.search_group = doctor_group(CP_SEARCH_GROUP);
    facts.announcement_group = doctor_group(CP_ANNOUNCEMENT_GROUP);
    facts.control_port = doctor_tcp_port(CP_CONTROL_PORT);
    facts.search_port = doctor_udp_port(CP_SEARCH_PORT);
    facts.answer_port = doctor_udp_port(CP_ANSWER_PORT);
    return facts;
}

} // namespace

ExitStatus examine_network(const Settings &settings)
{
    DoctorFacts facts = examine_machine();
    report_machine(settings, facts);
    doctor_search(settings, facts);
    doctor_contact(settings, facts);
    report_televisions(settings, facts);
    const DoctorVerdict verdict = doctor_verdict(facts);
    report_verdict(settings, verdict);
    return verdict.status;
}

} // namespace ctl
