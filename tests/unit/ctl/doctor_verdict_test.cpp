/* SPDX-License-Identifier: MIT */
/* What the doctor says about a machine and its network, from facts that are made up here. */
#include "doctor_verdict.h"

#include <arpa/inet.h>
#include <cerrno>
#include <functional>
#include <gtest/gtest.h>

namespace
{

using ctl::DoctorContact;
using ctl::DoctorFacts;
using ctl::DoctorHost;
using ctl::DoctorInterface;
using ctl::DoctorPort;
using ctl::DoctorTelevision;

DoctorInterface interface_named(const std::string &name, const char *address)
{
    DoctorInterface interface;
    interface.name = name;
    interface.address = address[0] == '\0' ? 0 : inet_addr(address);
    interface.up = interface.has_link = true;
    interface.loopback = name == "lo";
    interface.multicast = !interface.loopback;
    return interface;
}

DoctorContact contact_with(const std::string &host, CpStatus connected = CP_OK,
                           CpStatus heartbeat = CP_OK)
{
    DoctorContact contact;
    contact.host = host;
    contact.port = 8801;
    contact.connected = connected;
    contact.heartbeat = heartbeat;
    return contact;
}

DoctorTelevision television_at(const char *address)
{
    DoctorTelevision television;
    television.answer = {inet_addr(address), inet_addr(address), 8801, 7};
    television.by_multicast = true;
    television.contact = contact_with(address);
    return television;
}

/* A phone's machine, eth0, and a television that is found and driven. */
DoctorFacts all_right()
{
    DoctorFacts facts;
    facts.interfaces = {interface_named("lo", "127.0.0.1"), interface_named("eth0", "10.7.0.2")};
    facts.interfaces[1].announced = true;
    facts.route.interface = "eth0";
    facts.search_group.address = "239.200.201.202";
    facts.search_group.members_known = true;
    facts.announcement_group.address = "239.201.202.203";
    facts.control_port.protocol = "TCP";
    facts.control_port.number = 8801;
    facts.search_port.protocol = "UDP";
    facts.search_port.number = 12426;
    facts.search.made = true;
    facts.televisions = {television_at("10.7.0.1")};
    return facts;
}

void hold(DoctorPort &port, pid_t pid, const std::string &program)
{
    port.error = EADDRINUSE;
    port.pid = pid;
    port.program = program;
}

/* The television runs on this machine and has joined its group. */
void run_here(DoctorFacts &facts)
{
    hold(facts.control_port, 17, "tvlink-sim");
    hold(facts.search_port, 17, "tvlink-sim");
    facts.search_group.members = {"eth0"};
    facts.televisions = {television_at("10.7.0.2")};
}

void find_nothing(DoctorFacts &facts)
{
    facts.televisions.clear();
    facts.search.status = CP_NOT_FOUND;
}

/* --host names the television, which answers nothing but the connection in this way. */
void name_host(DoctorFacts &facts, CpStatus connected, CpStatus heartbeat = CP_OK)
{
    find_nothing(facts);
    facts.host.emplace();
    facts.host->search.made = true;
    facts.host->search.status = CP_NOT_FOUND;
    facts.host->contact = contact_with("10.7.0.1", connected, heartbeat);
}

struct Row {
    const char *situation;
    std::function<void(DoctorFacts &)> change; /* of a machine on which all is right */
    const char *verdict;
    ctl::ExitStatus status;
    const char *text;
    const char *next;
};

void expect_verdicts(const std::vector<Row> &rows)
{
    for (const Row &row : rows) {
        DoctorFacts facts = all_right();
        row.change(facts);
        const ctl::DoctorVerdict verdict = ctl::doctor_verdict(facts);
        EXPECT_EQ(verdict.name, row.verdict) << row.situation;
        EXPECT_EQ(verdict.status, row.status) << row.situation;
        EXPECT_EQ(verdict.text, row.text) << row.situation;
        EXPECT_EQ(verdict.next, row.next) << row.situation;
    }
}

TEST(DoctorVerdict, IsThatAllIsRight)
{
    const char *const text = "everything is right; the television can be found and driven";
    const char *const next =
        "if a phone finds none: is it on the same network, and does the access "
        "point let those on it talk to each other?";
    expect_verdicts({
        {"one television", [](DoctorFacts &) {}, "right", ctl::STATUS_DONE, text, next},
        {"on this machine", run_here, "right", ctl::STATUS_DONE, text, next},
        {"named, and another one there",
         [](DoctorFacts &facts) {
             facts.televisions[0].by_host = true;
             facts.televisions.push_back(television_at("10.7.0.3"));
             facts.televisions[1].contact.connected = CP_REFUSED;
             facts.host = DoctorHost{{true, CP_OK, 0}, contact_with("10.7.0.1")};
         },
         "right", ctl::STATUS_DONE, text, next},
        {"named, and its answer to itself alone lost",
         [](DoctorFacts &facts) {
             facts.host = DoctorHost{{true, CP_NOT_FOUND, 0}, contact_with("10.7.0.1")};
         },
         "right", ctl::STATUS_DONE, text, next},
        {"told address of another network that can be reached",
         [](DoctorFacts &facts) {
             facts.televisions[0].answer.source = inet_addr("10.8.0.1");
             facts.televisions[0].at_source = contact_with("10.8.0.1", CP_REFUSED);
         },
         "right", ctl::STATUS_DONE, text, next},
        {"two televisions",
         [](DoctorFacts &facts) { facts.televisions.push_back(television_at("10.7.0.3")); },
         "several-televisions", ctl::STATUS_DONE,
         "everything is right; 2 televisions can be found and driven",
         "say with --host which one is meant; else the first to answer is"},
    });
}

TEST(DoctorVerdict, IsThatThisMachineIsOnNoNetwork)
{
    expect_verdicts({
        {"loopback only", [](DoctorFacts &facts) { facts.interfaces.pop_back(); }, "no-interface",
         ctl::STATUS_OTHER, "this machine has no network interface but the loopback",
         "connect it to the television's network"},
        {"nothing at all", [](DoctorFacts &facts) { facts.interfaces.clear(); }, "no-interface",
         ctl::STATUS_OTHER, "this machine has no network interface but the loopback",
         "connect it to the television's network"},
        {"down",
         [](DoctorFacts &facts) {
             facts.interfaces[1].up = false;
             facts.route.error = ENETUNREACH;
             facts.search.status = CP_SYSTEM;
         },
         "interface-down", ctl::STATUS_OTHER, "no network interface of this machine is up",
         "ip link set eth0 up"},
        {"down, a tunnel before it",
         [](DoctorFacts &facts) {
             facts.interfaces[1].up = false;
             DoctorInterface tunnel = interface_named("tun0", "10.9.0.1");
             tunnel.up = tunnel.multicast = false;
             facts.interfaces.insert(facts.interfaces.begin(), tunnel);
         },
         "interface-down", ctl::STATUS_OTHER, "no network interface of this machine is up",
         "ip link set eth0 up"},
        {"without an address", [](DoctorFacts &facts) { facts.interfaces[1].address = 0; },
         "no-address", ctl::STATUS_OTHER,
         "no network interface of this machine that is up has an IPv4 address",
         "see whether eth0 gets one (DHCP), or give it one with ip addr add"},
        {"without a link", [](DoctorFacts &facts) { facts.interfaces[1].has_link = false; },
         "no-link", ctl::STATUS_OTHER, "eth0 is up but not connected to a network",
         "plug in its cable or join the access point"},
        {"without multicast", [](DoctorFacts &facts) { facts.interfaces[1].multicast = false; },
         "no-multicast-interface", ctl::STATUS_OTHER,
         "no network interface of this machine takes multicast", "ip link set eth0 multicast on"},
    });
}

TEST(DoctorVerdict, IsThatThisMachineKeepsMulticastBack)
{
    expect_verdicts({
        {"no route",
         [](DoctorFacts &facts) {
             facts.route = {ENETUNREACH, ""};
             facts.search_group.error = ENODEV;
             find_nothing(facts);
         },
         "no-multicast-route", ctl::STATUS_OTHER,
         "this machine has no route for multicast: Network is unreachable; no television that is "
         "started on it can be found",
         "ip route replace 224.0.0.0/4 dev eth0"},
        {"no route, but the television was found",
         [](DoctorFacts &facts) {
             facts.route = {ENETUNREACH, ""};
         },
         "no-multicast-route", ctl::STATUS_OTHER,
         "this machine has no route for multicast: Network is unreachable; no television that is "
         "started on it can be found",
         "ip route replace 224.0.0.0/4 dev eth0"},
        {"the route stays here", [](DoctorFacts &facts) { facts.route.interface = "lo"; },
         "multicast-stays-here", ctl::STATUS_OTHER,
         "the route for multicast leads to lo, so that nothing leaves this machine",
         "ip route replace 224.0.0.0/4 dev eth0"},
        {"no more groups", [](DoctorFacts &facts) { facts.search_group.error = ENOBUFS; },
         "group-refused", ctl::STATUS_OTHER,
         "the group 239.200.201.202 cannot be joined: No buffer space available",
         "sysctl net.ipv4.igmp_max_memberships=20"},
        {"the other group", [](DoctorFacts &facts) { facts.announcement_group.error = EPERM; },
         "group-refused", ctl::STATUS_OTHER,
         "the group 239.201.202.203 cannot be joined: Operation not permitted",
         "see what the system's log says about multicast"},
        {"no search leaves",
         [](DoctorFacts &facts) {
             find_nothing(facts);
             facts.search.status = CP_SYSTEM;
             facts.search.error = EPERM;
         },
         "search-not-sent", ctl::STATUS_OTHER, "a search cannot be sent: Operation not permitted",
         "let UDP port 12426 out of this machine's firewall"},
    });
}

TEST(DoctorVerdict, IsThatAnotherProgramHasThePortOfAnswers)
{
    const char *const next = "end that program and try again; one at a time can have the port";
    expect_verdicts({
        {"of a known program", [](DoctorFacts &facts) { hold(facts.answer_port, 42, "phone-app"); },
         "answer-port-taken", ctl::STATUS_OTHER,
         "UDP port 9988, where answers and announcements arrive, is held by phone-app (pid 42)",
         next},
        {"of another user",
         [](DoctorFacts &facts) {
             hold(facts.answer_port, 0, "");
             facts.answer_port.user = 1000;
         },
         "answer-port-taken", ctl::STATUS_OTHER,
         "UDP port 9988, where answers and announcements arrive, is held by a process of another "
         "user (uid 1000)",
         next},
        {"of who knows", [](DoctorFacts &facts) { hold(facts.answer_port, 0, ""); },
         "answer-port-taken", ctl::STATUS_OTHER,
         "UDP port 9988, where answers and announcements arrive, is held by another process", next},
        {"of nobody", [](DoctorFacts &facts) { facts.answer_port.error = EACCES; },
         "answer-port-taken", ctl::STATUS_OTHER, "UDP port 9988 cannot be had: Permission denied",
         "find out what forbids it; no answer can arrive elsewhere"},
    });
}

TEST(DoctorVerdict, IsThatTheTelevisionHereTellsAnAddressOfNoUse)
{
    expect_verdicts({
        {"of an interface that is down",
         [](DoctorFacts &facts) {
             run_here(facts);
             DoctorInterface down = interface_named("eth9", "10.9.0.1");
             down.up = down.has_link = false;
             down.announced = true;
             facts.interfaces[1].announced = false;
             facts.interfaces.push_back(down);
         },
         "told-interface-down", ctl::STATUS_OTHER,
         "the television on this machine tells phones 10.9.0.1, but eth9 is not connected",
         "bring eth9 up, or take the address from it"},
        {"of the loopback",
         [](DoctorFacts &facts) {
             run_here(facts);
             facts.interfaces[1].announced = false;
             facts.interfaces[0].announced = true;
             facts.interfaces[0].address = inet_addr("127.0.0.2");
         },
         "told-loopback", ctl::STATUS_NOT_FOUND,
         "the television on this machine tells phones 127.0.0.2, where each finds only itself",
         "take that address from lo"},
        {"of another interface than the one of the route",
         [](DoctorFacts &facts) {
             run_here(facts);
             facts.interfaces.push_back(interface_named("wlan0", "10.9.0.1"));
             facts.route.interface = "wlan0";
             facts.search_group.members = {"wlan0"};
         },
         "told-elsewhere", ctl::STATUS_OTHER,
         "the television on this machine tells phones 10.7.0.2, the address of eth0, but is "
         "searched for, and announces itself, on wlan0",
         "ip route replace 224.0.0.0/4 dev eth0, and start the television again"},
    });
}

TEST(DoctorVerdict, IsThatTheTelevisionHereIsNotHeardOf)
{
    expect_verdicts({
        {"not in the group",
         [](DoctorFacts &facts) {
             run_here(facts);
             facts.search_group.members = {"wlan0"};
         },
         "not-a-member", ctl::STATUS_OTHER,
         "the television on this machine has not joined 239.200.201.202 on eth0, so that it hears "
         "no search",
         "start the television again; it joins the group once, on the interface to which the route "
         "leads then"},
        {"silent",
         [](DoctorFacts &facts) {
             run_here(facts);
             find_nothing(facts);
             facts.search_group.members_known = false;
             facts.search_group.members.clear();
         },
         "television-silent", ctl::STATUS_NOT_FOUND,
         "the television on this machine, tvlink-sim (pid 17), answers no search",
         "let UDP ports 12426 and 9988 into this machine's firewall; else start the television "
         "again"},
        {"its port of searches only",
         [](DoctorFacts &facts) {
             find_nothing(facts);
             hold(facts.search_port, 5, "other");
         },
         "half-a-television", ctl::STATUS_NOT_FOUND,
         "UDP port 12426 of this machine is held by other (pid 5), but TCP port 8801 by nobody",
         "end that program if it is no television, and start the television again"},
        {"its port of control only",
         [](DoctorFacts &facts) {
             find_nothing(facts);
             hold(facts.control_port, 5, "other");
         },
         "half-a-television", ctl::STATUS_NOT_FOUND,
         "TCP port 8801 of this machine is held by other (pid 5), but UDP port 12426 by nobody",
         "end that program if it is no television, and start the television again"},
    });
}

TEST(DoctorVerdict, IsThatNoTelevisionAnswers)
{
    expect_verdicts({
        {"none", find_nothing, "no-television", ctl::STATUS_NOT_FOUND,
         "this machine is in order, but no television answered",
         "is one running on the same network, and does this machine's firewall let UDP port 9988 "
         "in? If its address is known, run \"tvlink-ctl doctor --host ADDRESS\""},
    });
}

TEST(DoctorVerdict, IsThatTheTelevisionFoundTellsAnAddressOfNoUse)
{
    expect_verdicts({
        {"none", [](DoctorFacts &facts) { facts.televisions[0].answer.address = 0; },
         "told-no-address", ctl::STATUS_NOT_FOUND,
         "the television at 10.7.0.1 tells phones the address 0.0.0.0: it knows of no network "
         "interface",
         "give an interface of the television an address; it looks anew for each answer, for "
         "announcements only when it starts"},
        {"of its loopback",
         [](DoctorFacts &facts) { facts.televisions[0].answer.address = inet_addr("127.0.0.2"); },
         "told-loopback", ctl::STATUS_NOT_FOUND,
         "the television at 10.7.0.1 tells phones 127.0.0.2, where each finds only itself",
         "take that address from the television's loopback interface"},
        {"of another network",
         [](DoctorFacts &facts) {
             facts.televisions[0].answer.address = inet_addr("10.8.0.1");
             facts.televisions[0].contact = contact_with("10.8.0.1", CP_TIMED_OUT);
             facts.televisions[0].at_source = contact_with("10.7.0.1");
         },
         "told-address-unreachable", ctl::STATUS_NOT_FOUND,
         "the television at 10.7.0.1 tells phones 10.8.0.1, which cannot be reached from here",
         "have the television's interface on this network come first in its list; until then use "
         "--host 10.7.0.1"},
    });
}

/* The television answers searches; a connection goes like this. */
std::function<void(DoctorFacts &)> connecting(CpStatus connected, CpStatus heartbeat, int error)
{
    return [=](DoctorFacts &facts) {
        facts.televisions[0].contact = contact_with("10.7.0.1", connected, heartbeat);
        facts.televisions[0].contact.error = error;
    };
}

TEST(DoctorVerdict, IsThatTheTelevisionFoundCannotBeDriven)
{
    expect_verdicts({
        {"refused", connecting(CP_REFUSED, CP_OK, 0), "refused", ctl::STATUS_REFUSED,
         "the television answers searches, but 10.7.0.1:8801 refuses connections",
         "is its service still running, and does its firewall let TCP port 8801 in?"},
        {"no way", connecting(CP_NOT_FOUND, CP_OK, 0), "unreachable", ctl::STATUS_NOT_FOUND,
         "the television answers searches, but there is no way from here to 10.7.0.1:8801",
         "connect both to the same network, or add a route"},
        {"lost", connecting(CP_TIMED_OUT, CP_OK, 0), "connection-lost", ctl::STATUS_TIMED_OUT,
         "the television answers searches, but 10.7.0.1:8801 takes no connection",
         "let TCP port 8801 into the television's firewall, and out of this machine's"},
        {"forbidden", connecting(CP_SYSTEM, CP_OK, EACCES), "unreachable", ctl::STATUS_NOT_FOUND,
         "the television answers searches, but 10.7.0.1:8801 cannot be connected to: Permission "
         "denied",
         "look at this machine's routes and firewall"},
        {"silent", connecting(CP_OK, CP_TIMED_OUT, 0), "no-heartbeat", ctl::STATUS_TIMED_OUT,
         "10.7.0.1:8801 takes connections, but answers no heartbeat",
         "start the television again; a longer --timeout helps if it is only slow"},
        {"something else", connecting(CP_OK, CP_PROTOCOL, 0), "not-the-protocol",
         ctl::STATUS_PROTOCOL, "10.7.0.1:8801 does not answer as a television does",
         "does another program have that port?"},
        {"closed", connecting(CP_OK, CP_CLOSED, 0), "closed", ctl::STATUS_OTHER,
         "10.7.0.1:8801 closes connections at once",
         "it may serve as many phones as it is allowed to; disconnect one"},
        {"the second of two",
         [](DoctorFacts &facts) {
             facts.televisions.push_back(television_at("10.7.0.3"));
             facts.televisions[1].contact.connected = CP_REFUSED;
         },
         "refused", ctl::STATUS_REFUSED,
         "the television answers searches, but 10.7.0.3:8801 refuses connections",
         "is its service still running, and does its firewall let TCP port 8801 in?"},
    });
}

TEST(DoctorVerdict, TellsWhyANamedTelevisionIsNotFound)
{
    expect_verdicts({
        {"multicast does not get there",
         [](DoctorFacts &facts) {
             facts.televisions[0].by_multicast = false;
             facts.televisions[0].by_host = true;
             facts.host = DoctorHost{{true, CP_OK, 0}, contact_with("living-room")};
         },
         "multicast-lost", ctl::STATUS_NOT_FOUND,
         "living-room answers when it alone is asked, but multicast does not get there",
         "same network? Else look at the access point's client isolation and IGMP snooping, and "
         "whether the television joined 239.200.201.202"},
        {"answers do not arrive", [](DoctorFacts &facts) { name_host(facts, CP_OK); },
         "answers-lost", ctl::STATUS_NOT_FOUND,
         "10.7.0.1:8801 is a television, but no answer to a search arrives",
         "let UDP port 12426 into its firewall, and UDP port 9988 into this machine's"},
        {"something else serves there",
         [](DoctorFacts &facts) { name_host(facts, CP_OK, CP_PROTOCOL); }, "no-television-at-host",
         ctl::STATUS_PROTOCOL, "10.7.0.1:8801 takes connections, but is no television",
         "is that the television's address?"},
        {"no television there", [](DoctorFacts &facts) { name_host(facts, CP_REFUSED); },
         "no-television-at-host", ctl::STATUS_REFUSED,
         "10.7.0.1 is there, but no television runs on it",
         "start the television; is that its address?"},
        {"nobody there", [](DoctorFacts &facts) { name_host(facts, CP_TIMED_OUT); }, "host-silent",
         ctl::STATUS_TIMED_OUT, "10.7.0.1 does not answer at all",
         "is it switched on, is that its address, and does a firewall keep UDP port 12426 and TCP "
         "port 8801 out?"},
        {"no way there", [](DoctorFacts &facts) { name_host(facts, CP_NOT_FOUND); },
         "host-unreachable", ctl::STATUS_NOT_FOUND, "10.7.0.1 is unknown or out of reach from here",
         "is that its address, and is this machine on the same network?"},
        {"another television answers",
         [](DoctorFacts &facts) {
             name_host(facts, CP_REFUSED);
             facts.televisions = {television_at("10.7.0.3")};
         },
         "no-television-at-host", ctl::STATUS_REFUSED,
         "10.7.0.1 is there, but no television runs on it",
         "start the television; is that its address?"},
    });
}

} // namespace
