/* SPDX-License-Identifier: MIT */
/* Other protocols on the control port: HTTP, TLS, and bytes without a meaning. */
#include "hostile/crowd.h"
#include "hostile/host.h"
#include "hostile/run.h"

#include <netinet/in.h>
#include <sys/socket.h>

namespace
{

/* A worker keeps a few freed blocks of every size that it has met. A loss in each of the
 * connections of the long form is more. */
const size_t SPARE_KB = 400;
const std::chrono::seconds SILENCE(31); /* then a connection is idle */

struct Opening {
    const char *name;
    Bytes bytes;
    bool too_long; /* read as a frame it announces more than the recommended bound */
};

std::vector<Opening> openings()
{
    Bytes hello = bytes("16 03 01 02 00 01 00 01 FC 03 03");
    hello.resize(517, 0x5A);
    return {
        {"HTTP", bytes("'GET / HTTP/1.1' 0D 0A 'Host: tv:8801' 0D 0A 0D 0A"), true},
        {"TLS", hello, false},
        {"SSH", bytes("'SSH-2.0-OpenSSH_9.2' 0D 0A"), true},
        {"zeros", Bytes(200, 0), false},
    };
}

void open_with(const Run &run, const Host &host, const Opening &opening, const Descriptor &other)
{
    const Holdings before = host.holdings();
    Descriptor phone = connect_phone();
    send_bytes(phone.get(), opening.bytes);
    holds(run, answers(other), "another phone is answered");
    if (run.guarded && opening.too_long) {
        holds(run, wait_until([&] { return has_ended(phone); }), "%s is disconnected",
              opening.name);
        figure(run, "%s: disconnected at once", opening.name);
    } else {
        holds(run, !has_ended(phone), "%s is not answered", opening.name);
        figure(run, "%s: not answered, not disconnected", opening.name);
    }
    phone.close();
    holds(run, host.wait_for_no_more_than(before, SPARE_KB), "all is given back");
}

/* Silent afterwards: the connections end like every idle one. */
void wait_for_idle_end(const Run &run, const Descriptor &other)
{
    std::vector<Descriptor> phones;
    for (const Opening &opening : openings()) {
        phones.push_back(connect_phone());
        send_bytes(phones.back().get(), opening.bytes);
    }
    const Clock::time_point begin = Clock::now();
    for (const Descriptor &phone : phones) {
        const bool ended = wait_until(
            [&] {
                answers(other);
                return has_ended(phone);
            },
            SILENCE + PATIENCE);
        holds(run, ended, "a connection that makes no sense ends when it has been idle");
    }
    figure(run, "idle afterwards: all disconnected after %.1f s", milliseconds_since(begin) / 1000);
}

void send_random(const Run &run, const Host &host, const Descriptor &other, size_t connections)
{
    const Holdings before = host.holdings();
    uint32_t state = 12345;
    for (size_t i = 0; i < connections; i++) {
        const Descriptor phone = connect_phone();
        Bytes noise;
        for (size_t size = 0; size < i * 37 % 2000 + 1; size++) {
            state = state * 1664525 + 1013904223;
            noise.push_back(static_cast<uint8_t>(state >> 24));
        }
        if (i % 3 == 0) { /* as if it were a frame, so that it reaches the dispatchers */
            noise = wire_frame(noise[0], noise);
        }
        send(phone.get(), noise.data(), noise.size(), MSG_NOSIGNAL);
        holds(run, i % 10 != 0 || answers(other), "another phone is answered");
    }
    holds(run, answers(other), "another phone is answered");
    holds(run, host.wait_for_no_more_than(before, SPARE_KB), "all is given back");
    figure(run, "%zu connections with random bytes: %s -> %s", connections, text(before).c_str(),
           text(host.holdings()).c_str());
}

} // namespace

void run_other_protocols(const Run &run)
{
    const Host host(run);
    const Descriptor other = connect_phone();
    holds(run, answers(other), "a phone that connects is answered");
    for (const Opening &opening : openings()) {
        open_with(run, host, opening, other);
    }
    send_random(run, host, other, run.long_form ? 20000 : 150);
    if (run.long_form) {
        wait_for_idle_end(run, other);
    }
}
