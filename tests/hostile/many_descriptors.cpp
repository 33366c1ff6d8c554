/* SPDX-License-Identifier: MIT */
/* 1,100 phones at once, and a host that already has 2,000 descriptors open. */
#include "hostile/crowd.h"
#include "hostile/host.h"
#include "hostile/run.h"

namespace
{

const size_t PHONES = 1100;
const size_t DESCRIPTORS = 2000;
const size_t SPARE_KB = 128; /* the table of connections stays as large as it was */

void connect_many(const Run &run, size_t descriptors_besides)
{
    const Host host(run, descriptors_besides);
    const Holdings before = host.holdings();
    const Clock::time_point begin = Clock::now();
    const size_t most = run.guarded ? run.guard.max_ctrlpoints : PHONES;
    std::vector<Descriptor> phones;
    for (size_t i = 0; i < PHONES && all_held(); i++) {
        phones.push_back(connect_phone());
        if (i < most) {
            holds(run, answers(phones.back()), "phone %zu is answered", i);
        } else {
            holds(run, wait_until([&] { return has_ended(phones.back()); }),
                  "phone %zu is one more than the guard allows", i);
        }
    }
    const Holdings now = host.holdings();
    holds(run, now.descriptors == before.descriptors + most, "%zu connections are open, not %zu",
          most, now.descriptors - before.descriptors);
    for (size_t i = 0; i < most && all_held(); i += 11) {
        holds(run, answers(phones[i]), "phone %zu is still answered", i);
    }
    figure(run, "%zu phones, %zu descriptors open before: %zu served, %.0f ms", PHONES,
           descriptors_besides, most, milliseconds_since(begin));
    figure(run, "%s -> %s", text(before).c_str(), text(now).c_str());
    phones.clear();
    holds(run, host.wait_for_no_more_than(before, SPARE_KB), "all is given back");
}

} // namespace

void run_many_descriptors(const Run &run)
{
    if (run.long_form) {
        connect_many(run, 0);
    }
    connect_many(run, DESCRIPTORS);
}
