/* SPDX-License-Identifier: MIT */
#ifndef TVLINK_CTL_SETTINGS_H
#define TVLINK_CTL_SETTINGS_H

#include "controlpoint.h"

#include <string>

namespace ctl
{

/* The options that every command takes. */
struct Settings {
    std::string host;   /* empty: the first television that answers a search */
    uint16_t port = 0;  /* 0: not given */
    double timeout = 3; /* seconds */
    bool timeout_given = false;
    bool json = false;
};

uint32_t to_milliseconds(double seconds);

} // namespace ctl

#endif
