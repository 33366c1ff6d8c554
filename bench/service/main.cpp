/* SPDX-License-Identifier: MIT */
/* The service beside a bare server, redis-server and mosquitto, over loopback.
 *
 *     bench_service [--rows NAME,...] [--brief] [--plain] [--self | --against PROGRAM]
 *
 * Driver and servers run on one core. scripts/bench builds it, installs what it needs and runs it
 * in a network of its own; docs/PERFORMANCE.md reads the rows. */

#include "table.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <iterator>
#include <sched.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace
{

struct Row {
    const char *name;
    void (*run)(Bench *bench);
    bool has_floor; /* where another build can stand in the place of the bare server */
    const char *text;
};

const Row ROWS[] = {
    {"key", run_key, true, "round trip of a key request"},
    {"redis", run_redis, false, "the same beside a PING of redis-server"},
    {"text", run_text, true, "a text answer of 60,000 bytes"},
    {"flight", run_flight, true, "48 requests in flight on one connection"},
    {"many", run_many, true, "a key with 1,000 more phones connected"},
    {"event5", run_event5, true, "an event to 5 phones"},
    {"event500", run_event500, true, "an event to 500 phones, also beside mosquitto"},
    {"list16", run_list16, false, "the longest wait for a key during a list of 16 MiB"},
    {"allocations", run_allocations, false, "blocks of memory that requests and events take"},
    {"memory", run_memory, false, "resident memory with 0 and 500 phones"},
    {"search", run_search, false, "how long the answer to a search takes beyond its delay"},
    {"stop", run_stop, false, "time of ipp_finish"},
    {"idle", run_idle, false, "wake-ups and processor time with 0 and 1,000 silent phones"},
};

const rlim_t DESCRIPTORS = 8192;

} // namespace

[[noreturn]] static void print_usage()
{
    std::fputs("bench_service [--rows NAME,...] [--brief] [--plain] [--self | --against PROGRAM]\n"
               "rows:\n",
               stderr);
    for (const Row &row : ROWS) {
        std::fprintf(stderr, "  %-12s %s\n", row.name, row.text);
    }
    std::exit(2);
}

static Bench read_options(int argc, char **argv)
{
    Bench bench = {std::filesystem::read_symlink("/proc/self/exe"), "", "", false, false, "", true};
    for (int i = 1; i < argc; i++) {
        const std::string option = argv[i];
        if (option == "--brief") {
            bench.brief = true;
        } else if (option == "--plain") {
            bench.plain = true;
        } else if (option == "--self") {
            bench.other = bench.program;
        } else if (option == "--against" && i + 1 < argc) {
            bench.other = argv[++i];
        } else if (option == "--rows" && i + 1 < argc) {
            bench.rows = argv[++i];
        } else {
            print_usage();
        }
    }
    return bench;
}

static void prepare_process()
{
    const rlimit limit = {DESCRIPTORS, DESCRIPTORS};
    cpu_set_t core;
    CPU_ZERO(&core);
    CPU_SET(static_cast<size_t>(sched_getcpu()), &core);
    if (setrlimit(RLIMIT_NOFILE, &limit) != 0 || sched_setaffinity(0, sizeof core, &core) != 0 ||
        prctl(PR_SET_CHILD_SUBREAPER, 1) != 0) {
        fail("8,192 descriptors and one core");
    }
}

static bool is_wanted(const Bench &bench, const Row &row)
{
    const std::string names = "," + bench.rows + ",";
    const bool named = names.find(std::string(",") + row.name + ",") != std::string::npos;
    return (bench.rows.empty() || named) && (bench.other.empty() || row.has_floor);
}

/* False when the row failed, or found that the program differs from itself. */
static bool run_row(const Row &row, Bench bench)
{
    int status = 0;
    const pid_t child = fork();
    if (child == 0) {
        bench.row = row.name;
        row.run(&bench);
        const bool differs = bench.other == bench.program && !bench.exact;
        std::fputs(differs ? "More than 2 % from 1.\n" : "", stdout);
        std::exit(differs ? 1 : 0);
    }
    waitpid(child, &status, 0);
    while (wait(nullptr) > 0) { /* its servers, which end with it */
    }
    return status == 0;
}

static int run(const Bench &bench)
{
    bool done = true;
    prepare_process();
    print_head();
    for (const Row &row : ROWS) {
        done = (!is_wanted(bench, row) || run_row(row, bench)) && done;
    }
    return done ? 0 : 1;
}

int main(int argc, char **argv)
{
    if (argc == 4 && std::strcmp(argv[1], "--serve") == 0) {
        return host_serve(static_cast<uint32_t>(std::atoi(argv[2])),
                          std::strcmp(argv[3], "plain") == 0);
    }
    if (argc == 2 && std::strcmp(argv[1], "--bare") == 0) {
        return bare_host_serve();
    }
    const Bench bench = read_options(argc, argv);
    if (std::none_of(std::begin(ROWS), std::end(ROWS),
                     [&](const Row &row) { return is_wanted(bench, row); })) {
        print_usage();
    }
    return run(bench);
}
