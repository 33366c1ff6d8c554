/* SPDX-License-Identifier: MIT */
/* Lets every call of a system function by the library fail in turn:
 *
 *   failing_calls FUNCTION [MOST]
 *
 * For the first, second, third ... call there is a process of its own. It runs a whole conversation
 * in which that call fails, and another one in which from that call on all fail; then everything
 * must work again. At most MOST places are tried, spread evenly; without it, or with
 * TVLINK_SOAK=long in the environment, all are. */
#include "conversation.h"

#include "support/process_state.h"
#include "support/system_calls.h"
#include "support/wait_until.h"

#include <algorithm>
#include <chrono>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <sys/wait.h>
#include <unistd.h>

namespace
{

const unsigned LONGEST_S = 10;           /* a conversation that takes longer hangs */
const size_t WORKERS = 2;                /* they stay when the service stops */
const useconds_t LONGEST_WAIT_US = 1000; /* of the library */

/* How the process of one case ends. */
enum class End { WELL = 0, NOT_REACHED = 3, WRONG = 1 };

void drop_line(int, const char *, void *)
{
}

void quiet_service()
{
    IppGuard guard = IPP_GUARD_RECOMMENDED;
    guard.bind_wait_ms = 50;      /* a port that is never free would be waited for, ... */
    guard.bulk_accept_ms = 500;   /* ... and a capture whose port never reached the phone */
    guard.max_search_answers = 0; /* a delay before an answer is a sleep, which is shortened */
    ipp_set_guard(&guard);
    ipp_set_log_sink(drop_line, nullptr);
}

/* What the library leaves open on purpose: a socket whose options cannot be set, a connection
 * without a record, a port that was told to a phone, the discovery socket without its thread. */
size_t left_open(const std::string &name, bool for_ever)
{
    const bool leaves =
        name == "malloc" || name == "calloc" || name == "setsockopt" || name == "pthread_create";
    return leaves ? (for_ever ? 3 : 1) : 0;
}

void complain(const std::string &what)
{
    std::printf("    %s\n", what.c_str());
    std::fflush(stdout);
}

bool threads_have_ended(size_t before)
{
    if (wait_until([&] { return thread_count() <= before + WORKERS; })) {
        return true;
    }
    complain(std::to_string(thread_count() - before) + " threads more than at the start");
    return false;
}

/* False, and says so, when there are more descriptors than that. A worker may still have the
 * connection of the request that it runs. */
bool descriptors_are_closed(size_t most)
{
    if (!wait_until([&] { return open_descriptors().size() <= most; })) {
        complain(std::to_string(open_descriptors().size() - most) + " descriptors stay open");
        return false;
    }
    return true;
}

bool works_again()
{
    const std::string missed = hold_conversation(Expect::EVERYTHING);
    if (!missed.empty()) {
        complain("the next conversation went without " + missed);
    }
    return missed.empty();
}

/* Returns whether the call was made. */
bool hold_failing_conversation(SystemFunction &function, long call, bool for_ever)
{
    WatchedCall failing(function, Threads::EVERY);
    failing.fail(function.error, call, for_ever ? LONG_MAX : 1);
    hold_conversation(Expect::ANYTHING);
    return failing.calls() >= call;
}

End try_one(SystemFunction &function, long call, bool for_ever)
{
    alarm(LONGEST_S);
    quiet_service();
    const size_t threads = thread_count();
    const size_t descriptors = open_descriptors().size();
    const bool failed = hold_failing_conversation(function, call, for_ever);
    if (!threads_have_ended(threads) ||
        !descriptors_are_closed(descriptors + left_open(function.name, for_ever))) {
        return End::WRONG;
    }
    const size_t left = open_descriptors().size();
    alarm(LONGEST_S);
    if (!works_again() || !threads_have_ended(threads) || !descriptors_are_closed(left)) {
        return End::WRONG;
    }
    return failed ? End::WELL : End::NOT_REACHED;
}

/* In a process of its own, whose end tells the rest: a crash, a hang, a leak. */
End try_alone(SystemFunction &function, long call, bool for_ever)
{
    const pid_t child = fork();
    if (child == 0) {
        std::exit(static_cast<int>(try_one(function, call, for_ever)));
    }
    int status = 0;
    waitpid(child, &status, 0);
    if (WIFSIGNALED(status)) {
        complain(WTERMSIG(status) == SIGALRM ? "it hangs" : strsignal(WTERMSIG(status)));
        return End::WRONG;
    }
    const End end = static_cast<End>(WEXITSTATUS(status));
    return end == End::WELL || end == End::NOT_REACHED ? end : End::WRONG;
}

/* How often the library calls the function when nothing fails; 0 when the conversation does not
 * work even so. */
long count(SystemFunction &function)
{
    int ends[2];
    if (pipe(ends) != 0) {
        return 0;
    }
    const pid_t child = fork();
    if (child == 0) {
        quiet_service();
        const WatchedCall calls(function, Threads::EVERY);
        const std::string missed = hold_conversation(Expect::EVERYTHING);
        long seen = calls.calls();
        if (!missed.empty()) {
            complain("the conversation in which nothing fails went without " + missed);
            seen = 0;
        }
        const bool told = write(ends[1], &seen, sizeof seen) == sizeof seen;
        std::exit(told ? EXIT_SUCCESS : EXIT_FAILURE);
    }
    long seen = 0;
    waitpid(child, nullptr, 0);
    const bool told = read(ends[0], &seen, sizeof seen) == sizeof seen;
    close(ends[0]);
    close(ends[1]);
    return told ? seen : 0;
}

/* Where the library looks again and again, a machine that is slow sees more calls. */
long least_of_three(SystemFunction &function)
{
    return std::min({count(function), count(function), count(function)});
}

struct Tally {
    double longest_s; /* of all cases */
    long well;
    long not_reached; /* no two conversations make exactly the same calls */
    long wrong;
};

void count_end(Tally *tally, End end)
{
    long &which = end == End::WELL    ? tally->well
                  : end == End::WRONG ? tally->wrong
                                      : tally->not_reached;
    which++;
}

Tally try_all(SystemFunction &function, long calls, long most)
{
    const long places = most == 0 || most > calls ? calls : most;
    Tally tally = {};
    for (long i = 0; i < places; i++) {
        const long call = 1 + i * calls / places;
        for (const bool for_ever : {false, true}) {
            const auto begin = std::chrono::steady_clock::now();
            const End end = try_alone(function, call, for_ever);
            const std::chrono::duration<double> took = std::chrono::steady_clock::now() - begin;
            tally.longest_s = std::max(tally.longest_s, took.count());
            if (end == End::WRONG) {
                std::printf("%s: call %ld failing %s: WRONG\n", function.name, call,
                            for_ever ? "from then on" : "once");
            }
            count_end(&tally, end);
        }
    }
    return tally;
}

long most_places(const char *argument)
{
    const char *form = std::getenv("TVLINK_SOAK");
    const bool all = argument == nullptr || (form != nullptr && std::string(form) == "long");
    return all ? 0 : std::strtol(argument, nullptr, 10);
}

} // namespace

