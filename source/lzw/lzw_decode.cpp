/* The strings of the table are not stored: each is a part of the output, and the table holds where
 * it starts. The string of a code is the one that was written there plus one byte, the first of the
 * string written next, at which the string of the next code starts. */
#include "base/block_header.h"
#include "base/log.h"
#include "lzw/lzw_codes.h"
#include "tvlink/host/sized_block.h"
#include "tvlink/lzw.h"

#include <stdint.h>
#include <stdlib.h>
#include <string.h>

namespace
{

/* Bytes that one step of a copy takes. Few strings are longer, so the loop's branch is well
 * predicted. The last step writes beyond the end of the string. */
const uint32_t COPY_STEP = 32;
const uint32_t MAX_OUTPUT = UINT32_MAX - 8; /* the elements of the largest block */

enum Outcome {
    GO_ON,
    TABLE_FULL,  /* codes of this width are used up */
    OUTPUT_FULL, /* no room for the string of the next code */
    CLEARED,
    ENDED,
    NO_END, /* the input ends without the end code */
    BAD_SEQUENCE,
    TOO_MANY_BITS,
    NO_MEMORY
};

/* The state at the latest widening of codes. */
struct Widening {
    uint32_t former_width; /* 0: none since the table was cleared */
    uint64_t at;
    uint32_t written;
};

struct Input {
    const uint8_t *bytes;
    uint64_t bits;
    uint64_t easy; /* at every bit before this one, a whole word can be read */
};

struct Decoder {
    Input in;
    uint64_t at; /* bits of the input that have been read */
    uint8_t *out;
    uint32_t room; /* for strings; COPY_STEP more bytes follow for the last step of a copy */
    uint32_t written;
    uint32_t *starts; /* of strings in the output, by code; 0 for those of one byte */
    uint32_t width;
    uint32_t next; /* the code of the next new string */
    uint32_t full; /* when `next` reaches it, all codes of this width are in use */
    Widening widening;
};

/* The strings of one byte, which are not in the output. */
struct SingleBytes {
    uint8_t bytes[256 + COPY_STEP];
};

constexpr SingleBytes single_bytes()
{
    SingleBytes result = {};
    for (uint32_t i = 0; i < 256; i++) {
        result.bytes[i] = static_cast<uint8_t>(i);
    }
    return result;
}

constexpr SingleBytes SINGLE = single_bytes();

} // namespace

static inline uint32_t word_at(const uint8_t *bytes)
{
    return static_cast<uint32_t>(bytes[0]) << 24 | static_cast<uint32_t>(bytes[1]) << 16 |
           static_cast<uint32_t>(bytes[2]) << 8 | bytes[3];
}

/* The word at a byte near the end of the input, filled up with zeros. */
__attribute__((noinline)) static uint32_t last_word(const Input *in, uint64_t byte)
{
    uint8_t bytes[4] = {0};
    for (uint32_t i = 0; i < 4 && (byte + i) * 8 < in->bits; i++) {
        bytes[i] = in->bytes[byte + i];
    }
    return word_at(bytes);
}

static inline uint32_t code_at(const Input *in, uint64_t at, uint32_t width)
{
    const uint32_t word =
        at < in->easy ? word_at(in->bytes + static_cast<size_t>(at / 8)) : last_word(in, at / 8);
    return word << at % 8 >> (32 - width);
}

static void begin_table(Decoder *decoder)
{
    decoder->width = LZW_FIRST_WIDTH;
    decoder->next = LZW_FIRST;
    decoder->full = 1u << LZW_FIRST_WIDTH;
    decoder->widening = {};
}

static inline uint32_t string_length(const uint32_t *starts, uint32_t code)
{
    return starts[code + 1] - starts[code] + 1;
}

static inline void copy_16(uint8_t *to, const uint8_t *from)
{
    uint8_t bytes[16];
    memcpy(bytes, from, 16);
    memcpy(to, bytes, 16);
}

static inline void copy_string(uint8_t *to, const uint8_t *from, uint32_t length)
{
    uint32_t done = 0;
    do {
        copy_16(to + done, from + done);
        copy_16(to + done + 16, from + done + 16);
        done += COPY_STEP;
    } while (done < length);
}

/* Writes strings until something else is to be done. */
__attribute__((noinline)) static Outcome decode_run(Decoder *decoder)
{
    const Input in = decoder->in;
    uint32_t *const starts = decoder->starts;
    uint8_t *const out = decoder->out;
    const uint32_t width = decoder->width;
    const uint32_t full = decoder->full;
    const uint32_t room = decoder->room;
    uint64_t at = decoder->at;
    uint32_t next = decoder->next;
    uint32_t written = decoder->written;
    Outcome outcome = TABLE_FULL;

    while (next != full) {
        if (at >= in.easy && at + 8 > in.bits) {
            outcome = NO_END;
            break;
        }
        const uint32_t code = code_at(&in, at, width);
        if ((code | 1) == LZW_END) {
            at += width;
            outcome = code == LZW_END ? ENDED : CLEARED;
            break;
        }
        if (code >= next) {
            outcome = BAD_SEQUENCE;
            break;
        }
        starts[next] = written;
        const uint32_t length = string_length(starts, code);
        if (length > room - written) {
            outcome = OUTPUT_FULL;
            break;
        }
        uint8_t *to = out + written;
        copy_string(to, code < LZW_CLEAR ? SINGLE.bytes + code : out + starts[code], length);
        if (code + 1 == next) {
            to[length - 1] = to[0]; /* the last byte was not yet written when it was copied */
        }
        written += length;
        at += width;
        next++;
    }
    decoder->at = at;
    decoder->next = next;
    decoder->written = written;
    return outcome;
}

