#include "base/block_header.h"
#include "lzw/lzw_codes.h"
#include "lzw/string_table.h"
#include "tvlink/host/sized_block.h"
#include "tvlink/lzw.h"

#include <stdint.h>
#include <stdlib.h>

namespace
{

const int USUAL_BITS = 12;
const uint32_t EXTRA_CODES = 16; /* room for the codes around those of a run, and for a word */
const uint32_t WRAPPED_RUN = 1u << 16;

/* Codes on their way into a block. A word is written for each code; zeros follow its bits. */
struct CodeWriter {
    uint8_t *at;
    uint32_t held; /* the lowest `bits`, less than a byte, stand at `at` and are not yet done */
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

static inline void write_word(uint8_t *to, uint32_t word)
{
    to[0] = static_cast<uint8_t>(word >> 24);
    to[1] = static_cast<uint8_t>(word >> 16);
    to[2] = static_cast<uint8_t>(word >> 8);
    to[3] = static_cast<uint8_t>(word);
}

/* No branch: it would depend on the data, and be foreseen badly. */
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

/* Room for so many codes and what may follow them. A block of this element size has room for twice
 * its count of bytes, so it grows by doubling. */
static bool reserve(Encoder *encoder, uint32_t codes)
{
    const size_t written = static_cast<size_t>(encoder->writer.at - encoder->out);
    const uint64_t wanted = uint64_t{written} + (codes + EXTRA_CODES) * (encoder->width + 1) / 8;
    if (wanted <= uint64_t{block_count(encoder->out)} * 2) {
        return true;
    }
    void *larger = nullptr;
    if (wanted <= UINT32_MAX) {
        larger = mem_extend(encoder->out, static_cast<uint32_t>(wanted));
    }
    if (larger == nullptr) {
        return false;
    }
    encoder->out = static_cast<uint8_t *>(larger);
    encoder->writer.at = encoder->out + written;
    return true;
}

/* No more codes than bytes are left, and no more than this. */
static uint32_t codes_to_come(const Encoder *encoder, uint32_t most)
{
    const size_t left = static_cast<size_t>(encoder->end - encoder->in);
    return left < most ? static_cast<uint32_t>(left) : most;
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
        const uint32_t longer = string_find(&table, code, byte);
        if (longer != 0) {
            code = longer;
            continue;
        }
        write_code(&writer, code, width);
        string_add(&table, code, byte, next);
        next++;
        code = byte;
    }
    encoder->in = in;
    encoder->writer = writer;
    encoder->next = next;
    encoder->code = code;
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
    while (bytes-- > 0) {
        const uint32_t byte = *encoder->in++;
        uint16_t *known = &longer[string_key(encoder->code, byte)];
        if (*known != 0) {
            encoder->code = *known;
            continue;
        }
        write_code(&encoder->writer, encoder->code, encoder->width);
        *known = static_cast<uint16_t>(encoder->next);
        encoder->next = static_cast<uint16_t>(encoder->next + 1);
        encoder->code = byte;
    }
}

/* The counter of codes has 16 bits. When it wraps, codes get no wider and the table is not cleared:
 * codes that stand for something get more strings, for which the table has no place. From here on
 * there is one for every byte behind every code. Nobody can read the result. */
static bool encode_wrapped(Encoder *encoder)
{
    uint16_t *longer = static_cast<uint16_t *>(calloc(1u << 24, sizeof *longer));
    if (longer == nullptr) {
        return false;
    }
    for (uint32_t code = LZW_FIRST; code < encoder->next; code++) {
        longer[encoder->table.strings[code].key] = static_cast<uint16_t>(code);
    }
    encoder->next = 0;
    uint32_t bytes = codes_to_come(encoder, WRAPPED_RUN);
    while (bytes > 0 && reserve(encoder, bytes)) {
        encode_wrapped_run(encoder, longer, bytes);
        bytes = codes_to_come(encoder, WRAPPED_RUN);
    }
    free(longer);
    return bytes == 0;
}

/* The bits that do not fill a byte are written as a code of their own, which brings them out. What
 * is then left is lost. */
static void finish(Encoder *encoder)
{
    CodeWriter *writer = &encoder->writer;
    write_code(writer, encoder->code, encoder->width);
    write_code(writer, LZW_END, encoder->width);
    const uint32_t rest = writer->held & ((1u << writer->bits) - 1);
    if (rest != 0) {
        write_code(writer, rest, encoder->width);
    }
    *writer->at = 0;
}

static bool encode(Encoder *encoder)
{
    while (encoder->in != encoder->end) {
        if (encoder->next > UINT16_MAX) {
            return encode_wrapped(encoder);
        }
        if (!reserve(encoder, codes_to_come(encoder, encoder->full - encoder->next))) {
            return false;
        }
        encode_run(encoder);
        if (encoder->next == encoder->full && encoder->next <= UINT16_MAX) {
            widen(encoder);
        }
    }
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
    encoder.writer.at = encoder.out;

    void *result = nullptr;
    if (encoder.out != nullptr && string_table_make(&encoder.table, encoder.max_bits) &&
        encode(&encoder)) {
        finish(&encoder);
        result = mem_extend(encoder.out, static_cast<uint32_t>(encoder.writer.at - encoder.out));
    }
    if (result == nullptr) {
        block_free(encoder.out);
    }
    string_table_free(&encoder.table);
    return result;
}
