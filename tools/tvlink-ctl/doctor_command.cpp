/* SPDX-License-Identifier: MIT */
/* Finds out why a television cannot be found. */
#include "command_line.h"
#include "doctor_collect.h"
#include "doctor_report.h"
#include "doctor_verdict.h"

namespace ctl
{
namespace
{

constexpr char footer[] =
    "Looks at this machine's interfaces, its route for multicast, groups and ports, searches and\n"
    "connects; with --host it also asks that television alone. It takes twice the time-out at "
    "most\n"
    "and ends with what is wrong first, and what to try next.\n"
    "\n"
    "Exit status:\n"
    "  0  a television can be found and driven\n"
    "  1  this machine or the television on it is set up wrongly\n"
    "  3  no television is found, or it tells an address that cannot be reached\n"
    "  4  the connection was refused\n"
    "  5  no connection or no answer in time\n"
    "  6  what answers there is no television";

DoctorFacts examine_machine()
{
    DoctorFacts facts;
    facts.interfaces = doctor_interfaces();
    facts.route = doctor_route();
    facts.search_group = doctor_group(CP_SEARCH_GROUP);
    facts.announcement_group = doctor_group(CP_ANNOUNCEMENT_GROUP);
    facts.control_port = doctor_port("TCP", CP_CONTROL_PORT);
    facts.search_port = doctor_port("UDP", CP_SEARCH_PORT);
    facts.answer_port = doctor_port("UDP", CP_ANSWER_PORT);
    return facts;
}

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

} // namespace

void add_doctor_command(CLI::App &app, CommandLine &line)
{
    add_command(app, line, "doctor", "Find out why a television cannot be found",
                [&line](const Settings &settings) { line.status = examine_network(settings); })
        ->footer(footer);
}

} // namespace ctl
