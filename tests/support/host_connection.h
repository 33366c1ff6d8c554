/* SPDX-License-Identifier: MIT */
/* A control point that a host made itself, for a socket of its own, and the phone at the other end
 * of it. */
#pragma once

#include "support/sockets.h"
#include "tvlink/ctrlpoint.h"

#include <string>

class HostConnection
{
public:
    HostConnection();
    ~HostConnection();
    HostConnection(const HostConnection &) = delete;
    HostConnection &operator=(const HostConnection &) = delete;

    CtrlPoint *record();

    /* As hex text, all that has arrived since it was last asked. A call that replies has sent its
     * whole reply when it returns, so nothing means that nothing was sent. */
    std::string received();

    /* The phone goes away. */
    void hang_up();

private:
    ConnectedPair ends_;
    CtrlPoint record_;
};

/* "08 09 01 00": the hex text of the frame around this body, which is a frame type and a payload;
 * nothing for an empty text. */
std::string frame_around(const std::string &body);
