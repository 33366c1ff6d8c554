/* SPDX-License-Identifier: MIT */
/* Compressing and expanding: the library beside libtiff, whose LZW also has codes of up to 12 bits,
 * and beside zstd -1 and lz4 where the build has found them.
 *
 *     bench_codec [--short] [--size KIB]... [--sample NAME]... [--rounds N]
 *
 * A round runs every codec once, so that other load affects all alike: compare the ratios. Each is
 * the median over the rounds, with the quartiles behind it, of libtiff's processor time in a round
 * to the codec's in the same round. MB/s are those of the median round. For the library the whole
 * call is measured, for the others the coding alone. Peak memory is heap memory, including the
 * result. --short: three small sizes in few rounds. */

#include "codecs.h"
#include "samples.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <getopt.h>
#include <string>

namespace
{

using Values = std::vector<double>;

struct Options {
    std::vector<size_t> sizes;        /* in KiB */
    std::vector<std::string> samples; /* none: all */
    size_t rounds = 0;                /* 0: by size */
};

/* The rounds of one codec. */
struct Results {
    Values encode;
    Values decode;
    Round last;
};

struct Spread {
    double median;
    double lower;
    double upper;
};

/* Enough for figures that stay the same, and not more than a few seconds for a sample. */
size_t rounds_for(size_t size)
{
    return std::clamp<size_t>((size_t{48} << 20) / size, 7, 301);
}

Spread spread(Values values)
{
    std::sort(values.begin(), values.end());
    const size_t count = values.size();
    return {values[count / 2], values[count / 4], values[count * 3 / 4]};
}

double rate(const Values &seconds, size_t size)
{
    return static_cast<double>(size) / spread(seconds).median / 1e6;
}

Spread ratio(const Values &reference, const Values &seconds)
{
    Values ratios;
    for (size_t round = 0; round < seconds.size(); round++) {
        ratios.push_back(reference[round] / seconds[round]);
    }
    return spread(ratios);
}

void print_ratio(const Spread &ratio)
{
    std::printf("  %6.2fx %5.2f-%5.2f", ratio.median, ratio.lower, ratio.upper);
}

void print_head(size_t size)
{
    std::printf("%zu KiB\n%-8s %-12s %8s %8s %7s %9s %9s  %-19s  %s\n", size / 1024, "", "",
                "encode", "decode", "size", "peak of", "peak of", "encode, ratio to",
                "decode, ratio to");
    std::printf("%-8s %-12s %8s %8s %7s %9s %9s  %-19s  %s\n", "", "", "MB/s", "MB/s", "%",
                "enc., KiB", "dec., KiB", "libtiff, quartiles", "libtiff, quartiles");
}

void print_row(const Sample &sample, const char *codec, const Results &results,
               const Results &reference)
{
    const size_t size = sample.content.size();
    const Round &last = results.last;
    std::printf("%-8s %-12s %8.0f %8.0f %7.1f %9zu %9zu", sample.name.c_str(), codec,
                rate(results.encode, size), rate(results.decode, size),
                100.0 * static_cast<double>(last.compressed) / static_cast<double>(size),
                last.encode.peak / 1024, last.decode.peak / 1024);
    if (&results != &reference) {
        print_ratio(ratio(reference.encode, results.encode));
        print_ratio(ratio(reference.decode, results.decode));
    }
    std::printf("\n");
}

void compare(const Sample &sample, size_t rounds)
{
    const std::vector<Codec> compared = codecs();
    std::vector<Results> results(compared.size());
    for (size_t round = 0; round < rounds; round++) {
        for (size_t i = 0; i < compared.size(); i++) {
            results[i].last = compared[i].run(sample.content);
            results[i].encode.push_back(results[i].last.encode.seconds);
            results[i].decode.push_back(results[i].last.decode.seconds);
        }
    }
    for (size_t i = 0; i < compared.size(); i++) {
        print_row(sample, compared[i].name, results[i], results[0]);
    }
}

bool wanted(const Options &options, const Sample &sample)
{
    const std::vector<std::string> &names = options.samples;
    return names.empty() || std::find(names.begin(), names.end(), sample.name) != names.end();
}

[[noreturn]] void usage()
{
    std::fputs("usage: bench_codec [--short] [--size KIB]... [--sample NAME]... [--rounds N]\n",
               stderr);
    std::exit(2);
}

size_t number(const char *text)
{
    const long value = std::atol(text);
    return value > 0 ? static_cast<size_t>(value) : (usage(), 0);
}

Options parse(int argc, char **argv)
{
    static const option OPTIONS[] = {{"short", no_argument, nullptr, 'q'},
                                     {"size", required_argument, nullptr, 's'},
                                     {"sample", required_argument, nullptr, 'n'},
                                     {"rounds", required_argument, nullptr, 'r'},
                                     {nullptr, 0, nullptr, 0}};
    Options options;
    std::vector<size_t> sizes = {4, 64, 1024, 4096, 16384};
    for (int key = 0; (key = getopt_long(argc, argv, "", OPTIONS, nullptr)) != -1;) {
        switch (key) {
        case 'q':
            sizes = {4, 64, 1024};
            options.rounds = 5;
            break;
        case 's':
            options.sizes.push_back(number(optarg));
            break;
        case 'n':
            options.samples.emplace_back(optarg);
            break;
        case 'r':
            options.rounds = number(optarg);
            break;
        default:
            usage();
        }
    }
    if (optind != argc) {
        usage();
    }
    options.sizes = options.sizes.empty() ? sizes : options.sizes;
    return options;
}

} // namespace

int main(int argc, char **argv)
{
    const Options options = parse(argc, argv);
    for (const size_t kib : options.sizes) {
        const size_t size = kib * 1024;
        print_head(size);
        for (const Sample &sample : samples(size)) {
            if (wanted(options, sample)) {
                compare(sample, options.rounds == 0 ? rounds_for(size) : options.rounds);
            }
        }
        std::printf("\n");
    }
    return 0;
}