int main(int argc, char **argv)
{
    SystemFunction *function = argc < 2 ? nullptr : find_system_function(argv[1]);
    if (function == nullptr || function->error == 0 || !take_calls_of("libtvlink.so")) {
        std::fprintf(stderr, "usage: failing_calls FUNCTION [MOST]\n");
        return 2;
    }
    const Replaced sleeps(system_usleep, [](useconds_t microseconds) {
        return system_usleep.real(std::min(microseconds, LONGEST_WAIT_US));
    });
    const Replaced passes(system_epoll_wait, [](int epoll, epoll_event *events, int room, int) {
        return system_epoll_wait.real(epoll, events, room, LONGEST_WAIT_US / 1000);
    });
    std::setvbuf(stdout, nullptr, _IOLBF, 0); /* nothing is left in it when a child is made */
    const long calls = least_of_three(*function);
    if (calls == 0) {
        std::printf("%s: not one call was seen\n", function->name);
        return EXIT_FAILURE;
    }
    const Tally tally = try_all(*function, calls, most_places(argc > 2 ? argv[2] : nullptr));
    std::printf("%s: %ld calls in a conversation; failing once and from then on: %ld well, %ld not "
                "reached, %ld wrong, longest case %.1f s\n",
                function->name, calls, tally.well, tally.not_reached, tally.wrong, tally.longest_s);
    return tally.wrong == 0 && tally.well >= tally.not_reached ? EXIT_SUCCESS : EXIT_FAILURE;
}
