/* SPDX-License-Identifier: MIT */
#include "codec/codecs.h"

#include <lz4.h>

Round run_lz4(const Bytes &content)
{
    Round round;
    const int length = static_cast<int>(content.size());
    std::vector<char> packed(static_cast<size_t>(LZ4_compressBound(length)));
    std::vector<char> expanded(content.size());
    const char *plain = reinterpret_cast<const char *>(content.data());
    int packed_size = 0;
    int size = 0;
    round.encode = measure([&] {
        packed_size =
            LZ4_compress_default(plain, packed.data(), length, static_cast<int>(packed.size()));
    });
    round.decode = measure(
        [&] { size = LZ4_decompress_safe(packed.data(), expanded.data(), packed_size, length); });
    require_same(expanded.data(), static_cast<size_t>(size), content);
    round.compressed = static_cast<size_t>(packed_size);
    round.encode.peak += round.compressed;
    round.decode.peak += expanded.size();
    return round;
}
