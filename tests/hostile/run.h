/* SPDX-License-Identifier: MIT */
/* One run of a scenario: what it is run against, what it prints, and whether everything held. */
#pragma once

#include "tvlink.h"

#include <chrono>
#include <string>
#include <vector>

struct Run {
    const char *name;
    bool guarded;
    bool long_form;
    bool brief;
    IppGuard guard; /* all zero for the plain service */
};

/* One for each program that misbehaves. */
void run_announced_length(const Run &run);
void run_backlog(const Run &run);
void run_captures(const Run &run);
void run_clock(const Run &run);
void run_descriptor_reuse(const Run &run);
void run_drip(const Run &run);
void run_flood(const Run &run);
void run_many_descriptors(const Run &run);
void run_other_protocols(const Run &run);
void run_search_flood(const Run &run);
void run_slow_reader(const Run &run);
void run_storm(const Run &run);
void run_suspended(const Run &run);

/* Prints a line for people. */
void figure(const Run &run, const char *format, ...) __attribute__((format(printf, 2, 3)));

/* What must hold on any machine, however slow. Prints the line when it does not, and remembers. */
bool holds(const Run &run, bool condition, const char *format, ...)
    __attribute__((format(printf, 3, 4)));
bool all_held();

/* In milliseconds; sorts them. */
struct Spread {
    double median;
    double percentile_99;
    double greatest;
};
Spread spread_of(std::vector<double> &values);
std::string text(const Spread &spread);

using Clock = std::chrono::steady_clock;
double milliseconds_since(Clock::time_point start);
