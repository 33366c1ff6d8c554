/* SPDX-License-Identifier: MIT */
/* The host is suspended for 40 seconds; meanwhile phones send, leave and come. In the short form
 * only the time of day goes on by so much, in the long form all time does. */
#include "hostile/crowd.h"
#include "hostile/host.h"
#include "hostile/run.h"
#include "hostile/time_of_day.h"
#include "support/phone.h"

#include <csignal>
#include <cstring>
#include <optional>

#include <linux/sockios.h>
#include <sys/ioctl.h>
#include <sys/wait.h>

namespace
{

const size_t SPARE_KB = 64;
const size_t TYPE_AT = 50;
const uint8_t EVENT = 0x09;
const uint8_t HEARTBEAT = 0xEE;
const size_t REQUESTS = 5;

/* A phone that reads, and what it has read. */
class Reader
{
public:
    Reader() : phone_(connect_phone()), inbox_(phone_.get())
    {
    }

    void send(const Bytes &data) const
    {
        send_bytes(phone_.get(), data);
        wait_until([this] {
            int unsent = 0;
            return ioctl(phone_.get(), SIOCOUTQ, &unsent) == 0 && unsent == 0;
        });
    }

    void read()
    {
        inbox_.take([this](const uint8_t *frame, size_t size) {
            if (frame[TYPE_AT] == EVENT) {
                take_event(frame);
            } else if (frame[TYPE_AT] == HEARTBEAT) {
                heartbeats_++;
            } else {
                replies_.emplace_back(frame, frame + size);
            }
        });
    }

    bool wait_for(size_t heartbeats, size_t replies)
    {
        return wait_until([&] {
            read();
            return heartbeats_ >= heartbeats && replies_.size() >= replies;
        });
    }

    /* Nothing but these has come, the replies in this order. */
    bool has(size_t heartbeats, const std::vector<Bytes> &replies) const
    {
        return heartbeats_ == heartbeats && replies_ == replies && !inbox_.ended();
    }

    /* Every event from the first that came to the last that was reported, in order. */
    bool wait_for_event(uint32_t last)
    {
        return wait_until([&] {
                   read();
                   return next_event_ > last || inbox_.ended();
               }) &&
               in_order_ && next_event_ == last + 1;
    }

    uint32_t first_event() const
    {
        return first_event_;
    }

    Descriptor &socket()
    {
        return phone_;
    }

private:
    void take_event(const uint8_t *frame)
    {
        EventHead head = {0, 0};
        std::memcpy(&head, frame + EVENT_DATA_AT, sizeof head);
        const uint32_t number = static_cast<uint32_t>(head.number);
        first_event_ = next_event_ == 0 ? number : first_event_;
        in_order_ = in_order_ && (next_event_ == 0 || number == next_event_);
        next_event_ = number + 1;
    }

    Descriptor phone_;
    Inbox inbox_;
    size_t heartbeats_ = 0;
    std::vector<Bytes> replies_;
    uint32_t first_event_ = 0;
    uint32_t next_event_ = 0;
    bool in_order_ = true;
};

std::string request(size_t number)
{
    return "request " + std::to_string(number);
}

/* In order of connection. The first one is silent: whom the pass that was under way drops. */
struct Phones {
    Descriptor silent = connect_phone();
    Reader beating;
    Reader asking;
    Descriptor also_silent = connect_phone();
    Reader halfway;
    Descriptor hanging_up = connect_phone();
    Descriptor resetting = connect_phone();
    Descriptor silent_too = connect_phone();
    std::optional<Reader> coming;
};

class Suspension
{
public:
    Suspension(const Run &run, const Host &host, TimeOfDay *clock) : host_(host), clock_(clock)
    {
        int status = 0;
        kill(host.id(), SIGSTOP);
        holds(run, waitpid(host.id(), &status, WUNTRACED) == host.id() && WIFSTOPPED(status),
              "the host is suspended");
    }

    ~Suspension()
    {
        kill(host_.id(), SIGCONT);
    }

    Suspension(const Suspension &) = delete;
    Suspension &operator=(const Suspension &) = delete;

