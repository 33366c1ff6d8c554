/* SPDX-License-Identifier: MIT */
/* The facts about this machine and its network from which the doctor draws its verdict. */
#ifndef TVLINK_CTL_DOCTOR_FACTS_H
#define TVLINK_CTL_DOCTOR_FACTS_H

#include "controlpoint.h"

#include <optional>
#include <string>
#include <sys/types.h>
#include <vector>

namespace ctl
{

/* An interface with one of its addresses. */
struct DoctorInterface {
    std::string name;
    uint32_t address = 0; /* IPv4, network byte order; 0: none */
    bool up = false;
    bool has_link = false; /* the cable is plugged in, or the access point joined */
    bool multicast = false;
    bool loopback = false;
    bool announced = false; /* a television on this machine announces this address */
};

/* The route of multicast from programs that choose no interface, as televisions do. */
struct DoctorRoute {
    int error = 0; /* errno; 0: there is a route */
    std::string interface;
};

struct DoctorGroup {
    std::string address;
    int error = 0; /* errno of joining the group; 0: it can be joined */
    bool members_known = false;
    std::vector<std::string> members; /* interfaces on which a program has joined the group */
};

struct DoctorPort {
    std::string protocol; /* "TCP" or "UDP" */
    uint16_t number = 0;
    int error = 0;             /* errno of binding the port; 0: it is free */
    pid_t pid = 0;             /* of the process that holds the port; 0: unknown */
    std::string program;       /* name of that process; empty: unknown */
    std::optional<uid_t> user; /* owner of the socket; none: unknown */
};

struct DoctorSearch {
    bool made = false;
    CpStatus status = CP_OK;
    int error = 0; /* errno of CP_SYSTEM */
};

/* An attempt to connect and to exchange a heartbeat. */
struct DoctorContact {
    std::string host;
    uint16_t port = 0;
    CpStatus connected = CP_OK;
    int error = 0; /* errno of CP_SYSTEM */
    CpStatus heartbeat = CP_OK;
};

struct DoctorTelevision {
    CpTelevision answer = {};
    bool by_multicast = false;              /* it answered the multicast search */
    bool by_host = false;                   /* it answered the search of --host */
    DoctorContact contact;                  /* at the address in its answer */
    std::optional<DoctorContact> at_source; /* at the source of its answer, if that differs */
};

/* The television that --host names. */
struct DoctorHost {
    DoctorSearch search;
    DoctorContact contact;
};

struct DoctorFacts {
    std::vector<DoctorInterface> interfaces; /* in the system's order */
    DoctorRoute route;
    DoctorGroup search_group;
    DoctorGroup announcement_group;
    DoctorPort control_port; /* TCP 8801, a television's */
    DoctorPort search_port;  /* UDP 12426, a television's */
    DoctorPort answer_port;  /* UDP 9988, a control point's */
    DoctorSearch search;
    std::optional<DoctorHost> host;
    std::vector<DoctorTelevision> televisions; /* each once, in order of arrival */
};

} // namespace ctl

#endif
