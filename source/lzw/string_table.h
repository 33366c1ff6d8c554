/* The encoder's dictionary: the code of a string from the code of all but its last byte, and that
 * byte.
 *
 * The encoder asks once for every byte of its input, and starts the table anew every few kilobytes.
 * A table with a place for every byte behind every string would answer at once, but is too large
 * for a small cache, and slow to wipe. This one takes 12 bytes a code. It is a hash table of lists,
 * in which most answers need a single look:
 * - a string knows the kinds of bytes that follow it, of 16 kinds: a new one is seldom looked for;
 * - the oldest string of a list, the one most often asked for, stays the first.
 * A list holds 256 strings at the most, because the strings that end in one byte are in different
 * lists. */
#pragma once

#include <stdint.h>

struct KnownString {
    uint32_t key;       /* from string_key() */
    uint16_t other;     /* the next string in the list, by its code; 0 ends it */
    uint16_t followers; /* a bit for each kind of byte, from string_follower() */
};

struct StringTable {
    KnownString *strings; /* by code */
    uint16_t *lists;      /* codes by hash; behind the strings, in the same allocation */
    uint32_t hash_bits;
};

/* False when memory is out. */
bool string_table_make(StringTable *table, uint32_t max_bits);
/* Leaves the strings of one byte, with none behind them. */
void string_table_clear(StringTable *table);
void string_table_free(StringTable *table);

static inline uint32_t string_key(uint32_t code, uint32_t byte)
{
    return code << 8 | byte;
}

/* There are twice as many lists as codes, so the code of any string is in range and stays so. It
 * comes in last, because it is what the encoder waits for. */
static inline uint16_t *string_list(const StringTable *table, uint32_t code, uint32_t byte)
{
    const uint32_t scattered = byte * 0x9E3779B1u >> (32 - table->hash_bits);
    return &table->lists[scattered ^ code];
}

static inline uint32_t string_follower(uint32_t byte)
{
    return 1u << byte % 16;
}

/* The code of the string with this byte behind it, 0 when there is none. */
static inline uint32_t string_find(const StringTable *table, uint32_t code, uint32_t byte)
{
    if ((table->strings[code].followers & string_follower(byte)) == 0) {
        return 0;
    }
    uint32_t found = *string_list(table, code, byte);
    while (found != 0 && table->strings[found].key != string_key(code, byte)) {
        found = table->strings[found].other;
    }
    return found;
}

/* The new string comes second in its list. */
static inline void string_add(const StringTable *table, uint32_t code, uint32_t byte, uint32_t next)
{
    uint16_t *place = string_list(table, code, byte);
    place = *place == 0 ? place : &table->strings[*place].other;
    table->strings[next] = {string_key(code, byte), *place, 0};
    *place = static_cast<uint16_t>(next);
    KnownString *string = &table->strings[code];
    string->followers = static_cast<uint16_t>(string->followers | string_follower(byte));
}
