/* SPDX-License-Identifier: MIT */
/* The applications that are installed. */
#ifndef TVLINK_SIM_APPLICATIONS_H
#define TVLINK_SIM_APPLICATIONS_H

#include <string>
#include <vector>

#include "events.h"

namespace sim
{

struct Television;

struct Application {
    std::string name;
    std::string package;
    std::string version;
};

/* The applications of a new television. */
std::vector<Application> delivered_applications();

/* Refused for an empty or too long name and when the list is full; an application that is installed
 * already stays unchanged. */
Outcome install_application(Television &tv, const std::string &name);

} // namespace sim

#endif
