/* SPDX-License-Identifier: MIT */
/* Half-sent frames at a byte every few seconds on all connections but one. */
#include "hostile/crowd.h"
#include "hostile/host.h"
#include "hostile/run.h"

#include "support/phone.h"

namespace
{

const size_t SPARE_KB = 64;

/* As many as the guard lets in beside the one that behaves. */
std::vector<Descriptor> connect_drippers(const Run &run, size_t count)
{
    std::vector<Descriptor> drippers;
    for (size_t i = 0; i < count; i++) {
        drippers.push_back(connect_phone());
        holds(run, answers(drippers.back()), "a phone that connects is answered");
    }
    return drippers;
}

/* Each sends the next byte of a frame that it never completes. */
void drip_once(const std::vector<Descriptor> &drippers, size_t number)
{
    static const Bytes frame = call_frame(std::string(1000, 'x'));
    const Bytes next(1, frame[number % (frame.size() - 1)]);
    for (const Descriptor &dripper : drippers) {
        send_bytes(dripper.get(), next);
    }
}

} // namespace

void run_drip(const Run &run)
{
    const Host host(run);
    const Descriptor phone = connect_phone();
    holds(run, answers(phone), "a phone that connects is answered");
    const Holdings before = host.holdings();
    std::vector<Descriptor> drippers =
        connect_drippers(run, run.guarded ? run.guard.max_ctrlpoints - 1 : 200);
    const double duration_ms = run.long_form ? 120000 : 500;
    const double pause_ms = run.long_form ? 3000 : 50;
    std::vector<double> trips;
    const Clock::time_point begin = Clock::now();
    Clock::time_point last = begin;
    size_t dripped = 0;
    while (milliseconds_since(begin) < duration_ms) {
        if (milliseconds_since(last) >= pause_ms) {
            last = Clock::now();
            drip_once(drippers, dripped++);
        }
        const std::string request = "request " + std::to_string(trips.size());
        const Clock::time_point sent = Clock::now();
        send_bytes(phone.get(), call_frame(request));
        if (!holds(run, read_frame(phone.get()) == call_reply(request), "\"%s\" is answered",
                   request.c_str())) {
            break;
        }
        trips.push_back(milliseconds_since(sent));
    }
    const size_t requests = trips.size();
    figure(run, "%zu phones drip %zu bytes each; the other: %s (%zu requests)", drippers.size(),
           dripped, text(spread_of(trips)).c_str(), requests);
    holds(run, open_connections() == drippers.size() + 1, "who drips stays connected");
    if (run.guarded) {
        const Descriptor further = connect_phone();
        holds(run, wait_until([&] { return has_ended(further); }),
              "one phone more than the guard allows is refused");
    }
    figure(run, "%s -> %s", text(before).c_str(), text(host.holdings()).c_str());
    drippers.clear();
    holds(run, host.wait_for_no_more_than(before, SPARE_KB), "all is given back");
}
