/* The life of the program's service: start, wait, stop. */
#ifndef TVLINK_SIM_SERVICE_H
#define TVLINK_SIM_SERVICE_H

#include <cstdint>
#include <string>

namespace sim
{

struct Options {
    std::string name = "tvlink-sim";
    std::string serial = "SIM-0001";
    uint32_t device_type = 1;
    bool json = false;
    bool diagnostics = false;
    double event_every = 0; /* seconds; 0: no demo events */
};

/* Runs the television until SIGINT or SIGTERM. The program's exit status: 0, or 1 when it could not
 * start. */
int run_television(const Options &options);

} // namespace sim

#endif
