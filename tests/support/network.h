/* SPDX-License-Identifier: MIT */
/* Networks that a test makes: several machines on one. */
#pragma once

#include "support/sockets.h"

#include <functional>
#include <string>

/* A network namespace, the network as one machine sees it, with nothing in it but a loopback
 * interface that is down. It goes when the last socket and thread in it are gone. */
class Network
{
public:
    Network();

    bool made() const; /* false: the system does not allow it, and nothing else may be called */

    /* Runs the body on a thread inside; sockets that it opens and threads that it starts are inside
     * too. */
    void run(const std::function<void()> &body) const;

    /* Runs "ip" with these arguments inside, and expects it to succeed. */
    void ip(const std::string &arguments) const;

    /* A cable: an interface here with this name, another one there, both down and without an
     * address. */
    void link(const std::string &name, const Network &there, const std::string &name_there) const;

    int descriptor() const;

private:
    Descriptor space_;
};
