/* SPDX-License-Identifier: MIT */
/* Compresses arbitrary bytes with a maximal code width of 9 to 15 bits, and expands them again. The
 * plain model of the tests must produce the same codes, and the control point must expand them,
 * too.
 *
 * Input: the width and the number of repetitions in one byte, the bytes to repeat.
 *
 * Under test: source/lzw/lzw_encode.cpp source/lzw/string_table.cpp source/lzw/string_table.h
 * source/lzw/lzw_decode.cpp tools/controlpoint/cp_lzw.cpp */
#include "support/fuzz_input.h"

#include "controlpoint_lists.h"
#include "tvlink/host/sized_block.h"
#include "tvlink/lzw.h"
#include "unit/lzw/lzw_model.h"

#include <cstdlib>
#include <cstring>

/* Enough to fill and clear the table at widths of 9 to 12 bits. */
static const size_t MAX_INPUT = 2048;
static const size_t TIMES[] = {1, 1, 1, 1, 1, 1, 1, 1, 1, 2, 2, 2, 3, 4, 6, 8};

static uint32_t count_of(const void *block)
{
    return static_cast<const uint32_t *>(block)[-1];
}

static void release(void *block)
{
    free(block == nullptr ? nullptr : static_cast<uint32_t *>(block) - 2);
}

static bool same(const void *block, const Bytes &bytes)
{
    return block != nullptr && count_of(block) == bytes.size() &&
           memcmp(block, bytes.data(), bytes.size()) == 0;
}

static void check_expansions(const void *packed, const Bytes &plain)
{
    void *expanded = lzw_decode(packed);
    must(same(expanded, plain), "the library expands what it has compressed");
    release(expanded);

    CpBuffer buffer = {};
    must(cp_expand({static_cast<const uint8_t *>(packed), count_of(packed)}, &buffer,
                   plain.size()) == CP_OK,
         "the control point expands what the library has compressed");
    must(Bytes(buffer.data, buffer.data + buffer.size) == plain, "to the same bytes");
    cp_buffer_free(&buffer);
}

static Bytes repeated(FuzzInput part, size_t times)
{
    Bytes all;
    for (size_t i = 0; i < times; i++) {
        all.insert(all.end(), part.at, part.at + part.left);
    }
    return all;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    FuzzInput input = {data, size};
    const uint8_t choice = fuzz_u8(&input);
    const int width = 9 + choice % 7;
    const Bytes plain = repeated(fuzz_part(&input, MAX_INPUT), TIMES[choice / 16]);
    if (plain.empty()) {
        return 0;
    }
    fuzz_silence_log();
    void *block = mem_alloc(1, static_cast<uint32_t>(plain.size()));
    memcpy(block, plain.data(), plain.size());
    void *packed = lzw_encode(block, width);
    must(same(block, plain), "the input stays as it was");
    must(packed != nullptr, "whatever has a byte is compressed");
    must(same(packed, model_encoded(plain, width)), "library and model compress alike");
    check_expansions(packed, plain);
    release(packed);
    release(block);
    return 0;
}
