/* SPDX-License-Identifier: MIT */
/* More requests and heartbeats than the queues hold. */
#include "hostile/crowd.h"
#include "hostile/host.h"
#include "hostile/run.h"
#include "support/phone.h"

#include <algorithm>

#include <sys/socket.h>

namespace
{

const uint32_t QUEUE_HOLDS = 49;
const Manner RELUCTANT = {0, 2048, true};

bool wait_for_lines(const Host &host, uint32_t count)
{
    return wait_until([&] { return host.board().full_lines >= count; });
}

std::string call(uint32_t number)
{
    return "call " + std::to_string(number);
}

/* While the first is being worked off, the queue takes 49 and no more. */
void flood_with_requests(const Run &run, const Host &host, uint32_t further)
{
    Board &board = host.board();
    const Descriptor phone = connect_phone();
    const Descriptor other = connect_phone();
    const uint32_t lines = board.full_lines;
    board.calls = 0;
    board.hold = 1;
    send_bytes(phone.get(), call_frame(call(0)));
    wait_until([&] { return board.calls == 1; });
    for (uint32_t i = 1; i <= QUEUE_HOLDS + further; i++) {
        send_bytes(phone.get(), call_frame(call(i)));
    }
    holds(run, wait_for_lines(host, lines + further),
          "each of %u requests is dropped with the line", further);
    holds(run, answers(other), "heartbeats are answered meanwhile");
    board.hold = 0;
    bool in_order = true;
    for (uint32_t i = 0; i <= QUEUE_HOLDS; i++) {
        in_order = in_order && read_frame(phone.get()) == call_reply(call(i));
    }
    send_bytes(phone.get(), call_frame("after"));
    holds(run, in_order && read_frame(phone.get()) == call_reply("after"),
          "the %u accepted are answered in order, the others not at all", QUEUE_HOLDS + 1);
    holds(run, board.full_lines == lines + further, "%u lines for %u dropped requests",
          board.full_lines - lines, further);
    figure(run, "%u requests behind a slow one: %u answered in order, %u dropped with the line",
           QUEUE_HOLDS + further, QUEUE_HOLDS, further);
}

/* Each heartbeat is answered, or dropped with the line. */
void flood_with_heartbeats(const Run &run, const Host &host, uint32_t count)
{
    const Descriptor phone = connect_phone();
    const Descriptor other = connect_phone();
    const uint32_t lines = host.board().full_lines;
    Inbox inbox(phone.get());
    uint32_t answered = 0;
    bool well = true;
    const auto read = [&] {
        inbox.take([&](const uint8_t *frame, size_t size) {
            well = well && Bytes(frame, frame + size) == answer_heartbeat();
            answered++;
        });
    };
    const Bytes hundred = joined(std::vector<Bytes>(100, phone_heartbeat()));
    for (uint32_t i = 0; i < count; i += 100) {
        send_bytes(phone.get(), hundred);
        read();
    }
    const bool all = wait_until([&] {
        read();
        return answered + host.board().full_lines - lines >= count;
    });
    const uint32_t dropped = host.board().full_lines - lines;
    holds(run, all && well && answered + dropped == count && answers(phone) && answers(other),
          "%u answered and %u dropped of %u heartbeats", answered, dropped, count);
    figure(run, "%u heartbeats at once: %u answered, %u dropped with the line", count, answered,
           dropped);
}

/* Heartbeats of a phone that reads no answer: at last the heartbeat worker waits for it, and
 * everybody's heartbeats with it. */
void flood_without_reading(const Run &run, const Host &host)
{
    Descriptor phone = connect_phone(RELUCTANT);
    const Descriptor other = connect_phone();
    holds(run, answers(other), "a phone that connects is answered");
    const uint32_t lines = host.board().full_lines;
    const Bytes some = joined(std::vector<Bytes>(20, phone_heartbeat())); /* fewer than wait */
    size_t at = 0;
    wait_until([&] {
        const ssize_t sent =
            send(phone.get(), some.data() + at, some.size() - at, MSG_DONTWAIT | MSG_NOSIGNAL);
        at = (at + (sent > 0 ? static_cast<size_t>(sent) : 0)) % some.size();
        return host.board().full_lines - lines > 200 || open_connections() < 2;
    });
    const Clock::time_point begin = Clock::now();
    Inbox inbox(other.get());
    size_t answered = 0;
    const double most_ms = run.long_form ? 20000 : 500;
    while (answered == 0 && milliseconds_since(begin) < (run.guarded ? 30000 : most_ms)) {
        send_bytes(other.get(), phone_heartbeat());
        wait_until(
            [&] {
                inbox.take([&](const uint8_t *, size_t) { answered++; });
                return answered > 0;
            },
            std::chrono::milliseconds(20));
    }
    figure(run, "heartbeats of a phone that reads nothing: another's are %s %.0f ms later",
           answered > 0 ? "answered" : "still not answered", milliseconds_since(begin));
    holds(run, answered > 0 || !run.guarded, "a guard lets the heartbeats of others go on");
    reset(phone);
    const bool goes_on = wait_until([&] {
        send_bytes(other.get(), phone_heartbeat());
        size_t more = 0;
        return wait_until(
            [&] {
                inbox.take([&](const uint8_t *, size_t) { more++; });
                return more > 0;
            },
            std::chrono::milliseconds(100));
    });
    holds(run, goes_on, "heartbeats are answered when the phone has gone");
}

} // namespace

void run_flood(const Run &run)
{
    const Host host(run);
    flood_with_requests(run, host, 1);
    flood_with_requests(run, host, run.long_form ? 20000 : 200);
    flood_with_heartbeats(run, host, run.long_form ? 200000 : 2000);
    flood_without_reading(run, host);
}
