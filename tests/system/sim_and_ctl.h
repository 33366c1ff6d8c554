/* SPDX-License-Identifier: MIT */
/* The two tools as programs, the way a person starts them. */
#pragma once

#include "support/program.h"

#include "tvlink.h"

#include <gtest/gtest.h>

#include <cctype>
#include <memory>
#include <regex>
#include <sstream>

#include <sys/socket.h>
#include <sys/time.h>

using Words = std::vector<std::string>;

/* Starts a simulated television and waits until it serves. Null, and a failure, if it does not. */
inline std::unique_ptr<Program> start_sim(const Words &arguments = {})
{
    auto sim = std::make_unique<Program>(TVLINK_SIM_PATH, arguments);
    const bool started = wait_until(
        [&] {
            return sim->out().find("Ctrl-C stops\n") != std::string::npos ||
                   sim->out().find("\"kind\":\"start\"") != std::string::npos;
        },
        3 * PATIENCE); /* it may have long files to read */
    EXPECT_TRUE(started) << sim->out() << sim->err();
    return started ? std::move(sim) : nullptr;
}

/* What a line of the television's says behind its time; the whole line when it has none. */
inline std::string without_time(const std::string &line)
{
    const std::string form = "00:00:00.000 ";
    bool has_time = line.size() > form.size();
    for (size_t i = 0; has_time && i < form.size(); i++) {
        has_time =
            form[i] == '0' ? isdigit(static_cast<unsigned char>(line[i])) != 0 : line[i] == form[i];
    }
    return has_time ? line.substr(form.size()) : line;
}

/* The lines of the television's that begin with the time, without it, in the order of printing. */
inline Words timed_lines(const std::string &out)
{
    Words lines;
    std::istringstream text(out);
    for (std::string line; std::getline(text, line);) {
        if (without_time(line) != line) {
            lines.push_back(without_time(line));
        }
    }
    return lines;
}

/* Waits until the television has printed these lines in this order, whatever stands between them.
 */
inline bool wait_for_lines(const Program &sim, const Words &expected)
{
    return wait_until([&] {
        size_t found = 0;
        for (const std::string &line : timed_lines(sim.out())) {
            found += found < expected.size() && line == expected[found] ? 1 : 0;
        }
        return found == expected.size();
    });
}

/* What the television has printed, without the times, and without what the service prints about
 * searches, connections and requests: calls and events are left, and what it printed at its start
 * and end. */
inline std::string calls_in(const std::string &out)
{
    const std::string caller = "127.0.0.1";
    std::string calls;
    std::istringstream text(out);
    for (std::string line; std::getline(text, line);) {
        const std::string words = without_time(line);
        if (words.compare(0, caller.size() + 2, caller + ": ") == 0) {
            calls += words.substr(caller.size() + 2) + "\n";
        } else if (words.compare(0, caller.size() + 1, caller + " ") != 0) {
            calls += words + "\n";
        }
    }
    return calls;
}

/* The JSON lines with one time for all; a line whose time has another form keeps it. */
inline std::string with_one_time(const std::string &out)
{
    static const std::regex time(
        "\"time\":\"\\d{4}-\\d\\d-\\d\\dT\\d\\d:\\d\\d:\\d\\d\\.\\d{3}[+-]\\d\\d:\\d\\d\"");
    return std::regex_replace(out, time, "\"time\":\"T\"");
}

/* Waits until the television has printed this line of JSON. */
inline bool wait_for_json(const Program &sim, const std::string &line)
{
    return wait_until([&] {
        return ("\n" + with_one_time(sim.out())).find("\n" + line + "\n") != std::string::npos;
    });
}

/* Waits until the calls and events contain the text, so many times. */
inline bool wait_for_calls(const Program &sim, const std::string &text, size_t times = 1)
{
    return wait_until([&] {
        const std::string calls = calls_in(sim.out());
        size_t count = 0;
        for (size_t at = calls.find(text); at != std::string::npos; at = calls.find(text, at + 1)) {
            count++;
        }
        return count >= times;
    });
}

/* Accepts the connection of a program that may end without one. */
inline Descriptor accept_soon(int listener)
{
    const timeval patience = {30, 0};
    setsockopt(listener, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
    return Descriptor(accept4(listener, nullptr, nullptr, SOCK_CLOEXEC));
}

/* Runs tvlink-ctl to its end. */
inline Finished ctl(const Words &arguments)
{
    return run_program(TVLINK_CTL_PATH, arguments);
}

/* The same, for the television on this machine. */
inline Finished local_ctl(Words arguments)
{
    arguments.insert(arguments.end(), {"--host", "127.0.0.1"});
    return ctl(arguments);
}

inline void expect_output(const Words &arguments, const std::string &out)
{
    const Finished result = local_ctl(arguments);
    EXPECT_EQ(result.status, 0) << testing::PrintToString(arguments) << result.err;
    EXPECT_EQ(result.out, out) << testing::PrintToString(arguments);
    EXPECT_EQ(result.err, "") << testing::PrintToString(arguments);
}

/* It ends with this status, this output, and this first line on standard error. */
inline void expect_failure(const Finished &result, int status, const std::string &out,
                           const std::string &complaint)
{
    EXPECT_EQ(result.status, status) << result.err;
    EXPECT_EQ(result.out, out);
    EXPECT_EQ(first_line(result.err), complaint);
}
