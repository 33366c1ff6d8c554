/* SPDX-License-Identifier: MIT */
#include "hostile/run.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>

static bool everything_held = true;

__attribute__((format(printf, 3, 0))) static void print_line(const Run &run, const char *mark,
                                                             const char *format, va_list arguments)
{
    std::printf("%-16s %-5s | %s", run.name, run.guarded ? "guard" : "plain", mark);
    std::vprintf(format, arguments);
    std::printf("\n");
    std::fflush(stdout);
}

void figure(const Run &run, const char *format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    print_line(run, "", format, arguments);
    va_end(arguments);
}

bool holds(const Run &run, bool condition, const char *format, ...)
{
    if (condition) {
        return true;
    }
    everything_held = false;
    va_list arguments;
    va_start(arguments, format);
    print_line(run, "DOES NOT HOLD: ", format, arguments);
    va_end(arguments);
    return false;
}

bool all_held()
{
    return everything_held;
}

Spread spread_of(std::vector<double> &values)
{
    if (values.empty()) {
        return {0, 0, 0};
    }
    std::sort(values.begin(), values.end());
    return {values[values.size() / 2], values[values.size() * 99 / 100], values.back()};
}

std::string text(const Spread &spread)
{
    char line[96];
    std::snprintf(line, sizeof line, "p50 %.2f ms, p99 %.2f ms, max %.2f ms", spread.median,
                  spread.percentile_99, spread.greatest);
    return line;
}

double milliseconds_since(Clock::time_point start)
{
    return std::chrono::duration<double, std::milli>(Clock::now() - start).count();
}
