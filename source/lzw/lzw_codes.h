/* What both directions agree on. */
#pragma once

#include <stdint.h>

const uint32_t LZW_CLEAR = 256;     /* the table is empty again, and codes have 9 bits */
const uint32_t LZW_END = 257;       /* the last code of every stream */
const uint32_t LZW_FIRST = 258;     /* the first code of a string of two or more bytes */
const uint32_t LZW_FIRST_WIDTH = 9; /* bits of a code when the table is empty */
const uint32_t LZW_WIDEST = 16;     /* bits of the widest code that stands for a string */
