/* SPDX-License-Identifier: MIT */
/* Sixteen phones ask for much and read nothing, one of them for a list of 16 MiB, while another one
 * presses keys and waits for events. */
#include "hostile/crowd.h"
#include "hostile/host.h"
#include "hostile/run.h"
#include "support/phone.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>

namespace
{

const size_t SILENT = 16;
const uint32_t REPLY_SIZE = 200000; /* more than the buffers of a reluctant phone hold */
const size_t TYPE_AT = 50;
const uint8_t EVENT = 0x09;
const Manner RELUCTANT = {0, 2048, true};
const double KEY_MOST_MS = 2000; /* less than one phone that takes nothing may hold up a sender */
const uint32_t SPARE_KB = 64;
const uint32_t REPLIES_IN_WORK_KB = 4096; /* those that the worker makes at the moment */
const size_t KEYS_ALONE = 1000;

Bytes key_frame(uint32_t key)
{
    return wire_frame(
        0x07, joined({bytes("09 01 02 06"), little_endian(key, 4), bytes("06 00 00 00 00")}));
}

Bytes key_reply(uint32_t key)
{
    return wire_frame(0x08, joined({bytes("09 01"), little_endian(key % 128, 1)}));
}

Bytes list_frame()
{
    return wire_frame(0x05, bytes("01 00 30"));
}

/* How many of the silent ones are connected, beside the honest one. */
size_t silent_connected()
{
    return std::max<size_t>(open_connections(), 1) - 1;
}

/* A phone that reads, and wants each of its keys answered and every event. */
class Honest
{
public:
    explicit Honest(const Run &run)
        : run_(run), phone_(connect_phone()), inboxes_({Inbox(phone_.get())})
    {
        holds(run, answers(phone_), "a phone that connects is answered");
    }

    /* Returns the size of the frame. */
    size_t fetch_list()
    {
        send_bytes(phone_.get(), list_frame());
        return wait_for_reply(PATIENCE).size();
    }

    void send_key()
    {
        send_bytes(phone_.get(), key_frame(++key_));
    }

    bool is_answered(std::chrono::milliseconds deadline = PATIENCE)
    {
        return wait_for_reply(deadline) == key_reply(key_);
    }

    /* False when the key is not answered, or only after other phones have been waited for. */
    bool press()
    {
        const bool answered = press_timed();
        return holds(run_, answered && trips_ms_.back() < KEY_MOST_MS,
                     "key %u is answered without waiting for other phones (%.0f ms)", key_,
                     trips_ms_.back());
    }

    /* A list may take long on a slow machine. So that the key has not waited for the phone that
     * asked is seen by that phone: it is still connected. */
    bool press_behind_list()
    {
        const bool answered = press_timed();
        return holds(run_, answered && silent_connected() == SILENT,
                     "a key behind a list is answered before its phone is dropped (%.0f ms)",
                     trips_ms_.back());
    }

    /* One key after the other until the condition holds, at most for PATIENCE. */
    template <typename Condition> bool press_until(Condition condition)
    {
        const Clock::time_point begin = Clock::now();
        while (!condition()) {
            if (Clock::now() - begin > PATIENCE || !press()) {
                return false;
            }
            wait_for_mail(inboxes_, 1);
            read();
        }
        return true;
    }

    /* Those that were reported so far, once and in order. */
    bool wait_for_events(uint32_t reported)
    {
        return wait_until([&] {
                   read();
                   return next_event_ >= reported;
               }) &&
               next_event_ == reported && in_order_;
    }

    std::vector<double> take_trips()
    {
        return std::exchange(trips_ms_, {});
    }

    const std::vector<double> &event_delays() const
    {
        return delays_ms_;
    }

private:
    bool press_timed()
    {
        const Clock::time_point pressed = Clock::now();
        send_key();
        const bool answered = is_answered();
        trips_ms_.push_back(milliseconds_since(pressed));
        return answered;
    }

    /* Empty when none has come. */
    Bytes wait_for_reply(std::chrono::milliseconds deadline)
    {
        const Clock::time_point begin = Clock::now();
        reply_.clear();
        read();
        while (reply_.empty() && !inboxes_[0].ended() && Clock::now() - begin < deadline) {
            wait_for_mail(inboxes_, 100);
            read();
        }
        return reply_;
    }

    void read()
    {
        inboxes_[0].take([this](const uint8_t *frame, size_t size) {
            if (frame[TYPE_AT] == EVENT) {
                take_event(frame);
            } else {
                reply_.assign(frame, frame + size);
            }
        });
    }

    void take_event(const uint8_t *frame)
    {
        EventHead head = {0, 0};
        std::memcpy(&head, frame + EVENT_DATA_AT, sizeof head);
        in_order_ = in_order_ && head.number == next_event_;
        next_event_++;
        delays_ms_.push_back(static_cast<double>(monotonic_ns() - head.due_ns) / 1e6);
    }

