/* SPDX-License-Identifier: MIT */
#include "doctor_verdict.h"

#include "session.h"

#include <algorithm>
#include <arpa/inet.h>
#include <cerrno>

namespace ctl
{
namespace
{

using Verdict = std::optional<DoctorVerdict>;

bool is_network(const DoctorInterface &interface)
{
    return !interface.loopback;
}

bool is_up(const DoctorInterface &interface)
{
    return is_network(interface) && interface.up;
}

bool has_address(const DoctorInterface &interface)
{
    return is_up(interface) && interface.address != 0;
}

bool has_link(const DoctorInterface &interface)
{
    return has_address(interface) && interface.has_link;
}

bool is_usable(const DoctorInterface &interface)
{
    return has_link(interface) && interface.multicast;
}

using Property = bool (*)(const DoctorInterface &);

const DoctorInterface *first(const DoctorFacts &facts, Property property)
{
    const auto found = std::find_if(facts.interfaces.begin(), facts.interfaces.end(), property);
    return found == facts.interfaces.end() ? nullptr : &*found;
}

/* The name of the interface to advise: the first that takes multicast, which a tunnel does not, or
 * else the first. */
std::string best(const DoctorFacts &facts, Property property)
{
    for (const DoctorInterface &interface : facts.interfaces) {
        if (property(interface) && interface.multicast) {
            return interface.name;
        }
    }
    const DoctorInterface *any = first(facts, property);
    return any == nullptr ? "" : any->name;
}

std::string place_of(const DoctorContact &contact)
{
    return contact.host + ":" + std::to_string(contact.port);
}

bool is_in_order(const DoctorContact &contact)
{
    return contact.connected == CP_OK && contact.heartbeat == CP_OK;
}

/* The rules. Each checks one thing and returns a verdict when that is wrong. */

Verdict no_interface(const DoctorFacts &facts)
{
    if (first(facts, is_network) != nullptr) {
        return std::nullopt;
    }
    return DoctorVerdict{"no-interface", STATUS_OTHER,
                         "this machine has no network interface but the loopback",
                         "connect it to the television's network"};
}

Verdict interface_down(const DoctorFacts &facts)
{
    if (first(facts, is_up) != nullptr) {
        return std::nullopt;
    }
    return DoctorVerdict{"interface-down", STATUS_OTHER,
                         "no network interface of this machine is up",
                         "ip link set " + best(facts, is_network) + " up"};
}

Verdict no_address(const DoctorFacts &facts)
{
    if (first(facts, has_address) != nullptr) {
        return std::nullopt;
    }
    const std::string name = best(facts, is_up);
    return DoctorVerdict{"no-address", STATUS_OTHER,
                         "no network interface of this machine that is up has an IPv4 address",
                         "see whether " + name +
                             " gets one (DHCP), or give it one with ip addr add"};
}

Verdict no_link(const DoctorFacts &facts)
{
    if (first(facts, has_link) != nullptr) {
        return std::nullopt;
    }
    const std::string name = best(facts, has_address);
    return DoctorVerdict{"no-link", STATUS_OTHER, name + " is up but not connected to a network",
                         "plug in its cable or join the access point"};
}

Verdict no_multicast_interface(const DoctorFacts &facts)
{
    if (first(facts, is_usable) != nullptr) {
        return std::nullopt;
    }
    const std::string name = best(facts, has_link);
    return DoctorVerdict{"no-multicast-interface", STATUS_OTHER,
                         "no network interface of this machine takes multicast",
                         "ip link set " + name + " multicast on"};
}

Verdict answer_port_taken(const DoctorFacts &facts)
{
    const DoctorPort &port = facts.answer_port;
    if (port.error == 0) {
        return std::nullopt;
    }
    if (port.error != EADDRINUSE) {
        return DoctorVerdict{"answer-port-taken", STATUS_OTHER,
                             "UDP port 9988 cannot be had: " + system_text(port.error),
                             "find out what forbids it; no answer can arrive elsewhere"};
    }
    return DoctorVerdict{"answer-port-taken", STATUS_OTHER,
                         "UDP port 9988, where answers and announcements arrive, is held by " +
                             doctor_holder(port),
                         "end that program and try again; one at a time can have the port"};
}

Verdict no_multicast_route(const DoctorFacts &facts)
{
    if (facts.route.error == 0) {
        return std::nullopt;
    }
    return DoctorVerdict{
        "no-multicast-route", STATUS_OTHER,
        "this machine has no route for multicast: " + system_text(facts.route.error) +
            "; no television that is started on it can be found",
        "ip route replace 224.0.0.0/4 dev " + best(facts, is_usable)};
}

Verdict multicast_stays_here(const DoctorFacts &facts)
{
    const auto loopback = [&](const DoctorInterface &interface) {
        return interface.loopback && interface.name == facts.route.interface;
    };
    if (std::none_of(facts.interfaces.begin(), facts.interfaces.end(), loopback)) {
        return std::nullopt;
    }
    return DoctorVerdict{"multicast-stays-here", STATUS_OTHER,
                         "the route for multicast leads to " + facts.route.interface +
                             ", so that nothing leaves this machine",
                         "ip route replace 224.0.0.0/4 dev " + best(facts, is_usable)};
}

Verdict group_refused(const DoctorFacts &facts)
{
    for (const DoctorGroup *group : {&facts.search_group, &facts.announcement_group}) {
        if (group->error != 0) {
            const bool full = group->error == ENOBUFS;
            return DoctorVerdict{"group-refused", STATUS_OTHER,
                                 "the group " + group->address +
                                     " cannot be joined: " + system_text(group->error),
                                 full ? "sysctl net.ipv4.igmp_max_memberships=20"
                                      : "see what the system's log says about multicast"};
        }
    }
    return std::nullopt;
}

/* The interface whose address the television on this machine announces; null when there is none. */
const DoctorInterface *announced_interface(const DoctorFacts &facts)
{
    const auto announced = [](const DoctorInterface &interface) { return interface.announced; };
    return doctor_television_here(facts) ? first(facts, announced) : nullptr;
}

std::string announcement_of(const DoctorInterface &interface)
{
    return "the television on this machine tells phones " + address_text(interface.address);
}

Verdict loopback_announced(const DoctorFacts &facts)
{
    const DoctorInterface *interface = announced_interface(facts);
    if (interface == nullptr || !interface->loopback) {
        return std::nullopt;
    }
    return DoctorVerdict{"told-loopback", STATUS_NOT_FOUND,
                         announcement_of(*interface) + ", where each finds only itself",
                         "take that address from " + interface->name};
}

Verdict announced_interface_down(const DoctorFacts &facts)
{
    const DoctorInterface *interface = announced_interface(facts);
    if (interface == nullptr || has_link(*interface)) {
        return std::nullopt;
    }
    return DoctorVerdict{"told-interface-down", STATUS_OTHER,
                         announcement_of(*interface) + ", but " + interface->name +
                             " is not connected",
                         "bring " + interface->name + " up, or take the address from it"};
}

Verdict announced_elsewhere(const DoctorFacts &facts)
{
    const DoctorInterface *interface = announced_interface(facts);
    if (interface == nullptr || facts.route.interface.empty() ||
        interface->name == facts.route.interface) {
        return std::nullopt;
    }
    return DoctorVerdict{
        "told-elsewhere", STATUS_OTHER,
        announcement_of(*interface) + ", the address of " + interface->name +
            ", but is searched for, and announces itself, on " + facts.route.interface,
        "ip route replace 224.0.0.0/4 dev " + interface->name + ", and start the television again"};
}

Verdict not_a_member(const DoctorFacts &facts)
{
    const std::vector<std::string> &members = facts.search_group.members;
    const bool member =
        std::find(members.begin(), members.end(), facts.route.interface) != members.end();
    if (!doctor_television_here(facts) || !facts.search_group.members_known || member) {
        return std::nullopt;
    }
    return DoctorVerdict{"not-a-member", STATUS_OTHER,
                         "the television on this machine has not joined " +
                             facts.search_group.address + " on " + facts.route.interface +
                             ", so that it hears no search",
                         "start the television again; it joins the group once, on the interface to "
                         "which the route leads then"};
}

Verdict search_not_sent(const DoctorFacts &facts)
{
    if (!facts.search.made || facts.search.status != CP_SYSTEM) {
        return std::nullopt;
    }
    return DoctorVerdict{"search-not-sent", STATUS_OTHER,
                         "a search cannot be sent: " + system_text(facts.search.error),
                         "let UDP port 12426 out of this machine's firewall"};
}

/* A television that was found, but cannot be driven at the address in its answer. */

DoctorVerdict answer_without_address(const DoctorTelevision &television)
{
    return {"told-no-address", STATUS_NOT_FOUND,
            "the television at " + address_text(television.answer.source) +
                " tells phones the address 0.0.0.0: it knows of no network interface",
            "give an interface of the television an address; it looks anew for each answer, for "
            "announcements only when it starts"};
}

DoctorVerdict answer_with_loopback(const DoctorTelevision &television)
{
    return {"told-loopback", STATUS_NOT_FOUND,
            "the television at " + address_text(television.answer.source) + " tells phones " +
                address_text(television.answer.address) + ", where each finds only itself",
            "take that address from the television's loopback interface"};
}

DoctorVerdict answer_with_other_address(const DoctorTelevision &television)
{
    const std::string source = address_text(television.answer.source);
    return {"told-address-unreachable", STATUS_NOT_FOUND,
            "the television at " + source + " tells phones " +
                address_text(television.answer.address) + ", which cannot be reached from here",
            "have the television's interface on this network come first in its list; until then "
            "use --host " +
                source};
}

DoctorVerdict not_in_order(const DoctorContact &contact)
{
    const std::string place = place_of(contact);
    switch (contact.connected == CP_OK ? contact.heartbeat : contact.connected) {
    case CP_REFUSED:
        return {"refused", STATUS_REFUSED,
                "the television answers searches, but " + place + " refuses connections",
                "is its service still running, and does its firewall let TCP port " +
                    std::to_string(contact.port) + " in?"};
    case CP_NOT_FOUND:
        return {"unreachable", STATUS_NOT_FOUND,
                "the television answers searches, but there is no way from here to " + place,
                "connect both to the same network, or add a route"};
    case CP_TIMED_OUT:
        if (contact.connected == CP_OK) {
            return {"no-heartbeat", STATUS_TIMED_OUT,
                    place + " takes connections, but answers no heartbeat",
                    "start the television again; a longer --timeout helps if it is only slow"};
        }
        return {"connection-lost", STATUS_TIMED_OUT,
                "the television answers searches, but " + place + " takes no connection",
                "let TCP port " + std::to_string(contact.port) +
                    " into the television's firewall, and out of this machine's"};
    case CP_PROTOCOL:
        return {"not-the-protocol", STATUS_PROTOCOL,
                place + " does not answer as a television does",
                "does another program have that port?"};
    case CP_CLOSED:
        return {"closed", STATUS_OTHER, place + " closes connections at once",
                "it may serve as many phones as it is allowed to; disconnect one"};
    default:
        return {"unreachable", STATUS_NOT_FOUND,
                "the television answers searches, but " + place +
                    " cannot be connected to: " + system_text(contact.error),
                "look at this machine's routes and firewall"};
    }
}

bool is_the_host(const DoctorTelevision &television, const DoctorHost &host)
{
    return television.by_host || host.contact.host == television.contact.host ||
           host.contact.host == address_text(television.answer.source);
}

/* With --host, no other television counts. */
bool is_asked_for(const DoctorTelevision &television, const DoctorFacts &facts)
{
    return !facts.host || is_the_host(television, *facts.host);
}

bool is_loopback(uint32_t address)
{
    return ntohl(address) >> 24 == 127;
}

Verdict judge_television(const DoctorTelevision &television)
{
    const CpTelevision &answer = television.answer;
    if (answer.address == 0) {
        return answer_without_address(television);
    }
    if (is_loopback(answer.address) && !is_loopback(answer.source)) {
        return answer_with_loopback(television);
    }
    if (is_in_order(television.contact)) {
        return std::nullopt;
    }
    if (television.at_source && is_in_order(*television.at_source)) {
        return answer_with_other_address(television);
    }
    return not_in_order(television.contact);
}

Verdict television_out_of_order(const DoctorFacts &facts)
{
    for (const DoctorTelevision &television : facts.televisions) {
        Verdict verdict =
            is_asked_for(television, facts) ? judge_television(television) : std::nullopt;
        if (verdict) {
            return verdict;
        }
    }
    return std::nullopt;
}

/* The television that --host names. */

const DoctorTelevision *find_host(const DoctorFacts &facts)
{
    for (const DoctorTelevision &television : facts.televisions) {
        if (is_the_host(television, *facts.host)) {
            return &television;
        }
    }
    return nullptr;
}

Verdict multicast_lost(const DoctorFacts &facts)
{
    const DoctorTelevision *television = facts.host ? find_host(facts) : nullptr;
    if (television == nullptr || television->by_multicast) {
        return std::nullopt;
    }
    return DoctorVerdict{"multicast-lost", STATUS_NOT_FOUND,
                         facts.host->contact.host +
                             " answers when it alone is asked, but multicast does not get there",
                         "same network? Else look at the access point's client isolation and IGMP "
                         "snooping, and whether the television joined " CP_SEARCH_GROUP};
}

DoctorVerdict host_without_answer(const DoctorContact &contact)
{
    if (is_in_order(contact)) {
        return {"answers-lost", STATUS_NOT_FOUND,
                place_of(contact) + " is a television, but no answer to a search arrives",
                "let UDP port 12426 into its firewall, and UDP port 9988 into this machine's"};
    }
    switch (contact.connected) {
    case CP_OK:
        return {"no-television-at-host", STATUS_PROTOCOL,
                place_of(contact) + " takes connections, but is no television",
                "is that the television's address?"};
    case CP_REFUSED:
        return {"no-television-at-host", STATUS_REFUSED,
                contact.host + " is there, but no television runs on it",
                "start the television; is that its address?"};
    case CP_TIMED_OUT:
        return {"host-silent", STATUS_TIMED_OUT, contact.host + " does not answer at all",
                "is it switched on, is that its address, and does a firewall keep UDP port 12426 "
                "and TCP port " +
                    std::to_string(contact.port) + " out?"};
    default:
        return {"host-unreachable", STATUS_NOT_FOUND,
                contact.host + " is unknown or out of reach from here",
                "is that its address, and is this machine on the same network?"};
    }
}

Verdict host_not_found(const DoctorFacts &facts)
{
    if (!facts.host || find_host(facts) != nullptr) {
        return std::nullopt;
    }
    return host_without_answer(facts.host->contact);
}

/* No television was found. */

Verdict half_a_television(const DoctorFacts &facts)
{
    const bool control = facts.control_port.error == EADDRINUSE;
    const bool search = facts.search_port.error == EADDRINUSE;
    if (!facts.televisions.empty() || control == search) {
        return std::nullopt;
    }
    const DoctorPort &port = control ? facts.control_port : facts.search_port;
    return DoctorVerdict{"half-a-television", STATUS_NOT_FOUND,
                         port.protocol + " port " + std::to_string(port.number) +
                             " of this machine is held by " + doctor_holder(port) + ", but " +
                             (control ? "UDP port 12426" : "TCP port 8801") + " by nobody",
                         "end that program if it is no television, and start the television again"};
}

Verdict television_silent(const DoctorFacts &facts)
{
    if (!facts.televisions.empty() || !doctor_television_here(facts)) {
        return std::nullopt;
    }
    return DoctorVerdict{"television-silent", STATUS_NOT_FOUND,
                         "the television on this machine, " + doctor_holder(facts.search_port) +
                             ", answers no search",
                         "let UDP ports 12426 and 9988 into this machine's firewall; else start "
                         "the television again"};
}

Verdict no_television(const DoctorFacts &facts)
{
    if (!facts.televisions.empty()) {
        return std::nullopt;
    }
    return DoctorVerdict{
        "no-television", STATUS_NOT_FOUND, "this machine is in order, but no television answered",
        "is one running on the same network, and does this machine's firewall let "
        "UDP port 9988 in? If its address is known, run \"tvlink-ctl doctor --host "
        "ADDRESS\""};
}

Verdict several(const DoctorFacts &facts)
{
    const size_t count = facts.televisions.size();
    if (count < 2 || facts.host) {
        return std::nullopt;
    }
    return DoctorVerdict{"several-televisions", STATUS_DONE,
                         "everything is right; " + std::to_string(count) +
                             " televisions can be found and driven",
                         "say with --host which one is meant; else the first to answer is"};
}

using Rule = Verdict (*)(const DoctorFacts &facts);

/* The state of this machine comes first, since all that follows depends on it. A rule may rely on
 * those above it. */
constexpr Rule rules[] = {
    no_interface,
    interface_down,
    no_address,
    no_link,
    no_multicast_interface,
    answer_port_taken,
    no_multicast_route,
    multicast_stays_here,
    group_refused,
    loopback_announced,
    announced_interface_down,
    announced_elsewhere,
    not_a_member,
    search_not_sent,
    television_out_of_order,
    multicast_lost,
    host_not_found,
    half_a_television,
    television_silent,
    no_television,
    several,
};

} // namespace

DoctorVerdict doctor_verdict(const DoctorFacts &facts)
{
    for (const Rule rule : rules) {
        const Verdict verdict = rule(facts);
        if (verdict) {
            return *verdict;
        }
    }
    return {"right", STATUS_DONE, "everything is right; the television can be found and driven",
            "if a phone finds none: is it on the same network, and does the access point let "
            "those on it talk to each other?"};
}

std::string doctor_holder(const DoctorPort &port)
{
    if (port.pid != 0) {
        return port.program + " (pid " + std::to_string(port.pid) + ")";
    }
    if (port.user) {
        return "a process of another user (uid " + std::to_string(*port.user) + ")";
    }
    return "another process";
}

bool doctor_television_here(const DoctorFacts &facts)
{
    return facts.control_port.error == EADDRINUSE && facts.search_port.error == EADDRINUSE;
}

} // namespace ctl
