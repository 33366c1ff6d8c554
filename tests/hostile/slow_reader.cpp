/* SPDX-License-Identifier: MIT */
/* Beside 16 phones that read one stops reading, or ten do at once, while the host reports 200
 * events of 1 KB each second. */
#include "hostile/crowd.h"
#include "hostile/host.h"
#include "hostile/run.h"
#include "support/phone.h"

#include <cstring>
#include <ctime>

#include <sys/socket.h>

namespace
{

const size_t READERS = 16;
const size_t MANY = 10;
const Manner WIRELESS = {0, 8192, true};

/* A phone that reads, and checks that each event is the next one. */
struct Reader {
    uint64_t next;
    bool in_order;
};

class Television
{
public:
    /* Those that will stall come first: they are sent to first. */
    Television(const Run &run, size_t stalling) : run_(run), host_(run)
    {
        for (size_t i = 0; i < stalling + READERS; i++) {
            std::vector<Descriptor> &phones = i < stalling ? stalling_ : reading_;
            phones.push_back(connect_phone(WIRELESS));
            holds(run, answers(phones.back()), "a phone that connects is answered");
        }
        for (const Descriptor &phone : reading_) {
            inboxes_.emplace_back(phone.get());
            readers_.push_back({0, true});
        }
    }

    /* The 16 read for so long, or until the condition holds. Returns whether it does. */
    template <typename Condition> bool read_for(double most_ms, Condition condition)
    {
        const Clock::time_point start = Clock::now();
        while (!condition()) {
            if (milliseconds_since(start) >= most_ms) {
                return false;
            }
            wait_for_mail(inboxes_, 5);
            read_once();
            send_heartbeats();
        }
        return true;
    }

    void read_for(double most_ms)
    {
        read_for(most_ms, [] { return false; });
    }

    void read_stalling() /* what those that do not stall yet have got */
    {
        for (const Descriptor &phone : stalling_) {
            Inbox(phone.get()).take([](const uint8_t *, size_t) {});
        }
    }

    void trickle(size_t most)
    {
        Bytes some(most);
        recv(stalling_[0].get(), some.data(), some.size(), MSG_DONTWAIT);
    }

    static bool stalled_are_dropped()
    {
        return open_connections() <= READERS;
    }

    void hang_up_stalled()
    {
        for (Descriptor &phone : stalling_) {
            reset(phone);
        }
    }

    /* All that the host has reported has come to each of the 16, once and in order. */
    void expect_everything()
    {
        Board &board = host_.board();
        board.event_rate = 0;
        uint32_t reported = board.reported;
        const bool all = read_for(30000, [&] {
            const uint32_t now = board.reported;
            const bool steady = now == reported && has_all(now);
            reported = now;
            return steady;
        });
        bool in_order = true;
        for (const Reader &reader : readers_) {
            in_order = in_order && reader.in_order;
        }
        holds(run_, all && in_order, "each of %zu phones gets %u events once and in order", READERS,
              reported);
    }

    std::string take_delays()
    {
        std::vector<double> delays;
        delays.swap(delays_ms_);
        return text(spread_of(delays)) + " (" + std::to_string(delays.size()) + " events)";
    }

    Board &board() const
    {
        return host_.board();
    }

private:
    /* Whoever sends nothing for long is disconnected. */
    void send_heartbeats()
    {
        if (milliseconds_since(last_heartbeat_) < 5000) {
            return;
        }
        last_heartbeat_ = Clock::now();
        for (const Inbox &inbox : inboxes_) {
            send_bytes(inbox.fd(), phone_heartbeat());
        }
    }

    bool has_all(uint32_t reported) const
    {
        for (const Reader &reader : readers_) {
            if (reader.next < reported) {
                return false;
            }
        }
        return true;
    }

    void read_once()
    {
        for (size_t i = 0; i < inboxes_.size(); i++) {
            inboxes_[i].take([&](const uint8_t *frame, size_t size) {
                if (Bytes(frame, frame + size) == answer_heartbeat()) {
                    return;
                }
                EventHead head = {0, 0};
                if (size == EVENT_DATA_AT + EVENT_DATA_SIZE + 21) {
                    std::memcpy(&head, frame + EVENT_DATA_AT, sizeof head);
                }
                Reader &reader = readers_[i];
                reader.in_order = reader.in_order && head.due_ns != 0 && head.number == reader.next;
                reader.next++;
                timespec now = {};
                clock_gettime(CLOCK_MONOTONIC, &now);
                const double now_ns =
                    static_cast<double>(now.tv_sec) * 1e9 + static_cast<double>(now.tv_nsec);
                delays_ms_.push_back((now_ns - static_cast<double>(head.due_ns)) / 1e6);
            });
        }
    }

    const Run &run_;
    Host host_;
    std::vector<Descriptor> stalling_;
    std::vector<Descriptor> reading_;
    std::vector<Inbox> inboxes_;
    std::vector<Reader> readers_;
    std::vector<double> delays_ms_;
    Clock::time_point last_heartbeat_ = Clock::now();
};

/* So many stop reading at once. */
void stall(const Run &run, size_t stalling)
{
    Television television(run, stalling);
    television.board().event_rate = run.long_form ? 200 : 800; /* buffers fill sooner */
    const Clock::time_point begin = Clock::now();
    television.read_for(run.long_form ? 10000 : 200, [&] {
        television.read_stalling();
        return false;
    });
    figure(run, "all %zu read: %s", stalling + READERS, television.take_delays().c_str());

    const Clock::time_point stopped = Clock::now();
    const double patience_ms = run.long_form ? 25000 : 1000;
    const bool dropped = television.read_for(run.guarded ? 30000 : patience_ms,
                                             [] { return Television::stalled_are_dropped(); });
    const double after_ms = milliseconds_since(stopped);
    if (dropped) {
        figure(run, "dropped %.0f ms after reading stopped", after_ms);
    } else {
        figure(run, "not dropped within %.0f ms, then hung up", after_ms);
        television.hang_up_stalled();
    }
    holds(run, dropped == run.guarded, "who reads nothing is dropped by a guard, only");
    television.read_for(run.long_form ? 10000 : 200);
    television.expect_everything();
    figure(run, "%zu of %zu do not read: the other 16 see %s", stalling, stalling + READERS,
           television.take_delays().c_str());
    figure(run, "%u events in %.1f s", television.board().reported.load(),
           milliseconds_since(begin) / 1000);
}

/* One reads just enough to count as reading: a guard knows no slowness, only standing still. */
void trickle(const Run &run)
{
    Television television(run, 1);
    television.board().event_rate = 200;
    const Clock::time_point begin = Clock::now();
    size_t times = 0;
    const bool dropped = television.read_for(30000, [&] {
        if (milliseconds_since(begin) > 250.0 * static_cast<double>(times)) {
            television.trickle(12288);
            times++;
        }
        return Television::stalled_are_dropped();
    });
    figure(run, "one reads 48 KB a second: %s after %.0f ms", dropped ? "dropped" : "not dropped",
           milliseconds_since(begin));
    television.hang_up_stalled();
    television.expect_everything();
    figure(run, "one reads 48 KB a second: the other 16 see %s", television.take_delays().c_str());
}

} // namespace

void run_slow_reader(const Run &run)
{
    stall(run, 1);
    if (run.guarded) {
        stall(run, MANY);
    }
    if (run.long_form) {
        trickle(run);
    }
}
