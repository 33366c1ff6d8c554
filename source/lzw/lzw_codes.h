/* SPDX-License-Identifier: MIT */
/* The codes that encoder and decoder share. */
#pragma once

#include <stdint.h>

const uint32_t LZW_CLEAR = 256;     /* empties the table and resets the width of codes to 9 bits */
const uint32_t LZW_END = 257;       /* the last code of every stream */
const uint32_t LZW_FIRST = 258;     /* the first code of a string of two or more bytes */
const uint32_t LZW_FIRST_WIDTH = 9; /* bits of a code when the table is empty */
const uint32_t LZW_MAX_WIDTH = 16;  /* bits of the widest code that stands for a string */

/* Conditions that the compiler is to lay the code out for. */
static inline bool likely(bool condition)
{
    return __builtin_expect(condition, true);
}

static inline bool unlikely(bool condition)
{
    return __builtin_expect(condition, false);
}
