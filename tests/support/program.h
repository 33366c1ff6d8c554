/* SPDX-License-Identifier: MIT */
/* Other programs that run beside a test. */
#pragma once

#include "support/network.h"
#include "support/sockets.h"
#include "support/wait_until.h"

#include <optional>
#include <string>
#include <vector>

#include <sys/types.h>

/* Started by its constructor, in the given network or that of the calling thread; killed at the end
 * of its scope, or of that thread, if it still runs then. */
class Program
{
public:
    Program(const std::string &path, const std::vector<std::string> &arguments,
            const Network *network = nullptr);
    ~Program();
    Program(const Program &) = delete;
    Program &operator=(const Program &) = delete;

    /* All that it has written so far. */
    std::string out() const;
    std::string err() const;

    /* Waits until its standard output contains the text, so many times. */
    bool wait_for(const std::string &text, size_t times = 1) const;

    void signal(int number) const;

    /* Its exit status; 1000 and the signal's number when one ended it; nothing when it still runs
     * after this time. */
    std::optional<int> wait_for_exit(std::chrono::milliseconds deadline = PATIENCE);

    pid_t id() const;

private:
    Descriptor out_;
    Descriptor err_;
    pid_t id_;
    std::optional<int> status_;
};

/* What a program that has ended leaves behind. */
struct Finished {
    std::optional<int> status; /* as Program::wait_for_exit */
    std::string out;
    std::string err;
};

/* Starts the program and waits for its end. */
Finished run_program(const std::string &path, const std::vector<std::string> &arguments,
                     const Network *network = nullptr);

std::string first_line(const std::string &text); /* without its newline */
