/* SPDX-License-Identifier: MIT */
/* Frames that announce 4 GiB - 1, 2 GiB and 100 MB, with and without the bytes that should follow.
 */
#include "hostile/crowd.h"
#include "hostile/host.h"
#include "hostile/run.h"

#include <cinttypes>

#include <sys/socket.h>

namespace
{

const uint32_t LENGTHS[] = {UINT32_MAX, 0x80000000U, 100000000};
const size_t START = 51; /* of a frame: up to its type */
const size_t SPARE_KB = 64;

Bytes start_of_frame(uint32_t length)
{
    Bytes frame = wire_frame(0x07, {});
    const Bytes announced = little_endian(length, 4);
    std::copy(announced.begin(), announced.end(), frame.begin() + 3);
    frame.resize(START);
    return frame;
}

/* As many bytes as the other side takes; it may end the connection at any of them. */
size_t send_zeros(const Descriptor &phone, size_t size)
{
    static const Bytes zeros(65536, 0);
    size_t sent = 0;
    while (sent < size) {
        const ssize_t taken =
            send(phone.get(), zeros.data(), std::min(zeros.size(), size - sent), MSG_NOSIGNAL);
        if (taken <= 0) {
            break;
        }
        sent += static_cast<size_t>(taken);
    }
    return sent;
}

/* The service has read what was sent: the memory of the connection has reached that. */
bool wait_for_memory(const Host &host, size_t most_kb)
{
    return wait_until([&] { return host.holdings().allocated_kb >= most_kb; });
}

void announce(const Run &run, const Host &host, uint32_t length, size_t follow)
{
    const Holdings before = host.holdings();
    Descriptor phone = connect_phone();
    const Bytes start = start_of_frame(length);
    send_bytes(phone.get(), start);
    const size_t sent = send_zeros(phone, follow);
    if (run.guarded) {
        holds(run, wait_until([&] { return has_ended(phone); }),
              "a phone that announces %" PRIu32 " bytes is disconnected", length);
    } else {
        holds(run, sent == follow && wait_for_memory(host, before.allocated_kb + follow / 1024),
              "a phone may send %zu of %" PRIu32 " bytes", follow, length);
        holds(run, !has_ended(phone), "a phone that announces %" PRIu32 " bytes stays", length);
    }
    /* While the buffer grows, the old one and the new one are there for a moment. */
    const size_t most_kb = before.allocated_kb + (run.guarded ? 0 : follow / 1024) + SPARE_KB;
    Holdings now = before;
    const bool kept = wait_until([&] {
        now = host.holdings();
        return now.allocated_kb <= most_kb;
    });
    holds(run, kept, "memory stays what was received: %zu KB, at most %zu", now.allocated_kb,
          most_kb);
    figure(run, "%10" PRIu32 " announced, %9zu sent: %zu KB -> %zu KB%s", length,
           start.size() + sent, before.allocated_kb, now.allocated_kb,
           run.guarded ? ", disconnected" : "");
    phone.close();
    holds(run, host.wait_for_no_more_than(before, SPARE_KB), "all is given back: %s -> %s",
          text(before).c_str(), text(host.holdings()).c_str());
}

/* A frame that is as long as announced is received whole, and does no harm. */
void announce_truthfully(const Run &run, const Host &host, uint32_t length)
{
    const Holdings before = host.holdings();
    const Descriptor phone = connect_phone();
    send_bytes(phone.get(), start_of_frame(length));
    const Clock::time_point begin = Clock::now();
    const size_t sent = send_zeros(phone, length - START);
    if (!run.guarded) {
        holds(run, sent == length - START && answers(phone), "a phone may send %" PRIu32 " bytes",
              length);
        figure(run, "%10" PRIu32 " announced and sent: %.0f ms, %zu KB -> %zu KB, still answered",
               length, milliseconds_since(begin), before.allocated_kb,
               host.holdings().allocated_kb);
    }
}

} // namespace

void run_announced_length(const Run &run)
{
    const Host host(run);
    const Descriptor other = connect_phone();
    holds(run, answers(other), "a phone that connects is answered");
    const size_t most = run.long_form ? 64000000 : 1000000;
    for (const uint32_t length : LENGTHS) {
        announce(run, host, length, 0);
        announce(run, host, length, most);
        holds(run, answers(other), "another phone is answered");
    }
    announce_truthfully(run, host, run.long_form ? 100000000 : 2000000);
    holds(run, answers(other), "another phone is answered");
}