    const Run &run_;
    Descriptor phone_;
    std::vector<Inbox> inboxes_;
    Bytes reply_;
    std::vector<double> trips_ms_;
    std::vector<double> delays_ms_;
    uint64_t next_event_ = 0;
    uint32_t key_ = 0;
    bool in_order_ = true;
};

/* Phones that ask and read nothing. */
class Silent
{
public:
    explicit Silent(const Run &run)
    {
        for (size_t i = 0; i < SILENT; i++) {
            phones_.push_back(connect_phone(RELUCTANT));
            send_at_once(phones_.back());
            holds(run, answers(phones_.back()), "a phone that connects is answered");
        }
    }

    void ask_for_list() const
    {
        ask(phones_[0], list_frame());
    }

    /* Each of the other 15 for a reply of 200 KB; the queue holds the requests of three rounds. */
    void ask_for_numbers() const
    {
        for (size_t i = 1; i < phones_.size(); i++) {
            ask(phones_[i], numbers_frame(1));
        }
    }

    void hang_up()
    {
        for (Descriptor &phone : phones_) {
            reset(phone);
        }
    }

private:
    /* Otherwise the requests of several rounds may arrive together, more than the queue holds. */
    static void send_at_once(const Descriptor &phone)
    {
        const int on = 1;
        setsockopt(phone.get(), IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    }

    /* It may have been dropped. */
    static void ask(const Descriptor &phone, const Bytes &request)
    {
        send(phone.get(), request.data(), request.size(), MSG_DONTWAIT | MSG_NOSIGNAL);
    }

    std::vector<Descriptor> phones_;
};

std::string text(std::vector<double> values, const char *what)
{
    return text(spread_of(values)) + " (" + std::to_string(values.size()) + " " + what + ")";
}

void append(std::vector<double> *to, const std::vector<double> &values)
{
    to->insert(to->end(), values.begin(), values.end());
}

/* The most that was allocated since the watch began, beyond what was before. */
uint32_t end_watch(const Host &host, const Holdings &before)
{
    Board &board = host.board();
    board.watch = 0;
    const uint32_t most_kb = board.most_kb.exchange(0);
    return most_kb - std::min(most_kb, static_cast<uint32_t>(before.allocated_kb));
}

void expect_bounded(const Run &run, uint32_t most_kb, uint32_t besides_kb)
{
    const uint32_t bound_kb = run.guard.send_backlog_bytes / 1024 * 4;
    holds(run, most_kb <= bound_kb + besides_kb,
          "four times send_backlog_bytes are kept at most: %u KB, not %u KB", bound_kb + besides_kb,
          most_kb);
}

void expect_release(const Run &run, const Host &host, const Holdings &before)
{
    holds(run, host.wait_for_no_more_than(before, SPARE_KB), "all is given back: %s -> %s",
          text(before).c_str(), text(host.holdings()).c_str());
}

/* ---- Within the bound: who reads nothing is dropped after send_stall_ms */

struct Figures {
    std::vector<double> alone;
    std::vector<double> behind_list;
    std::vector<double> filling;
    std::vector<double> full;
    double first_dropped_ms;
    double all_dropped_ms;
    uint32_t most_kb;
};

uint32_t list_size(const Run &run)
{
    return run.brief ? 4U << 20 : 16U << 20;
}

/* The requests are worked off in order: when a key is answered, those before it have been. */
void fill(Honest &honest, const Silent &silent, size_t rounds)
{
    bool goes_on = true;
    for (size_t i = 0; i < rounds && goes_on; i++) {
        silent.ask_for_numbers();
        goes_on = honest.press();
    }
}

/* At every fiftieth key it counts them: the system takes milliseconds for that. */
bool press_until_left(Honest &honest, size_t most)
{
    size_t keys = 0;
    return honest.press_until([&] { return keys++ % 50 == 0 && silent_connected() <= most; });
}

/* The worker makes the list itself, for as long as that takes. */
void ask_for_list(const Host &host, Honest &honest, const Silent &silent)
{
    const uint32_t calls = host.board().calls;
    silent.ask_for_list();
    wait_until([&] { return host.board().calls != calls; });
    honest.press_behind_list();
}

/* One of the silent ones asks for a list, then each of the others for a megabyte. */
void stop_reading(const Run &run, const Host &host, Honest &honest, Figures *figures)
{
    Board &board = host.board();
    const Holdings before = host.holdings();
    const uint32_t stalled = board.stalled;
    Silent silent(run);
    size_t keys = 0;
    honest.press_until([&] { return keys++ == KEYS_ALONE; });
    append(&figures->alone, honest.take_trips());

    board.watch = 1;
    const Clock::time_point begin = Clock::now();
    ask_for_list(host, honest, silent);
    append(&figures->behind_list, honest.take_trips());
    board.event_rate = 20; /* not before: on a slow machine they alone would fill a connection */
    fill(honest, silent, 5);
    append(&figures->filling, honest.take_trips());
    press_until_left(honest, SILENT - 1);
    figures->first_dropped_ms = milliseconds_since(begin);
    holds(run, press_until_left(honest, 0), "phones that read nothing are dropped");
    figures->all_dropped_ms = milliseconds_since(begin);
    append(&figures->full, honest.take_trips());
    figures->most_kb = std::max(figures->most_kb, end_watch(host, before));
    board.event_rate = 0;
    host.holdings(); /* answered when the last event has been reported */
    holds(run, honest.wait_for_events(board.reported), "every event arrives once and in order");
    wait_until([&] { return board.stalled - stalled >= SILENT; });
    holds(run, board.stalled - stalled == SILENT, "%u lines for %zu phones that are dropped",
          board.stalled - stalled, SILENT);
    holds(run, figures->first_dropped_ms >= run.guard.send_stall_ms - 10,
          "none is dropped earlier than send_stall_ms (%.0f ms)", figures->first_dropped_ms);
    expect_release(run, host, before);
}

void print(const Run &run, const Figures &figures, const Honest &honest)
{
    figure(run, "17 phones, 16 of them silent: a key takes %s",
           text(figures.alone, "keys").c_str());
    figure(run, "one asks for the list and reads nothing: the next key takes %s",
           text(figures.behind_list, "keys").c_str());
    figure(run, "15 ask for 1 MB each and read nothing: a key takes %s",
           text(figures.filling, "keys").c_str());
    figure(run, "until the last of the 16 is dropped: a key takes %s",
           text(figures.full, "keys").c_str());
    figure(run, "an event takes %s", text(honest.event_delays(), "events").c_str());
    figure(run, "dropped %.0f to %.0f ms after the first request; up to %u KB more allocated",
           figures.first_dropped_ms, figures.all_dropped_ms, figures.most_kb);
}

void run_within(Run run)
{
    run.guard.send_stall_ms = 2000; /* also in the short form: enough to make the replies */
    const Host host(run);
    host.board().answer_size = REPLY_SIZE;
    host.board().list_size = list_size(run);
    Honest honest(run);
    figure(run, "a list of %u bytes is a frame of %zu", list_size(run), honest.fetch_list());
    Figures figures = {};
    const int times = run.long_form ? 20 : 1;
    for (int i = 0; i < times && all_held(); i++) {
        stop_reading(run, host, honest, &figures);
    }
    print(run, figures, honest);
    expect_bounded(run, figures.most_kb, 4 * list_size(run) / 1024 + REPLIES_IN_WORK_KB);
}

/* ---- Beyond the bound: who would have more kept is dropped at once */

/* They ask for 8 MB each: nearly four times as much as is kept for all together. */
void ask_for_too_much(const Run &run, const Host &host, Honest &honest)
{
    Board &board = host.board();
    const Holdings before = host.holdings();
    const uint32_t refused = board.refused;
    Silent silent(run);
    board.watch = 1;
    fill(honest, silent, 40);
    const size_t left = silent_connected();
    const uint32_t most_kb = end_watch(host, before);
    figure(run,
           "15 ask for 8 MB each: %zu of 16 are left, up to %u KB more allocated; a key takes %s",
           left, most_kb, text(honest.take_trips(), "keys").c_str());
    expect_bounded(run, most_kb, REPLIES_IN_WORK_KB);
    holds(run, board.refused > refused && left < SILENT,
          "phones for which there is no room are dropped (%zu are left)", left);
    silent.hang_up();
    holds(run, press_until_left(honest, 0), "the others hang up");
    honest.take_trips();
    expect_release(run, host, before);
}

void run_beyond(Run run)
{
    run.guard.send_stall_ms = 60000; /* not why a phone is dropped */
    const Host host(run);
    host.board().answer_size = REPLY_SIZE;
    Honest honest(run);
    const int times = run.long_form ? 20 : 1;
    for (int i = 0; i < times && all_held(); i++) {
        ask_for_too_much(run, host, honest);
    }
}

/* ---- Without a guard the worker waits for them, until they hang up */

void run_unbounded(const Run &run)
{
    const Host host(run);
    host.board().answer_size = REPLY_SIZE;
    Honest honest(run);
    const Holdings before = host.holdings();
    Silent silent(run);
    honest.press();
    for (int i = 0; i < 3; i++) {
        silent.ask_for_numbers();
    }
    wait_until([&] { return host.board().calls != 0; }); /* the key comes behind */
    honest.send_key();
    const std::chrono::milliseconds patience(run.long_form ? 20000 : 500);
    const bool answered = honest.is_answered(patience);
    figure(run, "15 ask for 600 KB each and read nothing: a key is %s within %.1f s",
           answered ? "answered" : "not answered", std::chrono::duration<double>(patience).count());
    silent.hang_up();
    holds(run, answered || honest.is_answered(), "a key is answered when they have hung up");
    holds(run, press_until_left(honest, 0), "keys are answered and the others hang up");
    expect_release(run, host, before);
}

} // namespace

void run_backlog(const Run &run)
{
    if (run.guarded) {
        run_within(run);
        run_beyond(run);
    } else {
        run_unbounded(run);
    }
}
