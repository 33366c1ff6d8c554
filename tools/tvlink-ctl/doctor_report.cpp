/* SPDX-License-Identifier: MIT */
#include "doctor_report.h"

#include "output.h"
#include "session.h"

#include <cerrno>

namespace ctl
{
namespace
{

std::string joined(const std::vector<std::string> &words)
{
    std::string text;
    for (const std::string &word : words) {
        text += (text.empty() ? "" : ", ") + word;
    }
    return text;
}

Facts finding(const char *kind, Facts facts)
{
    facts.insert(facts.begin(), {"kind", std::string(kind)});
    return facts;
}

void report_interface(const Settings &settings, const DoctorInterface &interface)
{
    const bool has_address = interface.address != 0;
    const std::string address = has_address ? address_text(interface.address) : "";
    std::string line = "interface " + interface.name + ": ";
    line += !interface.up ? "down" : interface.has_link ? "up" : "up, no link";
    line += interface.loopback ? ", loopback" : "";
    line += interface.multicast || interface.loopback ? "" : ", no multicast";
    line += has_address ? ", " + address : ", no IPv4 address";
    line += interface.announced ? ", which a television here would tell phones" : "";
    print_line(settings, line,
               finding("interface", {{"name", interface.name},
                                     {"address", address},
                                     {"up", interface.up},
                                     {"link", interface.has_link},
                                     {"loopback", interface.loopback},
                                     {"multicast", interface.multicast},
                                     {"announced", interface.announced}}));
}

void report_route(const Settings &settings, const DoctorRoute &route)
{
    const std::string way = route.error != 0          ? "none: " + system_text(route.error)
                            : route.interface.empty() ? "there is one"
                                                      : "leads to " + route.interface;
    print_line(settings, "route for multicast: " + way,
               finding("route", {{"found", route.error == 0},
                                 {"interface", route.interface},
                                 {"error", route.error == 0 ? "" : system_text(route.error)}}));
}

void report_group(const Settings &settings, const char *purpose, const DoctorGroup &group)
{
    const std::string members = joined(group.members);
    std::string line = "group " + group.address + ", for " + purpose + ": ";
    line += group.error == 0 ? "can be joined" : "cannot be joined: " + system_text(group.error);
    line += members.empty() ? "" : "; joined on " + members;
    print_line(settings, line,
               finding("group", {{"address", group.address},
                                 {"purpose", std::string(purpose)},
                                 {"can_be_joined", group.error == 0},
                                 {"joined_on", members}}));
}

std::string port_state(const DoctorPort &port)
{
    if (port.error == 0) {
        return "free";
    }
    return port.error == EADDRINUSE ? "held by " + doctor_holder(port)
                                    : "cannot be had: " + system_text(port.error);
}

void report_port(const Settings &settings, const char *purpose, const DoctorPort &port)
{
    print_line(settings,
               port.protocol + " port " + std::to_string(port.number) + ", for " + purpose + ": " +
                   port_state(port),
               finding("port", {{"protocol", port.protocol},
                                {"port", int64_t{port.number}},
                                {"purpose", std::string(purpose)},
                                {"free", port.error == 0},
                                {"program", port.program},
                                {"pid", int64_t{port.pid}}}));
}

std::string search_result(const DoctorSearch &search, size_t answers)
{
    if (!search.made) {
        return "not made, since no answer could arrive";
    }
    if (search.status == CP_SYSTEM) {
        return "could not be sent: " + system_text(search.error);
    }
    if (answers == 0) {
        return "not answered";
    }
    return "answered by " + std::to_string(answers) +
           (answers == 1 ? " television" : " televisions");
}

void report_search(const Settings &settings, const std::string &whom, const DoctorSearch &search,
                   size_t answers)
{
    print_line(
        settings, "search of " + whom + ": " + search_result(search, answers),
        finding("search",
                {{"of", whom}, {"made", search.made}, {"answers", static_cast<int64_t>(answers)}}));
}

std::string contact_result(const DoctorContact &contact)
{
    if (contact.connected == CP_OK) {
        return contact.heartbeat == CP_OK
                   ? "connected, heartbeat answered"
                   : std::string("connected, no heartbeat: ") + cp_status_text(contact.heartbeat);
    }
    return "no connection: " + (contact.connected == CP_SYSTEM ? system_text(contact.error)
                                                               : cp_status_text(contact.connected));
}

void report_contact(const Settings &settings, const DoctorContact &contact)
{
    print_line(settings,
               "connection to " + contact.host + ":" + std::to_string(contact.port) + ": " +
                   contact_result(contact),
               finding("connection",
                       {{"host", contact.host},
                        {"port", int64_t{contact.port}},
                        {"connected", contact.connected == CP_OK},
                        {"heartbeat", contact.connected == CP_OK && contact.heartbeat == CP_OK}}));
}

void report_television(const Settings &settings, const DoctorTelevision &television)
{
    const CpTelevision &answer = television.answer;
    const std::string address = address_text(answer.address);
    const std::string source = address_text(answer.source);
    print_line(settings,
               "television: tells " + address + ":" + std::to_string(answer.port) +
                   ", device type " + std::to_string(answer.device_type) + "; answered from " +
                   source,
               finding("television", {{"told_address", address},
                                      {"source", source},
                                      {"port", int64_t{answer.port}},
                                      {"device_type", int64_t{answer.device_type}}}));
    report_contact(settings, television.contact);
    if (television.at_source) {
        report_contact(settings, *television.at_source);
    }
}

size_t count_if(const DoctorFacts &facts, bool DoctorTelevision::*answered)
{
    size_t count = 0;
    for (const DoctorTelevision &television : facts.televisions) {
        count += television.*answered ? 1 : 0;
    }
    return count;
}

} // namespace

void report_machine(const Settings &settings, const DoctorFacts &facts)
{
    for (const DoctorInterface &interface : facts.interfaces) {
        report_interface(settings, interface);
    }
    report_route(settings, facts.route);
    report_group(settings, "searches", facts.search_group);
    report_group(settings, "announcements", facts.announcement_group);
    report_port(settings, "televisions to be driven", facts.control_port);
    report_port(settings, "televisions to be found", facts.search_port);
    report_port(settings, "answers and announcements", facts.answer_port);
}

void report_televisions(const Settings &settings, const DoctorFacts &facts)
{
    report_search(settings, "all televisions", facts.search,
                  count_if(facts, &DoctorTelevision::by_multicast));
    if (facts.host) {
        report_search(settings, facts.host->contact.host, facts.host->search,
                      count_if(facts, &DoctorTelevision::by_host));
    }
    for (const DoctorTelevision &television : facts.televisions) {
        report_television(settings, television);
    }
    if (facts.host && facts.televisions.empty()) {
        report_contact(settings, facts.host->contact);
    }
}

void report_verdict(const Settings &settings, const DoctorVerdict &verdict)
{
    print_line(settings, "verdict: " + verdict.text + "\nnext: " + verdict.next,
               finding("verdict", {{"verdict", verdict.name},
                                   {"text", verdict.text},
                                   {"next", verdict.next},
                                   {"status", int64_t{verdict.status}}}));
}

} // namespace ctl
