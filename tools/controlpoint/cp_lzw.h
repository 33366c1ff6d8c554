/* SPDX-License-Identifier: MIT */
/* The television's compression: LZW, codes of 9 to 16 bits, most significant bit first. */
#ifndef CP_LZW_H
#define CP_LZW_H

#include "controlpoint.h"

enum {
    CP_LZW_CLEAR = 256, /* resets the string table; the following codes have 9 bits */
    CP_LZW_END = 257,
    CP_LZW_FIRST = 258, /* the first code of a string */
    CP_LZW_MIN_WIDTH = 9,
    CP_LZW_MAX_WIDTH = 16,
    CP_LZW_CODES = 1 << CP_LZW_MAX_WIDTH
};

#endif
