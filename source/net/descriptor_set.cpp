#include "net/descriptor_set.h"

#include <errno.h>
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

void descriptor_set_add(DescriptorSet *set, int fd)
{
    if (fd < 0 || !has_word(set, fd / WORD_BITS)) {
        return;
    }
    set->words[fd / WORD_BITS] |= 1UL << (fd % WORD_BITS);
    if (fd >= set->size) {
        set->size = fd + 1;
    }
}

bool descriptor_set_copy(DescriptorSet *to, const DescriptorSet *from)
{
    descriptor_set_clear(to);
    if (from->size == 0) {
        return true;
    }
    const int words = (from->size - 1) / WORD_BITS + 1;
    if (!has_word(to, words - 1)) {
        return false;
    }
    memcpy(to->words, from->words, static_cast<size_t>(words) * sizeof *to->words);
    to->size = from->size;
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

static fd_set *system_set(DescriptorSet *set)
{
    return set == nullptr ? nullptr : reinterpret_cast<fd_set *>(set->words);
}

/* The system looks at as many words of each set as the larger one has. */
static bool has_words_for(DescriptorSet *set, int size)
{
    return set == nullptr || size == 0 || has_word(set, (size - 1) / WORD_BITS);
}

int descriptor_set_select(DescriptorSet *readable, struct timeval limit, DescriptorSet *writable)
{
    const bool larger = writable != nullptr && writable->size > readable->size;
    const int size = larger ? writable->size : readable->size;
    if (!has_words_for(readable, size) || !has_words_for(writable, size)) {
        errno = ENOMEM;
        return -1;
    }
    return select(size, system_set(readable), system_set(writable), nullptr, &limit);
}
