/* The encoder's dictionary: maps the code of a prefix and the byte that follows it to the code of
 * the longer string.
 *
 * The encoder looks up every byte of its input and clears the table every few kilobytes. An array
 * indexed by prefix and byte would need one access, but is too large for a small cache and slow to
 * clear. This table takes 12 bytes for each code. It is a hash table with chained entries, in which
 * most lookups need one access:
 * - a string has a bit for each of 16 classes of following bytes, so that most failing lookups end
 *   there;
 * - the oldest string of a list, the one looked up most often, stays its head.
 * A list has at most 256 strings: those that end in the same byte are in different lists. */
#pragma once

#include <stdint.h>

struct KnownString {
    uint32_t key;       /* from string_key() */
    uint16_t other;     /* the next string in the list, by its code; 0 ends it */
    uint16_t followers; /* a bit for each class of following bytes, from string_follower() */
};

struct StringTable {
    KnownString *strings; /* by code */
    uint16_t *lists;      /* codes by hash; behind the strings, in the same allocation */
    uint32_t hash_bits;
};

/* False when memory is out. */
bool string_table_make(StringTable *table, uint32_t max_bits);
/* Leaves only the strings of one byte. */
void string_table_clear(StringTable *table);
void string_table_free(StringTable *table);

static inline uint32_t string_key(uint32_t code, uint32_t byte)
{
    return code << 8 | byte;
}

/* The list for this prefix and byte. There are twice as many lists as codes, so the index is in
 * range. The code is combined last, because it becomes known last. */
static inline uint16_t *string_list(const StringTable *table, uint32_t code, uint32_t byte)
{
    const uint32_t scattered = byte * 0x9E3779B1u >> (32 - table->hash_bits);
    return &table->lists[scattered ^ code];
}

static inline uint32_t string_follower(uint32_t byte)
{
    return 1u << byte % 16;
}

/* The code of the string followed by this byte; 0 when it is not in the table. */
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

/* Inserts the new string as the second of its list. */
static inline void string_add(const StringTable *table, uint32_t code, uint32_t byte, uint32_t next)
{
    uint16_t *place = string_list(table, code, byte);
    place = *place == 0 ? place : &table->strings[*place].other;
    table->strings[next] = {string_key(code, byte), *place, 0};
    *place = static_cast<uint16_t>(next);
    KnownString *string = &table->strings[code];
    string->followers = static_cast<uint16_t>(string->followers | string_follower(byte));
}
