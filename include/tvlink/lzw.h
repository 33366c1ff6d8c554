/* SPDX-License-Identifier: MIT */
/* Lempel-Ziv-Welch coding of large replies.
 *
 * Codes are packed most significant bit first and begin at 9 bits; 256 clears the table of strings,
 * 257 ends the data. Input and result are sized blocks (tvlink/host/sized_block.h): a length is the
 * count word of its block, whatever the element size. Inputs are borrowed; a result is the
 * caller's to release with free((uint32_t *)block - 2). No state outside the call, no locks,
 * any thread. */
#ifndef TVLINK_LZW_H
#define TVLINK_LZW_H

#include "tvlink/api.h"

#include <stdint.h>

TVLINK_BEGIN

/* Compresses with codes of up to max_bits bits: above 16 counts as 16, below 9 as 12. The result
 * has element size 2 and the compressed length as its count, so it is twice as large as its bytes.
 * With 16 the code counter wraps after 65,278 codes, and no decoder can expand a longer result, so
 * use 9 to 15. Null when there is no input, or memory is out. */
TVLINK_API void *lzw_encode(const void *in, int max_bits);

/* Expands. The result for a truncated stream is the content up to its end, with a line on standard
 * error. Null when the stream is bad (a line on standard error says how), when its content
 * exceeds a block, or when memory is out. The result may be much larger than the input. */
TVLINK_API void *lzw_decode(const void *in);

/* All zero; kept for hosts that link to it. Neither direction uses it. */
extern TVLINK_API uint8_t lzw[512];

TVLINK_END

#endif
