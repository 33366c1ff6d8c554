/* SPDX-License-Identifier: MIT */
#include "lzw/string_table.h"

#include "lzw/lzw_codes.h"

#include <stdlib.h>
#include <string.h>

static const uint32_t GOLDEN_RATIO = 0x9E3779B1; /* its fraction, times 1 << 32 */
static const uint32_t BUCKET_BITS = 2;           /* more than for a code */

bool string_table_make(StringTable *table, uint32_t code_bits)
{
    const size_t codes = size_t{1} << code_bits;
    const size_t buckets = codes << BUCKET_BITS;
    table->heads = static_cast<uint16_t *>(calloc(buckets + codes * 2, sizeof *table->heads));
    if (table->heads == nullptr) {
        return false;
    }
    table->links = table->heads + buckets;
    table->prefixes = table->links + codes;
    table->prefixes[0] = LZW_END; /* no string has it, so none is found in an empty bucket */
    table->mask = static_cast<uint32_t>(buckets - 1);
    table->factor = GOLDEN_RATIO >> (32 - BUCKET_BITS - code_bits) | 1;
    return true;
}

void string_table_clear(StringTable *table)
{
    memset(table->heads, 0,
           static_cast<size_t>(table->prefixes - table->heads) * sizeof *table->heads);
}

void string_table_free(StringTable *table)
{
    free(table->heads);
}
