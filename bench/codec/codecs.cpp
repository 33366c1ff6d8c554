/* SPDX-License-Identifier: MIT */
#include "codecs.h"

#include "tiff_lzw.h"
#include "tvlink/host/sized_block.h"
#include "tvlink/lzw.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace
{

uint32_t count_of(const void *block)
{
    return static_cast<const uint32_t *>(block)[-1];
}

void release(void *block)
{
    free(static_cast<uint32_t *>(block) - 2);
}

template <int max_bits> Round run_ours(const Bytes &content)
{
    Round round;
    void *in = mem_alloc(1, static_cast<uint32_t>(content.size()));
    memcpy(in, content.data(), content.size());
    void *compressed = nullptr;
    void *expanded = nullptr;
    round.encode = measure([&] { compressed = lzw_encode(in, max_bits); });
    round.decode = measure([&] { expanded = lzw_decode(compressed); });
    require_same(expanded, count_of(expanded), content);
    round.compressed = count_of(compressed);
    release(in);
    release(compressed);
    release(expanded);
    return round;
}

Round run_tiff(const Bytes &content)
{
    Round round;
    TiffImage image;
    tiff_open_new(&image, content.size());
    round.encode = measure([&] { tiff_compress(&image, content); });
    tiff_close(&image);
    round.encode.peak += image.file.size();
    tiff_open_written(&image);
    Bytes expanded(content.size());
    round.decode = measure([&] { tiff_expand(&image, &expanded); });
    round.decode.peak += expanded.size();
    round.compressed = tiff_compressed_size(&image);
    tiff_close(&image);
    require_same(expanded.data(), expanded.size(), content);
    return round;
}

} // namespace

std::vector<Codec> codecs()
{
    return {
        {"libtiff", run_tiff},
        {"tvlink", run_ours<12>}, /* libtiff's codes have up to 12 bits, too */
        {"tvlink 9 bit", run_ours<9>},
#ifdef BENCH_ZSTD
        {"zstd -1", run_zstd},
#endif
#ifdef BENCH_LZ4
        {"lz4", run_lz4},
#endif
    };
}

void require_same(const void *expanded, size_t size, const Bytes &content)
{
    if (size != content.size() || memcmp(expanded, content.data(), size) != 0) {
        std::fputs("what comes back is not what went in\n", stderr);
        std::exit(1);
    }
}
