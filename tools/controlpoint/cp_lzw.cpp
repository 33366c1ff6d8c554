/* SPDX-License-Identifier: MIT */
#include "cp_lzw.h"

#include "controlpoint_lists.h"
#include "cp_writer.h"

#include <cerrno>
#include <cstdlib>

/* The string of a code: a prefix and one more byte. */
struct LzwString {
    uint32_t length;
    uint16_t prefix; /* the code of all but the last byte */
    uint8_t first;
    uint8_t last;
};

/* The state before the last increase of the code width. */
struct Widening {
    bool happened; /* since the last clear code */
    uint64_t bit;
    unsigned width;
    size_t written;
};

struct Expander {
    CpBytes packed;
    uint64_t bit; /* where the next code begins */
    unsigned width;
    uint32_t next; /* the code of the next string; the newest one still lacks its last byte */
    Widening widening;
    LzwString *strings;
    uint32_t room; /* allocated strings; grows on demand, since most lists are short */
    CpBuffer *to;
    size_t limit;
};

static uint64_t bits_left(const Expander *expander, uint64_t bit)
{
    const uint64_t bits = uint64_t{8} * expander->packed.size;
    return bits > bit ? bits - bit : 0;
}

/* The code of `width` bits at `bit`, which must lie within the input. */
static uint32_t code_at(const Expander *expander, uint64_t bit, unsigned width)
{
    const auto first = static_cast<size_t>(bit / 8);
    const auto last = static_cast<size_t>((bit + width - 1) / 8);
    uint32_t bits = 0; /* a code lies in three bytes at most */
    for (size_t i = first; i <= last; i++) {
        bits = bits << 8 | expander->packed.data[i];
    }
    const uint64_t trailing = uint64_t{8} * (last + 1) - (bit + width);
    return (bits >> trailing) & ((1U << width) - 1);
}

static void reset_strings(Expander *expander)
{
    expander->width = CP_LZW_MIN_WIDTH;
    expander->next = CP_LZW_FIRST;
    expander->widening.happened = false;
}

/* Appends the string of a code, last byte first, since the prefixes lead backwards. */
static CpStatus write_string(Expander *expander, uint32_t code)
{
    CpBuffer *to = expander->to;
    const size_t length = expander->strings[code].length;
    if (length > expander->limit - to->size) {
        return CP_PROTOCOL;
    }
    const CpStatus status = cp_buffer_reserve(to, length);
    if (status != CP_OK) {
        return status;
    }
    for (size_t i = length; i > 0; i--) {
        to->data[to->size + i - 1] = expander->strings[code].last;
        code = expander->strings[code].prefix;
    }
    to->size += length;
    return CP_OK;
}

static CpStatus make_room(Expander *expander)
{
    if (expander->next < expander->room) {
        return CP_OK;
    }
    const uint32_t room = expander->room == 0 ? 1U << CP_LZW_MIN_WIDTH : expander->room * 2;
    void *larger = realloc(expander->strings, room * sizeof(LzwString));
    if (larger == nullptr) {
        errno = ENOMEM;
        return CP_SYSTEM;
    }
    expander->strings = static_cast<LzwString *>(larger);
    expander->room = room;
    return CP_OK;
}

/* Each code begins a new string, whose last byte is the first one of the next code's string. */
static void open_string(Expander *expander, uint32_t code)
{
    const LzwString *prefix = &expander->strings[code];
    expander->strings[expander->next] = {prefix->length + 1, static_cast<uint16_t>(code),
                                         prefix->first, 0};
    expander->next++;
    if (expander->next == 1U << expander->width && expander->width < CP_LZW_MAX_WIDTH) {
        expander->widening = {true, expander->bit, expander->width, expander->to->size};
        expander->width++;
    }
}

static CpStatus take_string(Expander *expander, uint32_t code)
{
    if (code >= expander->next || expander->next == CP_LZW_CODES) {
        return CP_PROTOCOL;
    }
    if (expander->next > CP_LZW_FIRST) {
        /* Also when the code is that of the unfinished string itself: its first byte is known. */
        expander->strings[expander->next - 1].last = expander->strings[code].first;
    }
    CpStatus status = write_string(expander, code);
    if (status == CP_OK) {
        status = make_room(expander);
    }
    if (status == CP_OK) {
        open_string(expander, code);
    }
    return status;
}

static CpStatus take_codes(Expander *expander)
{
    CpStatus status = CP_OK;
    while (status == CP_OK) {
        if (bits_left(expander, expander->bit) < expander->width) {
            return CP_PROTOCOL; /* no end code */
        }
        const uint32_t code = code_at(expander, expander->bit, expander->width);
        expander->bit += expander->width;
        if (code == CP_LZW_END) {
            return CP_OK;
        }
        if (code == CP_LZW_CLEAR) {
            reset_strings(expander);
        } else {
            status = take_string(expander, code);
        }
    }
    return status;
}

/* An encoder whose last string fills its table writes the end code before it widens its codes, when
 * the decoder has widened its own. True when the stream ended in this way. */
static bool ended_at_widening(const Expander *expander)
{
    const Widening *widening = &expander->widening;
    if (!widening->happened || bits_left(expander, widening->bit) < widening->width) {
        return false;
    }
    const uint64_t trailing = bits_left(expander, widening->bit + widening->width);
    return code_at(expander, widening->bit, widening->width) == CP_LZW_END &&
           trailing <= widening->width;
}

static CpStatus expand(Expander *expander)
{
    reset_strings(expander);
    CpStatus status = make_room(expander);
    for (uint32_t code = 0; status == CP_OK && code < CP_LZW_CLEAR; code++) {
        const auto byte = static_cast<uint8_t>(code);
        expander->strings[code] = {1, 0, byte, byte};
    }
    if (status == CP_OK) {
        status = take_codes(expander);
    }
    if (status == CP_PROTOCOL && ended_at_widening(expander)) {
        expander->to->size = expander->widening.written;
        status = CP_OK;
    }
    if (status != CP_OK) {
        expander->to->size = 0;
    }
    return status;
}

CpStatus cp_expand(CpBytes packed, CpBuffer *to, size_t limit)
{
    if (to == nullptr || (packed.data == nullptr && packed.size > 0)) {
        return CP_BAD_ARGUMENT;
    }
    to->size = 0;
    Expander expander = {};
    expander.packed = packed;
    expander.to = to;
    expander.limit = limit;
    const CpStatus status = expand(&expander);
    free(expander.strings);
    return status;
}
