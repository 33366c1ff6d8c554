/* SPDX-License-Identifier: MIT */
/* The encoder's dictionary: maps a known string and the byte that follows it to the longer string.
 *
 * The encoder looks up every byte of its input and clears the table every few kilobytes. An array
 * indexed by prefix and byte would need one access, but is too large for a small cache and slow to
 * clear. This table takes 12 bytes for each code. It is a hash table with chained entries:
 * - There are four buckets for each code, so that most have at most one string.
 * - The head of a bucket is identified by its hash, not by its code. So the bucket for the next
 * byte does not depend on what is read for this one, and a processor that predicts the result of
 * the comparison looks up several bytes at a time. A head stays the head.
 * - The other strings of a bucket, and those of one byte, are identified by their codes.
 * - The strings of a bucket have different prefixes, so the code of the prefix is the whole key.
 * A chain has at most 512 strings: for each last byte one with a hash and one with a code in front
 * of it. */
#pragma once

#include "lzw/lzw_codes.h"

#include <stddef.h>
#include <stdint.h>

struct StringTable {
    uint16_t *heads;    /* by bucket: a code; 0: none */
    uint16_t *links;    /* by code: the next code of the chain; 0: none */
    uint16_t *prefixes; /* by code: the code of the string without its last byte */
    uint32_t mask;      /* the bits of a hash that select a bucket */
    uint32_t factor;    /* spreads bytes over the buckets */
};

struct KnownString {
    uint32_t id; /* a hash or the code */
    uint32_t code;
};

/* For codes of so many bits. False when memory is out. */
bool string_table_make(StringTable *table, uint32_t code_bits);
/* Leaves only the strings of one byte. */
void string_table_clear(StringTable *table);
void string_table_free(StringTable *table);

/* Both factors are odd, so different bytes behind one prefix have different buckets, and so have
 * different hashes or different codes in front of one byte. */
static inline uint32_t string_hash(const StringTable *table, KnownString prefix, uint32_t byte)
{
    return prefix.id * 9 + byte * table->factor;
}

/* The link to the string with this prefix in the chain behind a code, or the link that ends it. */
static inline uint16_t *string_link(const StringTable *table, uint32_t code, uint32_t prefix)
{
    uint16_t *link = &table->links[code];
    while (unlikely(*link != 0) && table->prefixes[*link] != prefix) {
        link = &table->links[*link];
    }
    return link;
}
