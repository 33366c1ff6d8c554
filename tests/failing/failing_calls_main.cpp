/* Lets every call of a system function by the library fail in turn:
 *
 *   failing_calls FUNCTION [MOST]
 *
 * For the first, second, third ... call there is a process of its own. It runs a whole conversation
 * in which that call fails, and another one in which from that call on all fail; then everything
 * must work again. At most MOST places are tried, spread evenly; without it, or with
 * TVLINK_SOAK=long in the environment, all are. */
#include "conversation.h"
#include "failing_calls.h"

#include "support/process_state.h"
#include "support/wait_until.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <sys/wait.h>
#include <unistd.h>

namespace
{

const unsigned LONGEST_S = 10; /* a conversation that takes longer hangs */
const size_t WORKERS = 2;      /* they stay when the service stops */

/* How the process of one case ends. */
enum class End { WELL = 0, NOT_REACHED = 3, WRONG = 1 };

void drop_line(int, const char *, void *)
{
}

void quiet_service()
{
    IppGuard guard = IPP_GUARD_RECOMMENDED;
    guard.bind_wait_ms = 50;    /* a port that is never free would be waited for, ... */
    guard.bulk_accept_ms = 500; /* ... and a capture whose port never reached the phone */
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

/* False, and says so, when there are more descriptors than that. */
bool descriptors_are_closed(size_t most)
{
    const size_t now = open_descriptors().size();
    if (now > most) {
        complain(std::to_string(now - most) + " descriptors stay open");
    }
    return now <= most;
}

bool works_again()
{
    const std::string missed = hold_conversation(Expect::EVERYTHING);
    if (!missed.empty()) {
        complain("the next conversation went without " + missed);
    }
    return missed.empty();
}

End try_one(const std::string &name, long call, bool for_ever)
{
    alarm(LONGEST_S);
    quiet_service();
    const size_t threads = thread_count();
    const size_t descriptors = open_descriptors().size();
    fail_calls(name, call, for_ever);
    hold_conversation(Expect::ANYTHING);
    const bool failed = failed_calls() > 0;
    count_calls();
    if (!threads_have_ended(threads) ||
        !descriptors_are_closed(descriptors + left_open(name, for_ever))) {
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
End try_alone(const std::string &name, long call, bool for_ever)
{
    const pid_t child = fork();
    if (child == 0) {
        std::exit(static_cast<int>(try_one(name, call, for_ever)));
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
long count(const std::string &name)
{
    int ends[2];
    if (pipe(ends) != 0) {
        return 0;
    }
    const pid_t child = fork();
    if (child == 0) {
        quiet_service();
        count_calls();
        const std::string missed = hold_conversation(Expect::EVERYTHING);
        long seen = 0;
        for (const FailingCall &call : failing_calls()) {
            seen = call.name == name ? call.seen : seen;
        }
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
long least_of_three(const std::string &name)
{
    return std::min({count(name), count(name), count(name)});
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

Tally try_all(const std::string &name, long calls, long most)
{
    const long places = most == 0 || most > calls ? calls : most;
    Tally tally = {};
    for (long i = 0; i < places; i++) {
        const long call = 1 + i * calls / places;
        for (const bool for_ever : {false, true}) {
            const auto begin = std::chrono::steady_clock::now();
            const End end = try_alone(name, call, for_ever);
            const std::chrono::duration<double> took = std::chrono::steady_clock::now() - begin;
            tally.longest_s = std::max(tally.longest_s, took.count());
            if (end == End::WRONG) {
                std::printf("%s: call %ld failing %s: WRONG\n", name.c_str(), call,
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
    if (argc < 2 || !find_library()) {
        std::fprintf(stderr, "usage: failing_calls FUNCTION [MOST]\n");
        return 2;
    }
    std::setvbuf(stdout, nullptr, _IOLBF, 0); /* nothing is left in it when a child is made */
    const std::string name = argv[1];
    const long calls = least_of_three(name);
    if (calls == 0) {
        std::printf("%s: not one call was seen\n", name.c_str());
        return EXIT_FAILURE;
    }
    const Tally tally = try_all(name, calls, most_places(argc > 2 ? argv[2] : nullptr));
    std::printf("%s: %ld calls in a conversation; failing once and from then on: %ld well, %ld not "
                "reached, %ld wrong, longest case %.1f s\n",
                name.c_str(), calls, tally.well, tally.not_reached, tally.wrong, tally.longest_s);
    return tally.wrong == 0 && tally.well >= tally.not_reached ? EXIT_SUCCESS : EXIT_FAILURE;
}
