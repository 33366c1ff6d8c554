/* SPDX-License-Identifier: MIT */
/* 10,000 packets a second at the port for searches, from one neighbour. */
#include "hostile/crowd.h"
#include "hostile/host.h"
#include "hostile/run.h"
#include "support/phone.h"

#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>

namespace
{

const double PACKETS_A_SECOND = 10000;
const double SEARCH_EVERY_MS = 500; /* an honest phone that is not answered */
const uint32_t FORGED_ADDRESSES = 1000;

/* What the neighbour sends. */
enum class Flood {
    NONE,
    SEARCHES, /* and as much garbage */
    EMPTY,    /* datagrams without a byte */
    FORGED    /* searches from many addresses */
};

Bytes answer_on(const Descriptor &searching)
{
    Bytes packet(512);
    const ssize_t got = recv(searching.get(), packet.data(), packet.size(), MSG_DONTWAIT);
    packet.resize(got > 0 ? static_cast<size_t>(got) : 0);
    return packet;
}

class Attack
{
public:
    Attack(const Run &run, const Descriptor &phone)
        : run_(run), flooder_(searcher(INADDR_LOOPBACK + 1)),
          honest_(searcher(INADDR_LOOPBACK + 2)), phone_(phone)
    {
    }

    /* How long an honest phone takes to be answered, when it searches until it is, from the given
     * time on; negative: it is not. */
    double find(double most_ms, Flood flood, double first_search_ms = 0)
    {
        const Clock::time_point begin = Clock::now();
        Clock::time_point last = begin - std::chrono::seconds(1);
        double sent = 0;
        while (milliseconds_since(begin) < most_ms) {
            if (milliseconds_since(begin) >= first_search_ms &&
                milliseconds_since(last) >= SEARCH_EVERY_MS) {
                last = Clock::now();
                send_search(honest_, search_packet());
                searches_++;
                trips_.push_back(round_trip());
            }
            const double due = milliseconds_since(begin) * PACKETS_A_SECOND / 1000;
            for (; flood != Flood::NONE && sent < due; sent++) {
                send_one(flood);
            }
            answers_to_flooder_ += answer_on(flooder_).empty() ? 0 : 1;
            const Bytes answer = answer_on(honest_);
            if (!answer.empty()) {
                first_ = first_.empty() ? answer : first_;
                holds(run_, answer == first_, "every answer is the same");
                return milliseconds_since(begin) - first_search_ms;
            }
            wait_for_an_answer();
        }
        return -1;
    }

    /* Honest searches so far. */
    size_t searches() const
    {
        return searches_;
    }

    size_t packets() const
    {
        return packets_;
    }

    size_t answers_to_flooder() const
    {
        return answers_to_flooder_;
    }

    bool flooder_is_answered()
    {
        return wait_until([&] {
            answers_to_flooder_ += answer_on(flooder_).empty() ? 0 : 1;
            return answers_to_flooder_ > 0;
        });
    }

    std::string trips()
    {
        return text(spread_of(trips_));
    }

private:
    /* Or until it is time for the next packets. */
    void wait_for_an_answer() const
    {
        pollfd waiting[] = {{honest_.get(), POLLIN, 0}, {flooder_.get(), POLLIN, 0}};
        poll(waiting, 2, 1);
    }

    void send_one(Flood flood)
    {
        packets_++;
        if (flood == Flood::EMPTY) {
            send_search(flooder_, {});
        } else if (flood == Flood::FORGED) {
            send_search(forged(packets_ % FORGED_ADDRESSES), search_packet());
        } else {
            send_search(flooder_, packets_ % 2 == 0 ? search_packet() : garbage());
        }
    }

    const Descriptor &forged(size_t which)
    {
        for (uint32_t i = 0; forged_.size() < FORGED_ADDRESSES; i++) {
            forged_.push_back(searcher(INADDR_LOOPBACK + 256 + i));
        }
        return forged_[which];
    }

