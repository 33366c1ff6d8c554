/* SPDX-License-Identifier: MIT */
#include "base/block_header.h"
#include "lzw/lzw_codes.h"
#include "lzw/lzw_room.h"
#include "lzw/string_table.h"
#include "tvlink/host/sized_block.h"
#include "tvlink/lzw.h"

#include <stdint.h>
#include <stdlib.h>
#include <string.h>

namespace
{

const int DEFAULT_BITS = 12;
const uint32_t WRAPPED_RUN = 1u << 16;
const uint32_t PAIR_WIDTH =
    12; /* of the widest codes of which a word has room for two, and 7 bits */
const uint32_t MORE_BYTES = 16; /* for a clear code or the last three codes, and a whole word */
const uint32_t MAX_BYTES = UINT32_MAX / 2 - 5; /* of a result, whose block is twice as large */

/* Packs codes into a block. Each code is written as a word, with zeros behind its bits. */
struct CodeWriter {
    uint8_t *at;
    uint32_t held; /* its lowest `bits`, fewer than 8, are at `at` and not complete */
    uint32_t bits;
};

struct Encoder {
    const uint8_t *begin;
    const uint8_t *in; /* the rest of the input */
    const uint8_t *end;
    StringTable table;
    uint8_t *out;
    CodeWriter writer;
    uint32_t max_bits;
    uint32_t width;
    uint32_t next;      /* the code of the next new string */
    uint32_t full;      /* when `next` reaches it, all codes of this width are in use */
    KnownString string; /* the longest known string that ends at `in` */
};

} // namespace

static inline void write_word(uint8_t *to, uint32_t word)
{
    to[0] = static_cast<uint8_t>(word >> 24);
    to[1] = static_cast<uint8_t>(word >> 16);
    to[2] = static_cast<uint8_t>(word >> 8);
    to[3] = static_cast<uint8_t>(word);
}

/* Without a branch, which would depend on the data and be predicted badly. */
static inline void write_code(CodeWriter *writer, uint32_t code, uint32_t width)
{
    writer->held = writer->held << width | code;
    writer->bits += width;
    write_word(writer->at, writer->held << (32 - writer->bits));
    writer->at += writer->bits / 8;
    writer->bits %= 8;
}

static uint32_t clamped(int max_bits)
{
    if (max_bits > static_cast<int>(LZW_MAX_WIDTH)) {
        return LZW_MAX_WIDTH;
    }
    return static_cast<uint32_t>(max_bits < static_cast<int>(LZW_FIRST_WIDTH) ? DEFAULT_BITS
                                                                              : max_bits);
}

static void begin_table(Encoder *encoder)
{
    encoder->width = LZW_FIRST_WIDTH;
    encoder->next = LZW_FIRST;
    encoder->full = 1u << LZW_FIRST_WIDTH;
}

/* Makes room for this many codes and what may follow them. A block of element size 2 has room for
 * twice its count of bytes. */
static bool reserve(Encoder *encoder, uint32_t codes)
{
    const size_t written = static_cast<size_t>(encoder->writer.at - encoder->out);
    const uint64_t least = uint64_t{written} + (codes * encoder->width + 7) / 8 + MORE_BYTES;
    if (least <= uint64_t{block_count(encoder->out)} * 2) {
        return true;
    }
    const uint64_t wanted = lzw_room(least, static_cast<size_t>(encoder->in - encoder->begin),
                                     static_cast<size_t>(encoder->end - encoder->begin));
    void *larger = nullptr;
    if (least <= MAX_BYTES) {
        larger = block_resize(encoder->out, static_cast<uint32_t>(lesser(wanted, MAX_BYTES) / 2));
    }
    if (larger == nullptr) {
        return false;
    }
    encoder->out = static_cast<uint8_t *>(larger);
    encoder->writer.at = encoder->out + written;
    return true;
}

/* Adds strings until all codes of this width are in use, or the input ends. The codes of their
 * prefixes are those to write. */
__attribute__((noinline)) static void encode_run(Encoder *encoder)
{
    const uint8_t *in = encoder->in;
    const uint8_t *const end = encoder->end;
    const StringTable table = encoder->table;
    const uint32_t full = encoder->full;
    uint32_t next = encoder->next;
    KnownString string = encoder->string;

    do {
        const uint32_t byte = *in++;
        const uint32_t hash = string_hash(&table, string, byte);
        uint16_t *head = &table.heads[hash & table.mask];
        const uint32_t code = *head;
        if (likely(table.prefixes[code] == string.code)) {
            string = {hash, code};
            continue;
        }
        uint16_t *link = string_link(&table, code, string.code);
        if (unlikely(*link != 0)) {
            string = {*link, *link};
            continue;
        }
        table.prefixes[next] = static_cast<uint16_t>(string.code);
        *(code == 0 ? head : link) = static_cast<uint16_t>(next);
        next++;
        string = {byte, byte};
        if (next == full) {
            break;
        }
    } while (in != end);
    encoder->in = in;
    encoder->next = next;
    encoder->string = string;
}

/* Writes the codes of the prefixes of the strings from `first` on. */
static bool write_run(Encoder *encoder, uint32_t first)
{
    if (!reserve(encoder, encoder->next - first)) {
        return false;
    }
    const uint32_t width = encoder->width;
    const uint16_t *code = encoder->table.prefixes + first;
    const uint16_t *const end = encoder->table.prefixes + encoder->next;
    CodeWriter writer = encoder->writer;
    for (; width <= PAIR_WIDTH && end - code >= 2; code += 2) {
        write_code(&writer, static_cast<uint32_t>(code[0]) << width | code[1], width * 2);
    }
    for (; code != end; code++) {
        write_code(&writer, *code, width);
    }
    encoder->writer = writer;
    return true;
}

