/* SPDX-License-Identifier: MIT */
#include "table.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

static constexpr double EXACT = 0.02;
static constexpr int RECOMMENDED_PHONES = 64;

/* ---- Servers. Two services need networks of their own, since their ports are fixed. */

static Server start(const Bench &bench, const std::string &program, int most_phones)
{
    const bool own_network = !bench.other.empty();
    std::vector<std::string> command = {program, "--serve",
                                        std::to_string(std::max(most_phones, RECOMMENDED_PHONES)),
                                        bench.plain ? "plain" : "guarded"};
    if (own_network) {
        command.insert(command.begin(), TVLINK_IN_NAMESPACE);
    }
    return start_server(command, own_network);
}

Server start_service(const Bench &bench, int most_phones)
{
    return start(bench, bench.program, most_phones);
}

Server start_floor(const Bench &bench, int most_phones)
{
    return bench.other.empty() ? start_server({bench.program, "--bare"}, false)
                               : start(bench, bench.other, most_phones);
}

const char *floor_name(const Bench &bench)
{
    return bench.other.empty() ? "bare" : bench.other == bench.program ? "itself" : "other";
}

int amount(const Bench &bench, int full, int brief)
{
    return bench.brief ? brief : full;
}

/* ---- Figures */

double percentile(Samples samples, double part)
{
    std::sort(samples.begin(), samples.end());
    return samples[static_cast<size_t>(
        std::lround(part * static_cast<double>(samples.size() - 1)))];
}

double median(int count, const std::function<double()> &measure)
{
    Samples samples(static_cast<size_t>(count));
    std::generate(samples.begin(), samples.end(), measure);
    return percentile(samples, 0.5);
}

static std::string text_of(double value, int places)
{
    char text[32];
    std::snprintf(text, sizeof text, "%.*f", places, value);
    return text;
}

static std::string figure_text(double value, const char *unit)
{
    return text_of(value, value >= 100 ? 0 : value >= 10 ? 1 : 2) + " " + unit;
}

/* ---- The table */

static void print_cells(const char *row, const std::string &what, const std::string &service,
                        const std::string &beside, const std::string &ratio,
                        const std::string &spread)
{
    std::printf("| %-11s | %-44s | %12s | %20s | %5s | %10s |\n", row, what.c_str(),
                service.c_str(), beside.c_str(), ratio.c_str(), spread.c_str());
    std::fflush(stdout);
}

void print_head()
{
    print_cells("Row", "Measured", "Service", "Beside", "Ratio", "p10..p90");
    print_cells("---", "---", "--:", "--:", "--:", "--:");
}

void print_line(const Bench &bench, const std::string &what, double figure, const char *unit)
{
    print_cells(bench.row, what, figure_text(figure, unit), "", "", "");
}

static std::vector<Samples> interleave(const std::vector<Contender> &contenders, int rounds)
{
    std::vector<Samples> figures(contenders.size());
    for (const Contender &contender : contenders) {
        contender.round();
    }
    for (int round = 0; round < rounds; round++) {
        for (size_t i = 0; i < contenders.size(); i++) {
            const size_t turn = round % 2 == 0 ? i : contenders.size() - 1 - i;
            figures[turn].push_back(contenders[turn].round());
        }
    }
    return figures;
}

Samples compare(Bench *bench, const std::string &what, const char *unit, int rounds,
                const std::vector<Contender> &contenders)
{
    const std::vector<Samples> figures = interleave(contenders, rounds);
    const std::string service = figure_text(percentile(figures[0], 0.5), unit);
    for (size_t i = 1; i < contenders.size(); i++) {
        Samples ratios(figures[0]);
        std::transform(ratios.begin(), ratios.end(), figures[i].begin(), ratios.begin(),
                       std::divides<>());
        const double ratio = percentile(ratios, 0.5);
        bench->exact = bench->exact && std::fabs(ratio - 1) <= EXACT;
        print_cells(bench->row, what, service,
                    contenders[i].name + " " + figure_text(percentile(figures[i], 0.5), unit),
                    text_of(ratio, 2),
                    text_of(percentile(ratios, 0.1), 2) + ".." +
                        text_of(percentile(ratios, 0.9), 2));
    }
    return figures[0];
}
