/* SPDX-License-Identifier: MIT */
/* Phones vanish with large replies pending while others connect at once: no byte of one ever
 * reaches another. */
#include "hostile/crowd.h"
#include "hostile/host.h"
#include "hostile/run.h"

namespace
{

const size_t VANISHING = 8;
const size_t STAYING = 8;
const uint32_t REPLY_SIZE = 200000; /* more than the buffers of a reluctant phone hold */
const size_t NUMBERS_AT = 59;       /* in the frame of the reply */
const size_t BEHIND = 21;
const Manner RELUCTANT = {0, 2048, true};
const size_t SPARE_KB = 64;

bool is_own(const uint8_t *frame, size_t size, uint32_t tag)
{
    static const Bytes head = bytes("01 1C 40 0C");
    if (size != NUMBERS_AT + REPLY_SIZE + BEHIND ||
        !std::equal(head.begin(), head.end(), frame + 51) ||
        number_at(frame + NUMBERS_AT - 4) != REPLY_SIZE) {
        return false;
    }
    for (size_t at = NUMBERS_AT; at < NUMBERS_AT + REPLY_SIZE; at += 4) {
        if (number_at(frame + at) != tag) {
            return false;
        }
    }
    return true;
}

struct Counts {
    uint32_t tag;
    size_t connections;
    size_t replies;
};

/* A phone that wants its one reply. */
struct Asker {
    Descriptor phone;
    uint32_t tag;
};

Asker ask(Counts *counts, const Manner &manner, size_t times)
{
    Asker asker = {connect_phone(manner), ++counts->tag};
    counts->connections++;
    for (size_t i = 0; i < times; i++) {
        send_bytes(asker.phone.get(), numbers_frame(asker.tag));
    }
    return asker;
}

bool gets_its_own(const Asker &asker)
{
    Inbox inbox(asker.phone.get());
    size_t frames = 0;
    bool own = true;
    const bool got = wait_until([&] {
        inbox.take([&](const uint8_t *frame, size_t size) {
            own = own && is_own(frame, size, asker.tag);
            frames++;
        });
        return frames > 0 || inbox.ended();
    });
    return got && own && frames == 1 && inbox.unfinished() == 0 && !inbox.ended();
}

void vanish(std::vector<Asker> &askers)
{
    for (size_t i = 0; i < askers.size(); i++) {
        if (i % 2 == 0) {
            reset(askers[i].phone);
        } else {
            askers[i].phone.close();
        }
    }
}

void go_round(const Run &run, const Host &host, Counts *counts)
{
    std::vector<Asker> vanishing;
    std::vector<Asker> staying;
    const uint32_t calls = host.board().calls;
    for (size_t i = 0; i < VANISHING; i++) {
        vanishing.push_back(ask(counts, RELUCTANT, 2));
    }
    wait_until([&] { return host.board().calls != calls; }); /* the first reply is under way */
    for (size_t i = 0; i < STAYING / 2; i++) {
        staying.push_back(ask(counts, {0, 0, false}, 1));
    }
    vanish(vanishing);
    for (size_t i = 0; i < STAYING / 2; i++) {
        staying.push_back(ask(counts, {0, 0, false}, 1));
    }
    for (const Asker &asker : staying) {
        holds(run, gets_its_own(asker), "phone %u gets its own reply, whole, and nothing else",
              asker.tag);
        counts->replies++;
    }
}

} // namespace

void run_descriptor_reuse(const Run &run)
{
    const Host host(run);
    host.board().answer_size = REPLY_SIZE;
    const Holdings before = host.holdings();
    Counts counts = {0, 0, 0};
    const int rounds = run.long_form ? 1000 : 15;
    for (int i = 0; i < rounds && all_held(); i++) {
        go_round(run, host, &counts);
    }
    figure(run,
           "%zu connections, of which %zu vanished; %zu replies of %u bytes, no byte of another's",
           counts.connections, counts.connections - counts.replies, counts.replies, REPLY_SIZE);
    holds(run, host.wait_for_no_more_than(before, SPARE_KB), "all is given back");
    figure(run, "%s -> %s", text(before).c_str(), text(host.holdings()).c_str());
}
