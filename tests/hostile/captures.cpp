/* SPDX-License-Identifier: MIT */
/* Pictures of the screen that are asked for and never fetched, fetched by a stranger, or fetched at
 * a byte a second. */
#include "hostile/crowd.h"
#include "hostile/host.h"
#include "hostile/run.h"
#include "support/phone.h"

#include <netinet/in.h>
#include <sys/socket.h>

namespace
{

const uint32_t PICTURE = 500000;
const uint32_t STRANGER = INADDR_LOOPBACK + 1;
const Manner FROM_STRANGER = {STRANGER, 0, false};
const Manner RELUCTANT = {0, 2048, true};
const size_t SPARE_KB = 64;

/* The port of the reply; 0 when the television refuses. */
uint16_t ask_for_capture(const Run &run, const Descriptor &phone)
{
    send_bytes(phone.get(), wire_frame(0x05, bytes("01 18 01 00 00 40 01 00 F0 00")));
    const Bytes frame = read_frame(phone.get());
    const uint16_t port =
        frame.size() == 78 ? static_cast<uint16_t>(number_at(frame.data() + 55)) : uint16_t{0};
    const Bytes expected = wire_frame(0x06, joined({bytes("01 18 01 04"), little_endian(port, 2)}));
    holds(run, frame == expected, "a request for a picture is answered with a port");
    return port;
}

size_t granted_among(const std::vector<uint16_t> &ports)
{
    size_t count = 0;
    for (const uint16_t port : ports) {
        count += port != 0 ? 1 : 0;
    }
    return count;
}

/* Each port lives for one connection: whoever comes first uses it up. */
bool fetches_all(uint16_t port)
{
    const Descriptor client = connect_to(port);
    const Bytes data = receive_bytes(client.get(), PICTURE + 4);
    bool whole = data.size() == PICTURE + 4 && number_at(data.data()) == PICTURE;
    for (size_t i = 4; whole && i < data.size(); i++) {
        whole = data[i] == static_cast<uint8_t>((i - 4) % 251);
    }
    return whole && wait_for_end(client.get());
}

void never_fetch(const Run &run, const Host &host, const Descriptor &phone, size_t count)
{
    const Holdings before = host.holdings();
    const Clock::time_point begin = Clock::now();
    std::vector<uint16_t> ports;
    for (size_t i = 0; i < count; i++) {
        ports.push_back(ask_for_capture(run, phone));
    }
    const size_t granted = granted_among(ports);
    const Holdings now = host.holdings();
    figure(run, "%zu asked for, none fetched: %zu ports; %s -> %s", count, granted,
           text(before).c_str(), text(now).c_str());
    if (run.guarded) {
        holds(run,
              granted >= run.guard.max_captures &&
                  now.descriptors <= before.descriptors + run.guard.max_captures,
              "%u captures at a time, not %zu", run.guard.max_captures,
              now.descriptors - before.descriptors);
        holds(run, host.wait_for_no_more_than(before, SPARE_KB), "all is given back in time");
        figure(run, "all given back %.0f ms after the first was asked for",
               milliseconds_since(begin));
    } else {
        holds(run, granted == count, "every capture gets a port");
        holds(run, now.descriptors >= before.descriptors + count, "they stay until fetched");
        for (const uint16_t port : ports) {
            holds(run, fetches_all(port), "a picture that waited is whole");
        }
        holds(run, host.wait_for_no_more_than(before, SPARE_KB), "what is fetched is given back");
    }
}

void be_a_stranger(const Run &run, const Host &host, const Descriptor &phone)
{
    const Holdings before = host.holdings();
    const uint16_t port = ask_for_capture(run, phone);
    const Descriptor stranger = connect_to(port, FROM_STRANGER);
    const Bytes got = receive_bytes(stranger.get(), PICTURE + 4);
    figure(run, "a stranger gets %zu of %u bytes", got.size(), PICTURE + 4);
    holds(run, got.size() == (run.guarded ? 0 : PICTURE + 4),
          "only a guard keeps strangers from the picture (%zu bytes)", got.size());
    if (run.guarded) {
        holds(run, fetches_all(port), "the phone that asked gets its picture after that");
    }
    holds(run, host.wait_for_no_more_than(before, SPARE_KB), "all is given back");
}

void fetch_slowly(const Run &run, const Host &host, const Descriptor &phone)
{
    const Holdings before = host.holdings();
    const uint16_t port = ask_for_capture(run, phone);
    Descriptor client = connect_to(port, RELUCTANT);
    const Clock::time_point begin = Clock::now();
    const double most_ms = run.long_form ? 60000 : 500;
    size_t got = 0;
    const auto given_up = [&] { return host.descriptors() <= before.descriptors; };
    while (run.guarded ? !given_up() : milliseconds_since(begin) < most_ms) {
        if (milliseconds_since(begin) > 30000 + most_ms) {
            break;
        }
        got += receive_bytes(client.get(), 1).size();
        holds(run, answers(phone), "the phone is answered meanwhile");
        wait_until(given_up, std::chrono::milliseconds(run.long_form ? 1000 : 20));
    }
    holds(run, given_up() == run.guarded, "only a guard gives up who fetches byte by byte");
    figure(run, "fetched byte by byte: after %zu bytes and %.0f ms %s", got,
           milliseconds_since(begin), run.guarded ? "given up" : "still being sent, then reset");
    reset(client);
    holds(run, host.wait_for_no_more_than(before, SPARE_KB), "all is given back");
}

} // namespace

void run_captures(const Run &run)
{
    const Host host(run);
    host.board().capture_size = PICTURE;
    const Descriptor phone = connect_phone();
    holds(run, answers(phone), "a phone that connects is answered");
    holds(run, fetches_all(ask_for_capture(run, phone)), "a phone that asks gets a picture");
    never_fetch(run, host, phone, run.long_form ? 100 : 12);
    be_a_stranger(run, host, phone);
    fetch_slowly(run, host, phone);
    holds(run, answers(phone), "the phone is answered still");
}
