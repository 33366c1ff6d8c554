/* SPDX-License-Identifier: MIT */
#include "net/descriptor_set.h"

#include <limits.h>
#include <stdlib.h>
#include <string.h>

static const int WORD_BITS = sizeof(unsigned long) * CHAR_BIT;

void descriptor_set_clear(DescriptorSet *set)
{
    if (set->words != nullptr) {
        memset(set->words, 0, static_cast<size_t>(set->word_count) * sizeof *set->words);
    }
    set->size = 0;
}

void descriptor_set_free(DescriptorSet *set)
{
    free(set->words);
    *set = {};
}

static bool has_word(DescriptorSet *set, int word)
{
    if (word < set->word_count) {
        return true;
    }
    const size_t count = static_cast<size_t>(word) + 1;
    unsigned long *grown =
        static_cast<unsigned long *>(realloc(set->words, count * sizeof *set->words));
    if (grown == nullptr) {
        return false;
    }
    const size_t old_count = static_cast<size_t>(set->word_count);
    memset(grown + old_count, 0, (count - old_count) * sizeof *grown);
    set->words = grown;
    set->word_count = word + 1;
    return true;
}

bool descriptor_set_add(DescriptorSet *set, int fd)
{
    if (fd < 0) {
        return true;
    }
    if (!has_word(set, fd / WORD_BITS)) {
        return false;
    }
    set->words[fd / WORD_BITS] |= 1UL << (fd % WORD_BITS);
    if (fd >= set->size) {
        set->size = fd + 1;
    }
    return true;
}

int descriptor_set_next(const DescriptorSet *set, int from)
{
    for (int word = from / WORD_BITS; from < set->size; from = ++word * WORD_BITS) {
        const unsigned long left = set->words[word] >> (from % WORD_BITS);
        if (left != 0) {
            return from + __builtin_ctzl(left);
        }
    }
    return -1;
}
