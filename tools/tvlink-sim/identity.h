/* SPDX-License-Identifier: MIT */
/* The name and the serial number that the television has unless it is given others: different for
 * each machine and each network namespace, and the same from run to run. */
#ifndef TVLINK_SIM_IDENTITY_H
#define TVLINK_SIM_IDENTITY_H

#include <string>

namespace sim
{

struct Identity {
    std::string name;   /* "tvlink-sim-3f9a" */
    std::string serial; /* "SIM-3F9A52C1" */
};

/* Both texts may be anything, also empty. The machine cannot be found out from the identity. */
Identity identity_of(const std::string &machine, const std::string &network);

/* That of this machine and the network namespace of the calling thread. The machine is
 * /etc/machine-id, or its host name. A network namespace is known by the name that "ip netns" has
 * given it; by the permanent address of its first network card; or, where there are only virtual
 * ones, whose addresses change whenever they are made, by its first IPv4 address. */
Identity own_identity();

} // namespace sim

#endif
