/* SPDX-License-Identifier: MIT */
/* Phones that misbehave, against a service in a process of its own:
 *
 *     hostile [--brief] SCENARIO [plain|guard]     without the last both, one after the other
 *     hostile --list
 *
 * Prints figures; ends with 1 when something does not hold that must. With TVLINK_SOAK=long in the
 * environment the attacks last longer and are larger; --brief shortens the one that lasts longest,
 * for builds that are slow. */
#include "hostile/run.h"
#include "support/long_form.h"

#include <cstdio>
#include <cstring>

#include <signal.h>
#include <sys/resource.h>

namespace
{

struct Scenario {
    const char *name;
    void (*run)(const Run &run);
};

const Scenario SCENARIOS[] = {
    {"announced_length", run_announced_length},
    {"backlog", run_backlog},
    {"captures", run_captures},
    {"clock", run_clock},
    {"descriptor_reuse", run_descriptor_reuse},
    {"drip", run_drip},
    {"flood", run_flood},
    {"many_descriptors", run_many_descriptors},
    {"other_protocols", run_other_protocols},
    {"search_flood", run_search_flood},
    {"slow_reader", run_slow_reader},
    {"storm", run_storm},
    {"suspended", run_suspended},
};

/* The short form has shorter times to wait for. */
IppGuard guard_for(bool long_form)
{
    IppGuard guard = IPP_GUARD_RECOMMENDED;
    if (!long_form) {
        guard.send_stall_ms = 300;
        guard.bulk_accept_ms = 300;
    }
    return guard;
}

void run_against(const Scenario &scenario, bool guarded, bool brief)
{
    const bool long_form = in_long_form();
    const IppGuard plain = {};
    const Run run = {scenario.name, guarded, long_form, brief,
                     guarded ? guard_for(long_form) : plain};
    const Clock::time_point start = Clock::now();
    scenario.run(run);
    figure(run, "took %.1f s", milliseconds_since(start) / 1000);
}

/* As many as the system lets us have; the host has the same limit. */
void allow_descriptors()
{
    rlimit limit = {};
    getrlimit(RLIMIT_NOFILE, &limit);
    limit.rlim_cur = limit.rlim_max;
    setrlimit(RLIMIT_NOFILE, &limit);
}

bool is_wanted(const char *wanted, const char *kind)
{
    return wanted == nullptr || std::strcmp(wanted, kind) == 0;
}

} // namespace

int main(int argc, char **argv)
{
    const bool brief = argc > 1 && std::strcmp(argv[1], "--brief") == 0;
    const int first = brief ? 2 : 1;
    const char *const wanted = argc > first ? argv[first] : "";
    const char *const against = argc > first + 1 ? argv[first + 1] : nullptr;
    bool found = false;
    signal(SIGPIPE, SIG_IGN);
    allow_descriptors();
    for (const Scenario &scenario : SCENARIOS) {
        if (std::strcmp(wanted, "--list") == 0) {
            std::printf("%s\n", scenario.name);
            found = true;
        } else if (std::strcmp(wanted, scenario.name) == 0) {
            for (const bool guarded : {false, true}) {
                if (is_wanted(against, guarded ? "guard" : "plain")) {
                    run_against(scenario, guarded, brief);
                    found = true;
                }
            }
        }
    }
    if (!found) {
        std::fprintf(stderr,
                     "usage: hostile [--brief] SCENARIO [plain|guard]\n       hostile --list\n");
        return 2;
    }
    return all_held() ? 0 : 1;
}
