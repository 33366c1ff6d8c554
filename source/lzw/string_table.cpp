#include "lzw/string_table.h"

#include <stdlib.h>
#include <string.h>

bool string_table_make(StringTable *table, uint32_t max_bits)
{
    const size_t codes = size_t{1} << max_bits;
    const size_t lists = codes * 2;
    void *memory = calloc(1, codes * sizeof *table->strings + lists * sizeof *table->lists);
    if (memory == nullptr) {
        return false;
    }
    table->strings = static_cast<KnownString *>(memory);
    table->lists = reinterpret_cast<uint16_t *>(table->strings + codes);
    table->hash_bits = max_bits + 1;
    return true;
}

void string_table_clear(StringTable *table)
{
    memset(table->lists, 0, (size_t{1} << table->hash_bits) * sizeof *table->lists);
    for (uint32_t byte = 0; byte < 256; byte++) {
        table->strings[byte].followers = 0;
    }
}

void string_table_free(StringTable *table)
{
    free(table->strings);
}
