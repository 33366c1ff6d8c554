/* SPDX-License-Identifier: MIT */
#include "support/fuzz_input.h"

#include "tvlink.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>

uint8_t fuzz_u8(FuzzInput *input)
{
    if (input->left == 0) {
        return 0;
    }
    input->left--;
    return *input->at++;
}

uint16_t fuzz_u16(FuzzInput *input)
{
    const unsigned low = fuzz_u8(input);
    return static_cast<uint16_t>(low | static_cast<unsigned>(fuzz_u8(input)) << 8);
}

uint32_t fuzz_u32(FuzzInput *input)
{
    const uint32_t low = fuzz_u16(input);
    return low | static_cast<uint32_t>(fuzz_u16(input)) << 16;
}

FuzzInput fuzz_part(FuzzInput *input, size_t size)
{
    const FuzzInput part = {input->at, std::min(size, input->left)};
    input->at += part.left;
    input->left -= part.left;
    return part;
}

std::unique_ptr<uint8_t[]> fuzz_copy(const void *bytes, size_t size)
{
    std::unique_ptr<uint8_t[]> copy(new uint8_t[size]);
    std::copy_n(static_cast<const uint8_t *>(bytes), size, copy.get());
    return copy;
}

std::unique_ptr<uint8_t[]> fuzz_copy(const FuzzInput &input)
{
    return fuzz_copy(input.at, input.left);
}

void must(bool holds, const char *invariant)
{
    if (!holds) {
        fprintf(stderr, "does not hold: %s\n", invariant);
        abort();
    }
}

static void discard(int, const char *, void *)
{
}

void fuzz_silence_log()
{
    ipp_set_log_sink(discard, nullptr);
}
