/* SPDX-License-Identifier: MIT */
/* The time of day is set, ahead and back, while phones are connected, and goes on over 2038 and
 * 2106. Between the settings it stands still, so that every age is exact. */
#include "hostile/crowd.h"
#include "hostile/host.h"
#include "hostile/run.h"
#include "hostile/time_of_day.h"
#include "support/phone.h"

#include <algorithm>

#include <sys/socket.h>

namespace
{

const uint64_t YEAR_2023 = 1700000000;
const uint64_t YEAR_2038 = 0x80000000; /* here 31 bits end */
const uint64_t YEAR_2106 = 0x100000000;
const uint64_t TWENTY_YEARS = 631152000;
const size_t PHONES = 4;
const size_t SPARE_KB = 64;

struct Jump {
    const char *name;
    uint64_t from;
    uint64_t to;
    bool drops; /* whoever was heard before and not since */
};

const Jump JUMPS[] = {
    {"30 s ahead", YEAR_2023, YEAR_2023 + 30, false},
    {"31 s ahead", YEAR_2023, YEAR_2023 + 31, true},
    {"1 min ahead", YEAR_2023, YEAR_2023 + 60, true},
    {"299 s ahead", YEAR_2023, YEAR_2023 + 299, true},
    {"5 min ahead", YEAR_2023, YEAR_2023 + 300, false},
    {"5 min back", YEAR_2023, YEAR_2023 - 300, false},
    {"20 years ahead", YEAR_2023, YEAR_2023 + TWENTY_YEARS, false},
    {"20 years back", YEAR_2023, YEAR_2023 - TWENTY_YEARS, false},
    {"to the end of 31 bits", YEAR_2023, YEAR_2038 - 1, false},
    {"30 s over it", YEAR_2038 - 15, YEAR_2038 + 15, false},
    {"31 s over it", YEAR_2038 - 15, YEAR_2038 + 16, true},
    {"back over it", YEAR_2038 + 15, YEAR_2038 - 16, false},
    {"to the end of 32 bits", YEAR_2023, YEAR_2106 - 1, false},
    {"30 s over that", YEAR_2106 - 15, YEAR_2106 + 15, false},
    {"31 s over that", YEAR_2106 - 15, YEAR_2106 + 16, true},
    {"back over that", YEAR_2106 + 15, YEAR_2106 - 16, false},
};

bool serves(const Descriptor &phone, const std::string &request)
{
    send_bytes(phone.get(), call_frame(request));
    return read_frame(phone.get()) == call_reply(request);
}

/* A heartbeat is read in a pass of its own, so afterwards the idle check has run more often than
 * there are phones to drop. */
bool answers_for_some_passes(const Descriptor &phone)
{
    bool well = true;
    for (size_t i = 0; i < 2 * PHONES + 2; i++) {
        well = well && answers(phone);
    }
    return well;
}

void jump(const Run &run, TimeOfDay *clock, const Jump &jump)
{
    clock->set(jump.from);
    std::vector<Descriptor> phones(PHONES);
    for (Descriptor &phone : phones) {
        phone = connect_phone();
        holds(run, answers(phone), "%s: a phone that connects before is answered", jump.name);
    }
    clock->set(jump.to);
    const Descriptor newcomer = connect_phone();
    holds(run, answers_for_some_passes(newcomer) && serves(newcomer, jump.name),
          "%s: a phone that connects afterwards is served", jump.name);
    if (jump.drops) {
        holds(run, wait_for_all_ended(phones), "%s: the phones are dropped", jump.name);
    }
    const auto ended = std::count_if(phones.begin(), phones.end(), has_ended);
    const bool as_expected = ended == (jump.drops ? static_cast<std::ptrdiff_t>(PHONES) : 0);
    bool served = true;
    for (const Descriptor &phone : phones) {
        served = served && (jump.drops || (answers(phone) && serves(phone, jump.name)));
    }
    holds(run, as_expected && served, "%s: %td of %zu phones are dropped, the others served",
          jump.name, ended, PHONES);
    figure(run, "%-21s: %td of %zu silent phones dropped; %s", jump.name, ended, PHONES,
           ended == 0 ? "all served afterwards" : "a new one is served");
}

/* A phone that is heard every ten seconds stays, a silent one goes with its 31st. */
void walk_over(const Run &run, TimeOfDay *clock, uint64_t turn, const char *name)
{
    clock->set(turn - 20);
    const Descriptor beating = connect_phone();
    const Descriptor silent = connect_phone();
    holds(run, answers(beating) && answers(silent), "%s: phones are answered", name);
    bool well = true;
    for (uint64_t age = 10; age <= 30; age += 10) {
        clock->set(turn - 20 + age);
        well = well && answers_for_some_passes(beating);
    }
    holds(run, well && !has_ended(silent), "%s: nobody is dropped within 30 s", name);
    clock->set(turn - 20 + 31);
    holds(run, answers_for_some_passes(beating) && wait_until([&] { return has_ended(silent); }),
          "%s: the silent one is dropped in its 31st", name);
    for (uint64_t age = 40; age <= 400; age += 10) {
        clock->set(turn - 20 + age);
        well = well && answers(beating);
    }
    holds(run, well && serves(beating, name), "%s: the other is served throughout", name);
    figure(run, "over %s in steps: a heartbeat every 10 s keeps a phone, silence ends in its 31st",
           name);
}

void search(const Run &run, TimeOfDay *clock, uint64_t now)
{
    clock->set(now);
    const Descriptor phone = searcher(INADDR_LOOPBACK + 6);
    holds(run, phone.get() >= 0, "a phone can wait for answers");
    const Clock::time_point begin = Clock::now();
    send_search(phone, search_packet());
    uint8_t answer[64];
    const bool answered =
        wait_until([&] { return recv(phone.get(), answer, sizeof answer, MSG_DONTWAIT) == 12; });
    holds(run, answered, "a search at %llu is answered", static_cast<unsigned long long>(now));
    figure(run, "a search at 0x%09llX is answered after %.0f ms",
           static_cast<unsigned long long>(now), milliseconds_since(begin));
}

} // namespace

void run_clock(const Run &run)
{
    TimeOfDay clock;
    const Host host(run);
    const Holdings before = host.holdings();
    for (const Jump &row : JUMPS) {
        jump(run, &clock, row);
    }
    walk_over(run, &clock, YEAR_2038, "2038");
    walk_over(run, &clock, YEAR_2106, "2106");
    search(run, &clock, YEAR_2038);
    search(run, &clock, YEAR_2106 - 1);
    clock.set(YEAR_2023);
    holds(run, host.wait_for_no_more_than(before, SPARE_KB), "all is given back: %s -> %s",
          text(before).c_str(), text(host.holdings()).c_str());
}
