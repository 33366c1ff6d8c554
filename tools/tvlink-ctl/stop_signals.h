/* Ctrl-C for commands that run until they are interrupted. */
#ifndef TVLINK_CTL_STOP_SIGNALS_H
#define TVLINK_CTL_STOP_SIGNALS_H

#include "failure.h"

#include <cerrno>
#include <sys/signalfd.h>
#include <unistd.h>

namespace ctl
{

/* SIGINT and SIGTERM as a descriptor for poll, so that a signal between two calls is not missed. */
struct StopSignals {
    StopSignals()
    {
        const sigset_t signals = tools::block_stop_signals();
        descriptor = signalfd(-1, &signals, SFD_CLOEXEC);
        if (descriptor < 0) {
            throw Failure(STATUS_OTHER, "signalfd: " + system_text(errno), "");
        }
    }
    ~StopSignals()
    {
        close(descriptor);
    }
    StopSignals(const StopSignals &) = delete;
    StopSignals &operator=(const StopSignals &) = delete;

    int descriptor;
};

} // namespace ctl

#endif