static Outcome widen(Decoder *decoder)
{
    decoder->next =
        static_cast<uint16_t>(decoder->next); /* wraps to 0: then no string has a valid code */
    if (decoder->next != decoder->full) {
        return GO_ON;
    }
    decoder->widening = {decoder->width, decoder->at, decoder->written};
    decoder->width++;
    if (decoder->width > LZW_MAX_WIDTH) {
        return TOO_MANY_BITS;
    }
    decoder->full *= 2;
    void *larger = realloc(decoder->starts, decoder->full * sizeof *decoder->starts);
    if (larger == nullptr) {
        return NO_MEMORY;
    }
    decoder->starts = static_cast<uint32_t *>(larger);
    return GO_ON;
}

static Outcome enlarge_output(Decoder *decoder)
{
    const uint32_t code = code_at(&decoder->in, decoder->at, decoder->width);
    const uint64_t least =
        uint64_t{decoder->written} + string_length(decoder->starts, code) + COPY_STEP;
    const uint64_t wanted = least * 2 < MAX_OUTPUT ? least * 2 : MAX_OUTPUT;
    void *larger = nullptr;
    if (least <= MAX_OUTPUT) {
        larger = mem_extend(decoder->out, static_cast<uint32_t>(wanted));
    }
    if (larger == nullptr) {
        return NO_MEMORY;
    }
    decoder->out = static_cast<uint8_t *>(larger);
    decoder->room = static_cast<uint32_t>(wanted) - COPY_STEP;
    return GO_ON;
}

static Outcome after_run(Decoder *decoder, Outcome outcome)
{
    switch (outcome) {
    case TABLE_FULL:
        return widen(decoder);
    case OUTPUT_FULL:
        return enlarge_output(decoder);
    case CLEARED:
        begin_table(decoder);
        return GO_ON;
    default:
        return outcome;
    }
}

static Outcome decode_all(Decoder *decoder)
{
    Outcome outcome = GO_ON;
    while (outcome == GO_ON) {
        outcome = after_run(decoder, decode_run(decoder));
    }
    return outcome;
}

/* True when the stream ends right at the latest widening. An encoder adds no string after the last
 * code and so does not widen: its end code is one bit narrower than the decoder expects. */
static bool ended_at_widening(Decoder *decoder)
{
    const Widening *widening = &decoder->widening;
    const uint64_t end = widening->at + widening->former_width;
    if (widening->former_width == 0 || end > decoder->in.bits ||
        decoder->in.bits - end > widening->former_width) {
        return false;
    }
    if (code_at(&decoder->in, widening->at, widening->former_width) != LZW_END) {
        return false;
    }
    decoder->written = widening->written;
    return true;
}

/* True when the output is a result. Prints a line when the stream is bad. */
static bool is_usable(Decoder *decoder, Outcome outcome)
{
    if (outcome == NO_MEMORY) {
        return false;
    }
    if (outcome == ENDED || ended_at_widening(decoder)) {
        return true;
    }
    if (outcome == BAD_SEQUENCE) {
        log_err("Bad sequence\n");
    } else if (outcome == TOO_MANY_BITS) {
        log_err("Too many bits\n");
    } else {
        log_err("Bits did not end in EOD\n");
    }
    return outcome == NO_END;
}

static Input input_of(const void *block)
{
    const uint64_t bytes = block_count(block);
    return {static_cast<const uint8_t *>(block), bytes * 8, bytes < 4 ? 0 : (bytes - 3) * 8};
}

void *lzw_decode(const void *in)
{
    if (in == nullptr) {
        return nullptr;
    }
    Decoder decoder = {};
    decoder.in = input_of(in);
    begin_table(&decoder);
    decoder.starts = static_cast<uint32_t *>(calloc(decoder.full, sizeof *decoder.starts));
    decoder.out = static_cast<uint8_t *>(mem_alloc(1, COPY_STEP));

    void *result = nullptr;
    if (decoder.starts != nullptr && decoder.out != nullptr &&
        is_usable(&decoder, decode_all(&decoder))) {
        result = mem_extend(decoder.out, decoder.written);
    }
    if (result == nullptr) {
        block_free(decoder.out);
    }
    free(decoder.starts);
    return result;
}
