/* SPDX-License-Identifier: MIT */
#include "codec/codecs.h"

#include <zstd.h>

Round run_zstd(const Bytes &content)
{
    const int LEVEL = 1;
    Round round;
    Bytes packed(ZSTD_compressBound(content.size()));
    Bytes expanded(content.size());
    round.encode = measure([&] {
        round.compressed =
            ZSTD_compress(packed.data(), packed.size(), content.data(), content.size(), LEVEL);
    });
    size_t size = 0;
    round.decode = measure([&] {
        size = ZSTD_decompress(expanded.data(), expanded.size(), packed.data(), round.compressed);
    });
    require_same(expanded.data(), size, content);
    round.encode.peak += round.compressed;
    round.decode.peak += size;
    return round;
}
