/* SPDX-License-Identifier: MIT */
/* Starts the service, waits for a signal, and stops the service. */
#ifndef TVLINK_SIM_SERVICE_H
#define TVLINK_SIM_SERVICE_H

#include <cstdint>
#include <string>

#include "lineup.h"
#include "screen_size.h"

namespace sim
{

struct Options {
    std::string name;
    bool name_is_given =
        false; /* otherwise a name that a phone has set and --state keeps prevails */
    std::string serial;
    uint32_t device_type = 1;
    bool json = false;
    bool diagnostics = false;
    bool trace = false;
    double event_every = 0; /* seconds; 0: no demo events */
    LineupFiles files;
    bool watch_files = false; /* they are loaded again when they change */
    ScreenSize screen = default_screen;
    std::string font;       /* empty: those of the system */
    std::string report_url; /* empty: the state is not reported */
    std::string state_file; /* empty: the state is not kept */
};

constexpr int status_no_service = 1;
constexpr int status_bad_file = 3;

/* Registers the television with the library, which does not run yet. */
void register_television(const Options &options);

/* Runs the television until SIGINT or SIGTERM; SIGHUP loads its lists again. Returns the program's
 * exit status: 0, or one of those above when the television could not start. */
int run_television(const Options &options);

} // namespace sim

#endif
