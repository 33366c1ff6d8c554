#include "base/block_header.h"
#include "lzw/lzw_codes.h"
#include "lzw/string_table.h"
#include "tvlink/host/sized_block.h"
#include "tvlink/lzw.h"

#include <stdint.h>
#include <stdlib.h>

namespace
{

const int DEFAULT_BITS = 12;
const uint32_t EXTRA_CODES = 16; /* room for the codes around those of a run, and for a word */
const uint32_t WRAPPED_RUN = 1u << 16;

/* Packs codes into a block. Each code is written as a word, with zeros behind its bits. */
struct CodeWriter {
    uint8_t *at;
    uint32_t held; /* its lowest `bits`, fewer than 8, are at `at` and not complete */
    uint32_t bits;
};

struct Encoder {
    const uint8_t *in; /* the rest of the input */
    const uint8_t *end;
    StringTable table;
    uint8_t *out;
    CodeWriter writer;
    uint32_t max_bits;
    uint32_t width;
    uint32_t next; /* the code of the next new string */
    uint32_t full; /* when `next` reaches it, all codes of this width are in use */
    uint32_t code; /* of the longest known string that ends at `in` */
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
 * twice its count of bytes, so the room doubles each time. */
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

/* An upper bound of the codes to come: one for each remaining byte, at most this many. */
static uint32_t codes_to_come(const Encoder *encoder, uint32_t limit)
{
    const size_t left = static_cast<size_t>(encoder->end - encoder->in);
    return left < limit ? static_cast<uint32_t>(left) : limit;
}

/* Encodes until all codes of this width are in use, or the input ends. */
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

/* The code counter has 16 bits. When it wraps, codes do not get wider and the table is not cleared:
 * codes in use are assigned to further strings, for which the table has no room. From there on a
 * larger table has an entry for every pair of code and byte. No decoder can expand the result. */
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

/* Bits that do not fill a byte are written once more, as a code, which completes the byte. The bits
 * that remain after it are dropped. */
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
