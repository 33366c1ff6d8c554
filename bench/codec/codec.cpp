/* Compressing and expanding: the library beside libtiff, whose LZW also has codes of up to 12 bits.
 *
 *     bench_codec [ROUNDS]
 *
 * Rounds alternate between the two, so that other load affects both alike: compare the ratio. Times
 * are processor time of the median round. For libtiff only the coding call is measured, for the
 * library the whole call. Peak memory is heap memory, including the result. */

#include "heap.h"
#include "samples.h"
#include "tiff_lzw.h"
#include "tvlink/host/sized_block.h"
#include "tvlink/lzw.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>

namespace
{

constexpr size_t SIZE = 1 << 20;
constexpr int COMPARED_BITS = 12;

using Bytes = std::vector<uint8_t>;
using Times = std::vector<double>;

struct Figures {
    Times encode;
    Times decode;
    size_t compressed = 0;
    size_t encode_peak = 0;
    size_t decode_peak = 0;
};

double seconds()
{
    timespec now = {};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
}

/* Appends the processor time of `work` to `times`, and stores its peak heap use. */
template <typename Work> void measure(Times *times, size_t *peak, Work work)
{
    const size_t held = heap_held();
    heap_watch();
    const double before = seconds();
    work();
    times->push_back(seconds() - before);
    *peak = heap_peak() - held;
}

uint32_t count_of(const void *block)
{
    return static_cast<const uint32_t *>(block)[-1];
}

void release(void *block)
{
    free(static_cast<uint32_t *>(block) - 2);
}

void require_same(const void *expanded, size_t size, const Bytes &content)
{
    if (size != content.size() || memcmp(expanded, content.data(), size) != 0) {
        std::fputs("what comes back is not what went in\n", stderr);
        std::exit(1);
    }
}

void run_ours(const Bytes &content, int max_bits, Figures *figures)
{
    void *in = mem_alloc(1, static_cast<uint32_t>(content.size()));
    memcpy(in, content.data(), content.size());
    void *compressed = nullptr;
    void *expanded = nullptr;
    measure(&figures->encode, &figures->encode_peak,
            [&] { compressed = lzw_encode(in, max_bits); });
    measure(&figures->decode, &figures->decode_peak, [&] { expanded = lzw_decode(compressed); });
    require_same(expanded, count_of(expanded), content);
    figures->compressed = count_of(compressed);
    release(in);
    release(compressed);
    release(expanded);
}

void run_tiff(const Bytes &content, Figures *figures)
{
    TiffImage image;
    tiff_open_new(&image, content.size());
    measure(&figures->encode, &figures->encode_peak, [&] { tiff_compress(&image, content); });
    tiff_close(&image);
    figures->encode_peak += image.file.size();
    tiff_open_written(&image);
    Bytes expanded(content.size());
    measure(&figures->decode, &figures->decode_peak, [&] { tiff_expand(&image, &expanded); });
    figures->decode_peak += expanded.size();
    figures->compressed = tiff_compressed_size(&image);
    tiff_close(&image);
    require_same(expanded.data(), expanded.size(), content);
}

double median(Times times)
{
    std::sort(times.begin(), times.end());
    return times[times.size() / 2];
}

double rate(const Times &times)
{
    return static_cast<double>(SIZE) / median(times) / 1e6;
}

void print_row(const std::string &name, const char *codec, const Figures &figures)
{
    std::printf("%-8s %-12s %8.0f %8.0f %10.1f %12zu %12zu\n", name.c_str(), codec,
                rate(figures.encode), rate(figures.decode),
                100.0 * static_cast<double>(figures.compressed) / SIZE, figures.encode_peak / 1024,
                figures.decode_peak / 1024);
}

void compare(const Sample &sample, int rounds)
{
    Figures ours;
    Figures narrow;
    Figures tiff;
    for (int round = 0; round < rounds; round++) {
        run_tiff(sample.content, &tiff);
        run_ours(sample.content, COMPARED_BITS, &ours);
        run_ours(sample.content, 9, &narrow);
    }
    print_row(sample.name, "libtiff", tiff);
    print_row(sample.name, "tvlink", ours);
    print_row(sample.name, "tvlink 9 bit", narrow);
    std::printf("%-8s %-12s %7.2fx %7.2fx\n\n", sample.name.c_str(), "ratio",
                rate(ours.encode) / rate(tiff.encode), rate(ours.decode) / rate(tiff.decode));
}

} // namespace

int main(int argc, char **argv)
{
    const int rounds = argc > 1 ? std::atoi(argv[1]) : 101;
    std::printf("%-8s %-12s %8s %8s %10s %12s %12s\n", "", "", "encode", "decode", "size",
                "encode peak", "decode peak");
    std::printf("%-8s %-12s %8s %8s %10s %12s %12s\n", "", "", "MB/s", "MB/s", "%", "KiB", "KiB");
    for (const Sample &sample : samples(SIZE)) {
        compare(sample, rounds);
    }
    return 0;
}
