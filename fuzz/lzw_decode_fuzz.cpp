/* SPDX-License-Identifier: MIT */
/* Expands arbitrary bytes. Three decoders must agree: the library's, the plain model of the tests
 * and, for valid streams, the control point's.
 *
 * Under test: source/lzw/lzw_decode.cpp tools/controlpoint/cp_lzw.cpp */
#include "support/fuzz_input.h"

#include "controlpoint_lists.h"
#include "tvlink/host/sized_block.h"
#include "tvlink/lzw.h"
#include "unit/lzw/lzw_model.h"

#include <cstdlib>
#include <cstring>

static const size_t MAX_INPUT = 4096; /* expands to a few megabytes at most */

static uint32_t count_of(const void *block)
{
    return static_cast<const uint32_t *>(block)[-1];
}

static void release(void *block)
{
    free(block == nullptr ? nullptr : static_cast<uint32_t *>(block) - 2);
}

static bool same(const void *block, const uint8_t *bytes, size_t size)
{
    return count_of(block) == size && (size == 0 || memcmp(block, bytes, size) == 0);
}

static void check_control_point(const void *expanded, const uint8_t *data, size_t size)
{
    CpBuffer buffer = {};
    if (cp_expand({data, size}, &buffer, CP_EXPANDED_LIMIT) == CP_OK) {
        must(expanded != nullptr, "what the control point expands, the library expands");
        must(same(expanded, buffer.data, buffer.size), "control point and library agree");
    }
    cp_buffer_free(&buffer);
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    if (size == 0 || size > MAX_INPUT) {
        return 0;
    }
    fuzz_silence_log();
    void *packed = mem_alloc(1, static_cast<uint32_t>(size));
    memcpy(packed, data, size);
    void *expanded = lzw_decode(packed);
    release(packed);

    const Decoded model = ModelDecoder(Bytes(data, data + size)).decode();
    must((expanded == nullptr) == model.null, "library and model accept the same streams");
    if (expanded != nullptr) {
        must(same(expanded, model.content.data(), model.content.size()),
             "library and model expand alike");
    }
    check_control_point(expanded, data, size);
    release(expanded);
    return 0;
}
