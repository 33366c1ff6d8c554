/* The encoder's dictionary: the code of a string from the code of all but its last byte, and that
 * byte. An open hash table that is at most half full.
 *
 * The encoder asks once for every byte of its input and clears the table every few kilobytes. So
 * the table is small enough for the cache of a television, and clearing it touches nothing: every
 * key holds the number of the clearing that it was made after, and older ones count as free. */
#pragma once

#include <stdint.h>

struct StringTable {
    uint32_t *keys;  /* from string_key(); 0 is free */
    uint16_t *codes; /* behind the keys, in the same allocation */
    uint32_t mask;   /* the number of slots, a power of two, less one */
    uint32_t used;   /* strings since the table was cleared */
    uint32_t age;    /* 1 to 255 */
};

/* Makes room for more strings, also in a table that is all zero. False when memory is out; then the
 * table is as before. */
bool string_table_reserve(StringTable *table, uint32_t more);
void string_table_clear(StringTable *table);
void string_table_free(StringTable *table);

static inline uint32_t string_key(uint32_t age, uint32_t code, uint32_t byte)
{
    return age << 24 | code << 8 | byte;
}

static inline bool string_slot_is_free(const uint32_t *keys, uint32_t slot, uint32_t age)
{
    return keys[slot] >> 24 != age;
}

/* Where the search for a string begins. The code comes last, because it is what the caller waits
 * for: one operation lies between it and the look into the table. */
static inline uint32_t string_first_slot(uint32_t code, uint32_t byte, uint32_t mask)
{
    return (byte * 0x9E3779B1u >> 8 ^ code) & mask;
}