    /* The kernel's own time is what the long form is about: it cannot be taken over. */
    void last(std::chrono::seconds time)
    {
        if (clock_ != nullptr) {
            clock_->set(clock_->now() + static_cast<uint64_t>(time.count()));
        } else {
            const Clock::time_point end = Clock::now() + time;
            wait_until([&] { return Clock::now() >= end; }, time + PATIENCE);
        }
    }

private:
    const Host &host_;
    TimeOfDay *clock_;
};

/* Each was heard just before. */
void connect_all(const Run &run, Phones *phones)
{
    for (const Descriptor *phone :
         {&phones->silent, &phones->beating.socket(), &phones->asking.socket(),
          &phones->also_silent, &phones->halfway.socket(), &phones->hanging_up, &phones->resetting,
          &phones->silent_too}) {
        holds(run, answers(*phone), "a phone that connects is answered");
    }
}

void live_through(const Run &run, const Host &host, TimeOfDay *clock, Phones *phones)
{
    const Bytes &heartbeat = phone_heartbeat();
    phones->halfway.send(Bytes(heartbeat.begin(), heartbeat.begin() + 36));
    Suspension suspension(run, host, clock);
    for (size_t i = 0; i < 3; i++) {
        suspension.last(std::chrono::seconds(10));
        phones->beating.send(heartbeat);
    }
    for (size_t i = 0; i < REQUESTS; i++) {
        phones->asking.send(call_frame(request(i)));
    }
    phones->halfway.send(Bytes(heartbeat.begin() + 36, heartbeat.end()));
    phones->hanging_up.close();
    reset(phones->resetting);
    phones->coming.emplace();
    phones->coming->send(joined({heartbeat, call_frame("new")}));
    suspension.last(std::chrono::seconds(10));
}

void expect_answers(const Run &run, Phones *phones)
{
    std::vector<Bytes> replies;
    for (size_t i = 0; i < REQUESTS; i++) {
        replies.push_back(call_reply(request(i)));
    }
    holds(run, phones->beating.wait_for(3, 0) && phones->beating.has(3, {}),
          "three heartbeats are answered");
    holds(run, phones->asking.wait_for(0, REQUESTS) && phones->asking.has(0, replies),
          "%zu requests are answered in order", REQUESTS);
    holds(run, phones->halfway.wait_for(1, 0) && phones->halfway.has(1, {}),
          "a heartbeat of which half was there before is answered");
    holds(run, phones->coming->wait_for(1, 1) && phones->coming->has(1, {call_reply("new")}),
          "who connected meanwhile is served");
    figure(run,
           "answered: 3 heartbeats, %zu requests in order, a heartbeat sent by halves, and a "
           "phone that connected meanwhile",
           REQUESTS);
}

/* Nobody else's bytes are needed: a pass lasts at most a second and a half. */
void expect_silent_to_end(const Run &run, Phones *phones)
{
    const Clock::time_point begin = Clock::now();
    const bool ended = wait_until([&] {
        phones->beating.send(phone_heartbeat()); /* a pass more */
        phones->beating.read();
        return has_ended(phones->silent) && has_ended(phones->also_silent) &&
               has_ended(phones->silent_too);
    });
    holds(run, ended, "silent phones are dropped");
    figure(run, "three silent phones dropped within %.0f ms", milliseconds_since(begin));
}

/* The host's events of before, of the suspension and of afterwards. */
void expect_events(const Run &run, const Host &host, Phones *phones)
{
    Board &board = host.board();
    board.event_rate = 0;
    const Holdings now = host.holdings(); /* answered when it has reported the last */
    const uint32_t last = board.reported - 1;
    for (Reader *reader : {&phones->beating, &phones->asking, &phones->halfway}) {
        holds(run, reader->wait_for_event(last) && reader->first_event() == 0,
              "events 0 to %u come once and in order", last);
    }
    holds(run, phones->coming->wait_for_event(last), "events to %u come to the new phone", last);
    figure(run, "%u events once and in order; the new phone has them from %u on", last + 1,
           phones->coming->first_event());
    figure(run, "%s", text(now).c_str());
}

} // namespace

void run_suspended(const Run &run)
{
    std::optional<TimeOfDay> clock;
    if (!run.long_form) {
        clock.emplace();
    }
    const Host host(run);
    Board &board = host.board();
    {
        const Descriptor first = connect_phone();
        holds(run, answers(first), "a phone that connects is answered");
    }
    const Holdings before = host.holdings();
    {
        Phones phones;
        connect_all(run, &phones);
        board.event_rate = run.long_form ? 1 : 20; /* silent phones have room for them */
        holds(run, wait_until([&] { return board.reported >= 2; }), "events are reported");
        const Clock::time_point begin = Clock::now();
        live_through(run, host, clock ? &*clock : nullptr, &phones);
        figure(run, "suspended for 40 s, really %.1f s", milliseconds_since(begin) / 1000);
        expect_answers(run, &phones);
        expect_silent_to_end(run, &phones);
        const uint32_t reported = board.reported;
        holds(run, wait_until([&] { return board.reported > reported; }), "events go on");
        expect_events(run, host, &phones);
    }
    holds(run, host.wait_for_no_more_than(before, SPARE_KB), "all is given back: %s -> %s",
          text(before).c_str(), text(host.holdings()).c_str());
}