static void widen(Encoder *encoder)
{
    encoder->width++;
    encoder->full *= 2;
    if (encoder->width > encoder->max_bits) {
        write_code(&encoder->writer, LZW_CLEAR, encoder->width);
        string_table_clear(&encoder->table);
        begin_table(encoder);
    }
}

static void encode_wrapped_run(Encoder *encoder, uint16_t *longer, uint32_t bytes)
{
    uint32_t code = encoder->string.code;
    while (bytes-- > 0) {
        const uint32_t byte = *encoder->in++;
        uint16_t *known = &longer[code << 8 | byte];
        if (*known != 0) {
            code = *known;
            continue;
        }
        write_code(&encoder->writer, code, encoder->width);
        *known = static_cast<uint16_t>(encoder->next);
        encoder->next = static_cast<uint16_t>(encoder->next + 1);
        code = byte;
    }
    encoder->string.code = code;
}

/* Fills a table that has an entry for every pair of code and byte. The last byte of a string is the
 * first of the string that was found next. */
static void copy_strings(const Encoder *encoder, uint16_t *longer)
{
    uint16_t *first_bytes = encoder->table.links; /* by code; the links are not needed any more */
    const uint16_t *prefixes = encoder->table.prefixes;
    for (uint32_t byte = 0; byte < LZW_CLEAR; byte++) {
        first_bytes[byte] = static_cast<uint16_t>(byte);
    }
    for (uint32_t code = LZW_FIRST; code < encoder->next; code++) {
        first_bytes[code] = first_bytes[prefixes[code]];
    }
    uint32_t found_next = encoder->string.code;
    for (uint32_t code = encoder->next - 1; code >= LZW_FIRST; code--) {
        longer[prefixes[code] << 8 | first_bytes[found_next]] = static_cast<uint16_t>(code);
        found_next = prefixes[code];
    }
}

/* The code counter has 16 bits. When it wraps, codes do not get wider and the table is not cleared:
 * codes in use are assigned to further strings, for which the table has no room. From there on a
 * larger table is used. No decoder can expand the result. */
static bool encode_wrapped(Encoder *encoder)
{
    uint16_t *longer = static_cast<uint16_t *>(calloc(1u << 24, sizeof *longer));
    if (longer == nullptr) {
        return false;
    }
    copy_strings(encoder, longer);
    encoder->next = 0;
    bool done = true;
    while (done && encoder->in != encoder->end) {
        const size_t left = static_cast<size_t>(encoder->end - encoder->in);
        const uint32_t bytes = static_cast<uint32_t>(lesser(left, WRAPPED_RUN));
        done = reserve(encoder, bytes);
        if (done) {
            encode_wrapped_run(encoder, longer, bytes);
        }
    }
    free(longer);
    return done;
}

/* Bits that do not fill a byte are written once more, as a code, which completes the byte. The bits
 * that remain after it are dropped. */
static void finish(Encoder *encoder)
{
    CodeWriter *writer = &encoder->writer;
    write_code(writer, encoder->string.code, encoder->width);
    write_code(writer, LZW_END, encoder->width);
    const uint32_t rest = writer->held & ((1u << writer->bits) - 1);
    if (rest != 0) {
        write_code(writer, rest, encoder->width);
    }
}

static bool encode(Encoder *encoder)
{
    while (encoder->in != encoder->end) {
        if (encoder->next > UINT16_MAX) {
            return encode_wrapped(encoder);
        }
        const uint32_t first = encoder->next;
        encode_run(encoder);
        if (!write_run(encoder, first)) {
            return false;
        }
        if (encoder->next == encoder->full && encoder->next <= UINT16_MAX) {
            widen(encoder);
        }
    }
    return true;
}

/* The count of the result is that of its bytes, and as many zeros follow them. */
static void *result_of(Encoder *encoder)
{
    finish(encoder);
    const uint32_t bytes = static_cast<uint32_t>(encoder->writer.at - encoder->out);
    uint8_t *result = static_cast<uint8_t *>(block_resize(encoder->out, bytes));
    if (result != nullptr) {
        memset(result + bytes, 0, bytes);
    }
    return result;
}

/* The bits of the codes that an input of this length may need. */
static uint32_t code_bits(uint32_t max_bits, uint32_t length)
{
    uint32_t bits = LZW_FIRST_WIDTH;
    while (bits < max_bits && length > (1u << bits) - LZW_FIRST) {
        bits++;
    }
    return bits;
}

void *lzw_encode(const void *in, int max_bits)
{
    const uint32_t length = in == nullptr ? 0 : block_count(in);
    if (length == 0) {
        return nullptr;
    }
    Encoder encoder = {};
    encoder.begin = static_cast<const uint8_t *>(in);
    encoder.in = encoder.begin + 1;
    encoder.end = encoder.begin + length;
    encoder.string = {*encoder.begin, *encoder.begin};
    encoder.max_bits = clamped(max_bits);
    begin_table(&encoder);
    encoder.out = static_cast<uint8_t *>(mem_alloc(2, LZW_FIRST_ROOM / 2));
    encoder.writer.at = encoder.out;

    void *result = nullptr;
    if (encoder.out != nullptr &&
        string_table_make(&encoder.table, code_bits(encoder.max_bits, length)) &&
        encode(&encoder)) {
        result = result_of(&encoder);
    }
    if (result == nullptr) {
        block_free(encoder.out);
    }
    string_table_free(&encoder.table);
    return result;
}
