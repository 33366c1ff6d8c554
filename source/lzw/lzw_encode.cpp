#include "lzw/lzw_codes.h"
#include "lzw/string_table.h"
#include "net/block_header.h"
#include "tvlink/lzw.h"
#include "tvlink/sized_block.h"

#include <stdint.h>
#include <string.h>

namespace
{

const int USUAL_BITS = 12;
const uint32_t EXTRA_CODES = 8; /* room for the codes around those of a run, and for a whole word */

/* Codes on their way into a block. */
struct CodeWriter {
    uint8_t *at;
    uint64_t held; /* the lowest `bits` are still to be written */
    uint32_t bits;
};

struct Encoder {
    const uint8_t *in; /* what is left of the input */
    const uint8_t *end;
    StringTable table;
    uint8_t *out;
    CodeWriter writer;
    uint32_t max_bits;
    uint32_t width;
    uint32_t next; /* the code that the next new string gets */
    uint32_t full; /* when `next` gets here, codes of this width are used up */
    uint32_t code; /* of the string that the input is in */
};

} // namespace

static void write_word(uint8_t *to, uint32_t word)
{
    to[0] = static_cast<uint8_t>(word >> 24);
    to[1] = static_cast<uint8_t>(word >> 16);
    to[2] = static_cast<uint8_t>(word >> 8);
    to[3] = static_cast<uint8_t>(word);
}

static inline void write_code(CodeWriter *writer, uint32_t code, uint32_t width)
{
    writer->held = writer->held << width | code;
    writer->bits += width;
    if (writer->bits >= 32) {
        writer->bits -= 32;
        write_word(writer->at, static_cast<uint32_t>(writer->held >> writer->bits));
        writer->at += 4;
    }
}

static void write_whole_bytes(CodeWriter *writer)
{
    while (writer->bits >= 8) {
        writer->bits -= 8;
        *writer->at++ = static_cast<uint8_t>(writer->held >> writer->bits);
    }
}

static uint32_t clamped(int max_bits)
{
    if (max_bits > static_cast<int>(LZW_WIDEST)) {
        return LZW_WIDEST;
    }
    return static_cast<uint32_t>(max_bits < static_cast<int>(LZW_FIRST_WIDTH) ? USUAL_BITS
                                                                              : max_bits);
}

static void begin_table(Encoder *encoder)
{
    encoder->width = LZW_FIRST_WIDTH;
    encoder->next = LZW_FIRST;
    encoder->full = 1u << LZW_FIRST_WIDTH;
}

/* Room for the codes until the width changes or the input ends, and for those strings. A block of
 * this element size has room for twice its count of bytes, so it grows by doubling. */
static bool reserve(Encoder *encoder)
{
    const size_t left = static_cast<size_t>(encoder->end - encoder->in);
    const uint32_t to_full = encoder->full - encoder->next;
    const uint32_t codes = left < to_full ? static_cast<uint32_t>(left) : to_full;
    if (!string_table_reserve(&encoder->table, codes)) {
        return false;
    }
    const size_t written = static_cast<size_t>(encoder->writer.at - encoder->out);
    const uint64_t wanted = uint64_t{written} + (codes + EXTRA_CODES) * (encoder->width + 1) / 8;
    if (wanted <= uint64_t{block_count(encoder->out)} * 2) {
        return true;
    }
    void *larger =
        wanted > UINT32_MAX ? nullptr : mem_extend(encoder->out, static_cast<uint32_t>(wanted));
    if (larger == nullptr) {
        return false;
    }
    encoder->out = static_cast<uint8_t *>(larger);
    encoder->writer.at = encoder->out + written;
    return true;
}

/* Until codes of this width are used up, or the input is. */
static void encode_run(Encoder *encoder)
{
    const uint8_t *in = encoder->in;
    const uint8_t *const end = encoder->end;
    const StringTable table = encoder->table;
    const uint32_t width = encoder->width;
    const uint32_t full = encoder->full;
    CodeWriter writer = encoder->writer;
    uint32_t next = encoder->next;
    uint32_t code = encoder->code;

    while (in != end && next != full) {
        const uint32_t byte = *in++;
        const uint32_t key = string_key(table.age, code, byte);
        uint32_t slot = string_first_slot(code, byte, table.mask);
        while (table.keys[slot] != key && !string_slot_is_free(table.keys, slot, table.age)) {
            slot = (slot + 1) & table.mask;
        }
        if (table.keys[slot] == key) {
            code = table.codes[slot];
            continue;
        }
        write_code(&writer, code, width);
        table.keys[slot] = next == 0 ? 0 : key; /* code 0 means that there is no such string */
        table.codes[slot] = static_cast<uint16_t>(next);
        next++;
        code = byte;
    }
    encoder->table.used += next - encoder->next;
    encoder->in = in;
    encoder->writer = writer;
    encoder->next = next;
    encoder->code = code;
}

static void widen(Encoder *encoder)
{
    if (encoder->full > UINT16_MAX) {
        encoder->next = 0; /* the counter has 16 bits: it wraps, and the codes get no wider */
        return;
    }
    encoder->width++;
    encoder->full *= 2;
    if (encoder->width > encoder->max_bits) {
        write_code(&encoder->writer, LZW_CLEAR, encoder->width);
        string_table_clear(&encoder->table);
        begin_table(encoder);
    }
}

/* What does not fill a byte is written as a code of its own, so it comes out, and again behind. */
static void finish(Encoder *encoder)
{
    CodeWriter *writer = &encoder->writer;
    write_code(writer, encoder->code, encoder->width);
    write_code(writer, LZW_END, encoder->width);
    write_whole_bytes(writer);
    const uint32_t rest = static_cast<uint32_t>(writer->held) & ((1u << writer->bits) - 1);
    if (rest != 0) {
        write_code(writer, rest, encoder->width);
        write_whole_bytes(writer);
    }
}

static bool encode(Encoder *encoder)
{
    while (encoder->in != encoder->end) {
        if (!reserve(encoder)) {
            return false;
        }
        encode_run(encoder);
        if (encoder->next == encoder->full) {
            widen(encoder);
        }
    }
    finish(encoder);
    return true;
}

void *lzw_encode(const void *in, int max_bits)
{
    const uint32_t length = in == nullptr ? 0 : block_count(in);
    if (length == 0) {
        return nullptr;
    }
    Encoder encoder = {};
    encoder.in = static_cast<const uint8_t *>(in) + 1;
    encoder.end = static_cast<const uint8_t *>(in) + length;
    encoder.code = *static_cast<const uint8_t *>(in);
    encoder.max_bits = clamped(max_bits);
    begin_table(&encoder);
    encoder.out = static_cast<uint8_t *>(mem_alloc(2, EXTRA_CODES * 2));
    if (encoder.out == nullptr) {
        return nullptr;
    }
    encoder.writer.at = encoder.out;

    void *result = nullptr;
    if (encode(&encoder)) {
        result = mem_extend(encoder.out, static_cast<uint32_t>(encoder.writer.at - encoder.out));
    }
    if (result == nullptr) {
        block_free(encoder.out);
    }
    string_table_free(&encoder.table);
    return result;
}
