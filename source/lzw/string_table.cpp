#include "lzw/string_table.h"

#include <stdlib.h>
#include <string.h>

namespace
{

const uint32_t MOST_STRINGS = 1u << 24; /* as many as there are pairs of code and byte */
const uint32_t LAST_AGE = 255;

} // namespace

static uint32_t slots_for(uint32_t strings)
{
    uint32_t slots = 2;
    while (slots / 2 < strings) {
        slots *= 2;
    }
    return slots;
}

static void put_anew(StringTable *table, uint32_t key, uint16_t code)
{
    uint32_t slot = string_first_slot(key >> 8 & 0xFFFF, key & 0xFF, table->mask);
    while (table->keys[slot] != 0) {
        slot = (slot + 1) & table->mask;
    }
    table->keys[slot] = key;
    table->codes[slot] = code;
}

static void copy_strings(StringTable *to, const StringTable *from)
{
    for (uint32_t slot = 0; slot <= from->mask; slot++) {
        if (!string_slot_is_free(from->keys, slot, from->age)) {
            put_anew(to, from->keys[slot], from->codes[slot]);
        }
    }
}

bool string_table_reserve(StringTable *table, uint32_t more)
{
    const uint32_t strings = table->used < MOST_STRINGS - more ? table->used + more : MOST_STRINGS;
    const uint32_t slots = slots_for(strings);
    if (table->keys != nullptr && slots <= table->mask + 1) {
        return true;
    }
    void *memory = calloc(slots, sizeof *table->keys + sizeof *table->codes);
    if (memory == nullptr) {
        return false;
    }
    StringTable larger = {};
    larger.keys = static_cast<uint32_t *>(memory);
    larger.codes = reinterpret_cast<uint16_t *>(larger.keys + slots);
    larger.mask = slots - 1;
    larger.used = table->used;
    larger.age = table->keys == nullptr ? 1 : table->age;
    if (table->keys != nullptr) {
        copy_strings(&larger, table);
    }
    string_table_free(table);
    *table = larger;
    return true;
}

void string_table_clear(StringTable *table)
{
    table->used = 0;
    if (table->age < LAST_AGE) {
        table->age++;
        return;
    }
    memset(table->keys, 0, (static_cast<size_t>(table->mask) + 1) * sizeof *table->keys);
    table->age = 1;
}

void string_table_free(StringTable *table)
{
    free(table->keys);
    *table = {};
}
