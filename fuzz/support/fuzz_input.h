/* What a fuzz target reads its input with, and how it says that something does not hold. */
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

/* Read front to back; what is read behind the end is zero. */
struct FuzzInput {
    const uint8_t *at;
    size_t left;
};

uint8_t fuzz_u8(FuzzInput *input);
uint16_t fuzz_u16(FuzzInput *input);
uint32_t fuzz_u32(FuzzInput *input);

/* The next bytes, or as many as are left. */
FuzzInput fuzz_part(FuzzInput *input, size_t size);

/* A heap block of exactly these bytes: AddressSanitizer sees a read of one more. */
std::unique_ptr<uint8_t[]> fuzz_copy(const void *bytes, size_t size);
std::unique_ptr<uint8_t[]> fuzz_copy(const FuzzInput &input);

/* Names the invariant and ends the process when it does not hold. */
void must(bool holds, const char *invariant);

/* The library's diagnostic lines are made, and thrown away. */
void fuzz_silence_log();
