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

/* What a new television has. */
std::vector<Application> delivered_applications();

/* Up to a limit; one that is there already stays as it is. */
Outcome install_application(Television &tv, const std::string &name);

} // namespace sim

#endif
