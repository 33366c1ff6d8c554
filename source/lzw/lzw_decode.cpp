/* A string of the table is never stored: it is a stretch of what has been written before. The table
 * knows where each begins. A string reaches one byte further than the one that was written there,
 * into the one behind it. */
#include "core/log.h"
#include "lzw/lzw_codes.h"
#include "net/block_header.h"
#include "tvlink/lzw.h"
#include "tvlink/sized_block.h"

#include <stdint.h>
#include <string.h>

namespace
{

const uint32_t COPY_STEP = 16; /* strings are copied in steps, which may reach over their end */
const uint32_t MOST_OUTPUT = UINT32_MAX - 8; /* the elements of the largest block */

enum Outcome {
    TABLE_FULL, /* codes of this width are used up */
    CLEARED,    /* the codes to which a run comes */
    ENDED,
    BAD_SEQUENCE,
    TOO_MANY_BITS,
    NO_END, /* the input has run out */
    NO_MEMORY
};

/* Where codes became wider. */
struct Widening {
    uint32_t former_width; /* 0: they have not, since the table was cleared */
    uint64_t at;
    uint32_t written;
};

struct Decoder {
    const uint8_t *in;
    uint32_t size;
    uint64_t at; /* bits of the input that have been read */
    uint8_t *out;
    uint32_t room;
    uint32_t written;
    uint32_t *starts; /* of strings in `out`, by code; of a single byte 0 */
    uint32_t width;
    uint32_t next; /* the code that the next new string gets */
    uint32_t full; /* when `next` gets here, codes of this width are used up */
    Widening widening;
};

} // namespace

static uint32_t whole_word(const uint8_t *bytes)
{
    return static_cast<uint32_t>(bytes[0]) << 24 | static_cast<uint32_t>(bytes[1]) << 16 |
           static_cast<uint32_t>(bytes[2]) << 8 | bytes[3];
}

/* The code at a bit of the input, behind which zeros follow. */
static inline uint32_t code_at(const uint8_t *in, uint32_t size, uint64_t at, uint32_t width)
{
    const uint32_t byte = static_cast<uint32_t>(at / 8);
    const uint32_t left = size - byte;
    uint32_t word = 0;
    if (left >= 4) {
        word = whole_word(in + byte);
    } else {
        uint8_t last[4] = {0};
        memcpy(last, in + byte, left);
        word = whole_word(last);
    }
    return word << at % 8 >> (32 - width);
}

static void begin_table(Decoder *decoder)
{
    decoder->width = LZW_FIRST_WIDTH;
    decoder->next = LZW_FIRST;
    decoder->full = 1u << LZW_FIRST_WIDTH;
    decoder->widening = {};
}

static bool reserve_output(Decoder *decoder, uint32_t length)
{
    const uint64_t least = uint64_t{decoder->written} + length + COPY_STEP;
    const uint64_t wanted = least * 2 < MOST_OUTPUT ? least * 2 : MOST_OUTPUT;
    void *larger = nullptr;
    if (least <= MOST_OUTPUT) {
        larger = mem_extend(decoder->out, static_cast<uint32_t>(wanted));
    }
    if (larger == nullptr) {
        return false;
    }
    decoder->out = static_cast<uint8_t *>(larger);
    decoder->room = static_cast<uint32_t>(wanted);
    return true;
}

static inline void copy_string(uint8_t *to, const uint8_t *from, uint32_t length)
{
    for (uint32_t done = 0; done < length; done += COPY_STEP) {
        memcpy(to + done, from + done, COPY_STEP);
    }
}

static Outcome decode_run(Decoder *decoder)
{
    while (decoder->next != decoder->full) {
        if (uint64_t{decoder->size} * 8 < decoder->at + 8) {
            return NO_END;
        }
        const uint32_t code = code_at(decoder->in, decoder->size, decoder->at, decoder->width);
        decoder->at += decoder->width;
        if (code == LZW_END || code == LZW_CLEAR) {
            return code == LZW_END ? ENDED : CLEARED;
        }
        if (code >= decoder->next) {
            return BAD_SEQUENCE;
        }
        decoder->starts[decoder->next] = decoder->written;
        decoder->next++;
        const uint32_t start = decoder->starts[code];
        const uint32_t length = code < LZW_FIRST ? 1 : decoder->starts[code + 1] - start + 1;
        if (decoder->room - decoder->written < uint64_t{length} + COPY_STEP &&
            !reserve_output(decoder, length)) {
            return NO_MEMORY;
        }
        uint8_t *to = decoder->out + decoder->written;
        for (uint32_t i = 0; i < length; i++) {
            to[i] = code < LZW_FIRST ? static_cast<uint8_t>(code) : decoder->out[start + i];
        }
        decoder->written += length;
    }
    return TABLE_FULL;
}

static Outcome widen(Decoder *decoder)
{
    decoder->next =
        static_cast<uint16_t>(decoder->next); /* it wraps, and then no code is below it */
    if (decoder->next != decoder->full) {
        return TABLE_FULL;
    }
    decoder->widening = {decoder->width, decoder->at, decoder->written};
    decoder->width++;
    if (decoder->width > LZW_WIDEST) {
        return TOO_MANY_BITS;
    }
    decoder->full *= 2;
    void *larger = realloc(decoder->starts, decoder->full * sizeof *decoder->starts);
    if (larger == nullptr) {
        return NO_MEMORY;
    }
    decoder->starts = static_cast<uint32_t *>(larger);
    return TABLE_FULL;
}

static Outcome decode_all(Decoder *decoder)
{
    for (;;) {
        Outcome outcome = decode_run(decoder);
        if (outcome == TABLE_FULL) {
            outcome = widen(decoder);
        }
        if (outcome == CLEARED) {
            begin_table(decoder);
        } else if (outcome != TABLE_FULL) {
            return outcome;
        }
    }
}

/* An encoder makes no string of the last code, so it does not widen after it, and its end is one
 * bit narrower than is looked for. */
static bool ended_at_widening(Decoder *decoder)
{
    const Widening *widening = &decoder->widening;
    const uint64_t size = uint64_t{decoder->size} * 8;
    const uint64_t end = widening->at + widening->former_width;
    if (widening->former_width == 0 || end > size || size - end > widening->former_width) {
        return false;
    }
    if (code_at(decoder->in, decoder->size, widening->at, widening->former_width) != LZW_END) {
        return false;
    }
    decoder->written = widening->written;
    return true;
}

/* Says what is wrong, when something is. Does what has been written count? */
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

void *lzw_decode(const void *in)
{
    if (in == nullptr) {
        return nullptr;
    }
    Decoder decoder = {};
    decoder.in = static_cast<const uint8_t *>(in);
    decoder.size = block_count(in);
    begin_table(&decoder);
    decoder.starts = static_cast<uint32_t *>(calloc(decoder.full, sizeof *decoder.starts));
    decoder.out = static_cast<uint8_t *>(mem_alloc(1, COPY_STEP));
    decoder.room = COPY_STEP;

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
