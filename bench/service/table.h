/* SPDX-License-Identifier: MIT */
/* The options, the two servers that most rows compare, and the rows of the table. */
#pragma once

#include "driver.h"

#include <functional>
#include <string>
#include <vector>

struct Bench {
    std::string program; /* this one */
    std::string other;   /* another build of it in the place of the bare server; empty: none */
    std::string rows;    /* names between commas; empty: all */
    bool plain;          /* without a guard */
    bool brief;
    const char *row; /* the one that runs */
    bool exact;      /* no ratio of the row is further than 2 % from 1 */
};

Server start_service(const Bench &bench, int most_phones);
Server start_floor(const Bench &bench, int most_phones);
const char *floor_name(const Bench &bench);

/* As many as a full or a brief run wants. */
int amount(const Bench &bench, int full, int brief);

using Samples = std::vector<double>;

double percentile(Samples samples, double part);

/* The median of so many measurements. */
double median(int count, const std::function<double()> &measure);

void print_head();
void print_line(const Bench &bench, const std::string &what, double figure, const char *unit);

/* One of those that are measured side by side: a name, and the figure of one round. */
struct Contender {
    std::string name;
    std::function<double()> round;
};

/* Measures the first, the service, and the others in turn, forwards and backwards, so that other
 * load on the machine affects all alike, and prints a line for each of the others with the median
 * of the rounds' ratios. The first round is for warming up. Returns the service's figures. */
Samples compare(Bench *bench, const std::string &what, const char *unit, int rounds,
                const std::vector<Contender> &contenders);

/* ---- The rows */

void run_key(Bench *bench);
void run_redis(Bench *bench);
void run_text(Bench *bench);
void run_flight(Bench *bench);
void run_many(Bench *bench);
void run_list16(Bench *bench);
void run_event5(Bench *bench);
void run_event500(Bench *bench);
void run_allocations(Bench *bench);
void run_memory(Bench *bench);
void run_search(Bench *bench);
void run_stop(Bench *bench);
void run_idle(Bench *bench);
