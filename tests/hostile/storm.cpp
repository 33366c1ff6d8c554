/* SPDX-License-Identifier: MIT */
/* 1,000 connects a second, ended by close, by reset, by half a frame, or not at all. */
#include "hostile/crowd.h"
#include "hostile/host.h"
#include "hostile/run.h"
#include "support/phone.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <deque>
#include <memory>

#include <fcntl.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>

namespace
{

const size_t SPARE_KB = 640; /* among them 24 bytes for each of the most connections at once */
/* What came while the backlog was full the kernel brings later, after ever longer pauses; what is
 * silent then has half a minute more, and the service ends one in a pass, which takes the longer
 * the more there are. */
const std::chrono::seconds LONGEST_FAREWELL(600);
const size_t KEPT_MOST = 12000; /* silent connections */

/* What the kernel could not take: each is a phone that tries again after a second. */
struct Overflows {
    long listen;
    long drops;
};

/* The value that stands in the second line where the first has the name. */
long counter(const std::string &names, const std::string &values, const char *name)
{
    size_t name_at = 0;
    size_t value_at = 0;
    const std::string wanted = name;
    while (name_at != std::string::npos && value_at != std::string::npos) {
        const size_t end = names.find_first_of(" \n", name_at);
        if (names.substr(name_at, end - name_at) == wanted) {
            return std::atol(values.c_str() + value_at);
        }
        name_at = names.find(' ', name_at);
        value_at = values.find(' ', value_at);
        name_at += name_at == std::string::npos ? 0 : 1;
        value_at += value_at == std::string::npos ? 0 : 1;
    }
    return -1;
}

Overflows overflows()
{
    const std::unique_ptr<FILE, int (*)(FILE *)> file(std::fopen("/proc/self/net/netstat", "re"),
                                                      std::fclose);
    static char names[16384];
    static char values[16384];
    while (file != nullptr && std::fgets(names, sizeof names, file.get()) != nullptr &&
           std::fgets(values, sizeof values, file.get()) != nullptr) {
        if (std::strncmp(names, "TcpExt:", 7) == 0) {
            return {counter(names, values, "ListenOverflows"),
                    counter(names, values, "ListenDrops")};
        }
    }
    return {-1, -1};
}

enum Ending { BY_CLOSE, BY_RESET, BY_HALF_A_FRAME, BY_SILENCE, ENDINGS };

struct Connecting {
    Descriptor phone;
    Clock::time_point start;
    Ending ending;
};

/* From many addresses: one has too few ports for so many connections that are not quite over. */
Descriptor begin_connection(size_t number)
{
    Descriptor phone(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    const int on = 1;
    setsockopt(phone.get(), IPPROTO_IP, IP_BIND_ADDRESS_NO_PORT, &on, sizeof on);
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(0x7F010001U + static_cast<uint32_t>(number % 200));
    bind(phone.get(), reinterpret_cast<const sockaddr *>(&address), sizeof address);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(IPP_CONTROL_PORT);
    connect(phone.get(), reinterpret_cast<const sockaddr *>(&address), sizeof address);
    return phone;
}

class Storm
{
public:
    /* The steady phone was there before; it wants its heartbeats answered throughout. */
    explicit Storm(const Descriptor &steady) : steady_(steady), inbox_(steady.get())
    {
    }

    void blow(double rate, double duration_ms, bool only_close)
    {
        const Clock::time_point begin = Clock::now();
        double due = 0;
        for (double begun = 0; milliseconds_since(begin) < duration_ms;) {
            due = milliseconds_since(begin) * rate / 1000;
            for (; begun < due && connecting_.size() < 500; begun++) {
                const Ending ending = static_cast<Ending>(number_ % ENDINGS);
                connecting_.push_back(
                    {begin_connection(number_++), Clock::now(), only_close ? BY_RESET : ending});
            }
            begun = std::max(begun, due - 500); /* a storm does not wait for the slow */
            end_connected();
            ask_steady();
            wait_for_connected();
        }
    }

    void calm()
    {
        wait_until([&] {
            end_connected();
            ask_steady();
            return connecting_.empty();
        });
    }

    /* Those that stay silent the service ends itself, after a while. Some phones take themselves
     * for connected that the kernel has never handed to the service. */
    bool wait_for_silent_to_end(const Host &host, size_t descriptors)
    {
        return wait_until(
            [&] {
                ask_steady();
                return host.descriptors() <= descriptors;
            },
            LONGEST_FAREWELL);
    }

    void hang_up()
    {
        connecting_.clear();
        silent_.clear();
    }

    size_t connections() const
    {
        return number_;
    }

    std::string connect_times()
    {
        std::vector<double> times;
        times.swap(connect_ms_);
        return text(spread_of(times));
    }

    std::string steady_trips()
    {
        return text(spread_of(trips_ms_)) + " (" + std::to_string(trips_ms_.size()) +
               " heartbeats)";
    }

    /* Nothing but answers, and the last heartbeat has its own. */
    bool steady_is_well()
    {
        return wait_until([&] {
                   ask_steady();
                   return !waiting_ || !well_;
               }) &&
               well_ && !inbox_.ended();
    }

private:
    /* One of those that are connecting, or until it is time for more of them. */
    void wait_for_connected() const
    {
        std::vector<pollfd> entries;
        for (const Connecting &connecting : connecting_) {
            entries.push_back({connecting.phone.get(), POLLOUT, 0});
        }
        poll(entries.data(), entries.size(), 1);
    }

    void end_connected()
    {
        for (size_t left = connecting_.size(); left > 0; left--) {
            Connecting connecting = std::move(connecting_.front());
            connecting_.pop_front();
            pollfd entry = {connecting.phone.get(), POLLOUT, 0};
            if (poll(&entry, 1, 0) <= 0) {
                connecting_.push_back(std::move(connecting));
            } else {
                connect_ms_.push_back(milliseconds_since(connecting.start));
                end(connecting);
            }
        }
        while (silent_.size() > KEPT_MOST) {
            silent_.pop_front();
        }
    }

    void end(Connecting &connecting)
    {
        if (connecting.ending == BY_RESET) {
            reset(connecting.phone);
        } else if (connecting.ending == BY_HALF_A_FRAME) {
            send(connecting.phone.get(), phone_heartbeat().data(), 36, MSG_NOSIGNAL);
        } else if (connecting.ending == BY_SILENCE) {
            silent_.push_back(std::move(connecting.phone));
        }
    }

    void ask_steady()
    {
        if (!waiting_) {
            asked_ = Clock::now();
            send(steady_.get(), phone_heartbeat().data(), phone_heartbeat().size(), MSG_NOSIGNAL);
            waiting_ = true;
        }
        inbox_.take([&](const uint8_t *frame, size_t size) {
            well_ = well_ && Bytes(frame, frame + size) == answer_heartbeat();
            trips_ms_.push_back(milliseconds_since(asked_));
            waiting_ = false;
        });
    }

    const Descriptor &steady_;
    Inbox inbox_;
    std::deque<Connecting> connecting_;
    std::deque<Descriptor> silent_;
    std::vector<double> connect_ms_;
    std::vector<double> trips_ms_;
    Clock::time_point asked_;
    size_t number_ = 0;
    bool waiting_ = false;
    bool well_ = true;
};

/* The kernel keeps the accepted and the not yet accepted apart: so many at once it takes, so many
 * a second. */
void find_limit(const Run &run, Storm &storm)
{
    for (const double rate : {500.0, 1000.0, 2000.0, 3000.0, 4000.0, 6000.0, 8000.0, 12000.0}) {
        const Overflows before = overflows();
        const size_t first = storm.connections();
        const Clock::time_point begin = Clock::now();
        storm.blow(rate, 3000, true);
        const double seconds = milliseconds_since(begin) / 1000;
        const size_t made = storm.connections() - first;
        storm.calm();
        figure(run, "%5.0f a second wanted, %5.0f begun: %ld overflows; connect %s", rate,
               static_cast<double>(made) / seconds, overflows().listen - before.listen,
               storm.connect_times().c_str());
    }
}

/* Whoever has been silent for 300 seconds is not dropped any more, and the plain service drops one
 * in each pass, which without traffic lasts 1.5 s: after the long form most of them miss their
 * turn. */
void await_silent(const Run &run, const Host &host, size_t descriptors, Storm &storm)
{
    const Clock::time_point over = Clock::now();
    const bool ended = storm.wait_for_silent_to_end(host, descriptors);
    if (run.guarded || run.brief) {
        holds(run, ended, "silent connections end (%zu have not)",
              host.descriptors() - descriptors);
    }
    figure(run, "%zu silent connections are left %.1f s after it", host.descriptors() - descriptors,
           milliseconds_since(over) / 1000);
}

double duration_ms(const Run &run)
{
    if (run.brief) {
        return run.long_form ? 60000 : 1000;
    }
    return run.long_form ? 600000 : 60000;
}

} // namespace

void run_storm(const Run &run)
{
    const Host host(run);
    const Descriptor steady = connect_phone();
    holds(run, answers(steady), "a phone that connects is answered");
    const Holdings before = host.holdings();
    const Overflows overflows_before = overflows();
    Storm storm(steady);
    storm.blow(1000, duration_ms(run), false);
    storm.calm();
    const Overflows now = overflows();
    figure(run, "%zu connects: %ld listen overflows, %ld drops; connect %s", storm.connections(),
           now.listen - overflows_before.listen, now.drops - overflows_before.drops,
           storm.connect_times().c_str());
    figure(run, "the phone that was there: %s", storm.steady_trips().c_str());
    figure(run, "at the end of the storm: %s", text(host.holdings()).c_str());
    if (run.long_form) {
        await_silent(run, host, before.descriptors, storm);
    }
    storm.hang_up();
    holds(run, storm.steady_is_well(), "the phone that was there is answered throughout");
    holds(run, host.wait_for_no_more_than(before, SPARE_KB, LONGEST_FAREWELL), "all is given back");
    figure(run, "%s -> %s", text(before).c_str(), text(host.holdings()).c_str());
    if (run.long_form) {
        find_limit(run, storm);
    }
    const Descriptor fresh = connect_phone();
    holds(run, answers(fresh), "a phone that comes afterwards is answered");
}
