/* SPDX-License-Identifier: MIT */
/* A server that goes its way while its client, on the same thread, pauses. */
#pragma once

#include "support/sockets.h"
#include "support/taken_time.h"

#include <string>
#include <vector>

/* For one client whose sleeps it takes over. At the first pause it accepts the connection and sends
 * the first piece; at each one that follows, the next piece; then it ends the connection as it is
 * told to. Nothing depends on time, and no piece is sent before the client has had the one before.
 */
class ScriptedServer
{
public:
    enum End { CLOSES, RESETS, SAYS_NO_MORE };

    explicit ScriptedServer(std::vector<std::string> pieces, End end = CLOSES);

    uint16_t port() const;

    /* All that the client has sent; it must have closed its socket. */
    std::string received() const;

    const std::vector<uint64_t> &pauses() const; /* the client's, in microseconds */

private:
    void go_on();
    void accept_client();

    const std::vector<std::string> pieces_;
    const End end_;
    bool accepted_ = false;
    size_t next_ = 0;
    Descriptor listener_;
    Descriptor connection_;
    TakenSleeps sleeps_;
};
