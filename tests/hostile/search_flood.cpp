/* 10,000 search packets a second, half of them garbage. */
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

    /* How long an honest phone takes to be answered, when it searches every 500 ms, from the given
     * time on; negative: it is not. */
    double find(double most_ms, bool flooded, double first_search_ms = 0)
    {
        const Clock::time_point begin = Clock::now();
        Clock::time_point last = begin - std::chrono::seconds(1);
        double sent = 0;
        while (milliseconds_since(begin) < most_ms) {
            if (milliseconds_since(begin) >= first_search_ms && milliseconds_since(last) >= 500) {
                last = Clock::now();
                send_search(honest_, search_packet());
                trips_.push_back(round_trip());
            }
            const double due = milliseconds_since(begin) * PACKETS_A_SECOND / 1000;
            for (; flooded && sent < due; sent++) {
                send_search(flooder_, packets_++ % 2 == 0 ? search_packet() : garbage());
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
    size_t packets_ = 0;
    size_t answers_to_flooder_ = 0;
};

std::string found_text(double milliseconds)
{
    return milliseconds < 0
               ? "not found"
               : "found after " + std::to_string(static_cast<int>(milliseconds)) + " ms";
}

} // namespace

void run_search_flood(const Run &run)
{
    const Host host(run);
    const Descriptor phone = connect_phone();
    Attack attack(run, phone);
    const double alone = attack.find(30000, false);
    holds(run, alone >= 0, "a phone that searches is answered");
    const double flooded =
        attack.find(run.long_form ? 65000 : 500, true, run.long_form ? 5000 : 200);
    figure(run, "searching alone: %s; among %zu packets: %s", found_text(alone).c_str(),
           attack.packets(), found_text(flooded).c_str());
    holds(run, attack.flooder_is_answered(), "searches are answered during the flood");
    figure(run, "answers to who floods: %zu; control port meanwhile: %s",
           attack.answers_to_flooder(), attack.trips().c_str());
    if (run.long_form) {
        const double after = attack.find(120000, false);
        holds(run, after >= 0, "a phone that searches is answered after the flood");
        figure(run, "searching once it is over: %s", found_text(after).c_str());
    }
}