    static Bytes garbage()
    {
        static uint32_t state = 1;
        Bytes packet;
        for (uint32_t i = 0; i <= state % 64; i++) {
            state = state * 1664525 + 1013904223;
            packet.push_back(static_cast<uint8_t>(state >> 24));
        }
        return packet;
    }

    double round_trip() const
    {
        const Clock::time_point sent = Clock::now();
        holds(run_, answers(phone_), "the control port answers");
        return milliseconds_since(sent);
    }

    const Run &run_;
    Descriptor flooder_;
    Descriptor honest_;
    const Descriptor &phone_;
    Bytes first_;
    std::vector<double> trips_;
    std::vector<Descriptor> forged_;
    size_t searches_ = 0;
    size_t packets_ = 0;
    size_t answers_to_flooder_ = 0;
};

std::string found_text(double milliseconds)
{
    return milliseconds < 0
               ? "not found"
               : "found after " + std::to_string(static_cast<int>(milliseconds)) + " ms";
}

/* Before, during and after the flood. */
void run_plain(const Run &run, Attack &attack)
{
    const double alone = attack.find(30000, Flood::NONE);
    holds(run, alone >= 0, "a phone that searches is answered");
    const double flooded =
        attack.find(run.long_form ? 65000 : 500, Flood::SEARCHES, run.long_form ? 5000 : 200);
    figure(run, "searching alone: %s; among %zu packets: %s", found_text(alone).c_str(),
           attack.packets(), found_text(flooded).c_str());
    holds(run, attack.flooder_is_answered(), "searches are answered during the flood");
}

/* A phone that searches so many times, and each time is answered. */
void find_again_and_again(const Run &run, Attack &attack, Flood flood, const char *name, int times)
{
    const size_t packets = attack.packets();
    const size_t searches = attack.searches();
    std::vector<double> found;
    for (int i = 0; i < times; i++) {
        const double milliseconds = attack.find(10000, flood);
        if (!holds(run, milliseconds >= 0, "a phone that searches is answered (%s)", name)) {
            return;
        }
        found.push_back(milliseconds);
    }
    figure(run, "%s: %d times found by %zu searches among %zu packets: %s", name, times,
           attack.searches() - searches, attack.packets() - packets,
           text(spread_of(found)).c_str());
}

/* More addresses than there are places: only a share is answered. */
void find_among_forged(const Run &run, Attack &attack, int searches)
{
    int answered = 0;
    for (int i = 0; i < searches; i++) {
        answered += attack.find(SEARCH_EVERY_MS, Flood::FORGED) >= 0 ? 1 : 0;
    }
    figure(run, "searches from %u forged addresses: %d of %d honest ones are answered",
           FORGED_ADDRESSES, answered, searches);
}

void run_guarded(const Run &run, Attack &attack)
{
    const int times = run.long_form ? 200 : 5;
    find_again_and_again(run, attack, Flood::NONE, "alone", times);
    find_again_and_again(run, attack, Flood::SEARCHES, "searches and garbage", times);
    find_again_and_again(run, attack, Flood::EMPTY, "empty datagrams", times);
    holds(run, attack.flooder_is_answered(), "searches are answered during the flood");
    if (run.long_form) {
        find_among_forged(run, attack, 100);
    }
}

} // namespace

void run_search_flood(const Run &run)
{
    const Host host(run);
    const Descriptor phone = connect_phone();
    Attack attack(run, phone);
    run.guarded ? run_guarded(run, attack) : run_plain(run, attack);
    figure(run, "answers to who floods: %zu; control port meanwhile: %s",
           attack.answers_to_flooder(), attack.trips().c_str());
    if (run.long_form) {
        const double after = attack.find(120000, Flood::NONE);
        holds(run, after >= 0, "a phone that searches is answered after the flood");
        figure(run, "searching once it is over: %s", found_text(after).c_str());
    }
}
