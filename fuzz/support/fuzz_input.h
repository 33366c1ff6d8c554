/* SPDX-License-Identifier: MIT */
/* Reads the input of a fuzz target, and reports a violated invariant. */
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

/* Read sequentially; reads beyond the end return zero. */
struct FuzzInput {
    const uint8_t *at;
    size_t left;
};

uint8_t fuzz_u8(FuzzInput *input);
uint16_t fuzz_u16(FuzzInput *input);
uint32_t fuzz_u32(FuzzInput *input);

/* The next bytes, or as many as are left. */
FuzzInput fuzz_part(FuzzInput *input, size_t size);

/* A heap block of exactly these bytes, so that AddressSanitizer detects a read beyond the end. */
std::unique_ptr<uint8_t[]> fuzz_copy(const void *bytes, size_t size);
std::unique_ptr<uint8_t[]> fuzz_copy(const FuzzInput &input);

/* Prints the invariant and aborts unless it holds. */
void must(bool holds, const char *invariant);

/* Diagnostic lines of the library are formatted and discarded. */
void fuzz_silence_log();
