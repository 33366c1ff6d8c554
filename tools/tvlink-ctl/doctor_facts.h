/* What the doctor finds out about this machine and its network, before anybody judges it. */
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
    uint32_t address = 0; /* IPv4, network byte order; 0: it has none */
    bool up = false;
    bool has_link = false; /* the cable is plugged in, the access point was joined */
    bool multicast = false;
    bool loopback = false;
    bool announced = false; /* a television on this machine would tell this address */
};

/* Where multicast goes when a program leaves the choice to the system, as televisions do. */
struct DoctorRoute {
    int error = 0; /* errno; 0: there is one */
    std::string interface;
};

struct DoctorGroup {
    std::string address;
    int error = 0; /* errno of joining it; 0: it can be joined */
    bool members_known = false;
    std::vector<std::string> members; /* interfaces on which some program has joined it */
};

struct DoctorPort {
    std::string protocol; /* "TCP" or "UDP" */
    uint16_t number = 0;
    int error = 0;             /* errno of binding it; 0: nobody holds it */
    pid_t pid = 0;             /* who holds it; 0: not known */
    std::string program;       /* its name; empty: not known */
    std::optional<uid_t> user; /* whose it is; none: not known */
};

struct DoctorSearch {
    bool made = false;
    CpStatus status = CP_OK;
    int error = 0; /* errno of CP_SYSTEM */
};

/* An attempt to connect and to have a heartbeat answered. */
struct DoctorContact {
    std::string host;
    uint16_t port = 0;
    CpStatus connected = CP_OK;
    int error = 0; /* errno of CP_SYSTEM */
    CpStatus heartbeat = CP_OK;
};

struct DoctorTelevision {
    CpTelevision told = {};
    bool by_multicast = false;              /* it answered the search that asks all */
    bool by_host = false;                   /* it answered when --host asked it alone */
    DoctorContact contact;                  /* at the address that it told */
    std::optional<DoctorContact> at_source; /* where its answer came from, if that is elsewhere */
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
