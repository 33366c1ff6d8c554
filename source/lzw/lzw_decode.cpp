/* SPDX-License-Identifier: MIT */
/* The strings of the table are not stored: each is a part of the output, and the table holds where
 * it starts. The string of a code is the one that was written there plus one byte, the first of the
 * string written next, at which the string of the next code starts. The strings of one byte stand
 * behind the room for the others. */
#include "base/block_header.h"
#include "base/log.h"
#include "lzw/lzw_codes.h"
#include "lzw/lzw_room.h"
#include "tvlink/host/sized_block.h"
#include "tvlink/lzw.h"

#include <stdint.h>
#include <stdlib.h>
#include <string.h>

namespace
{

/* Bytes that one step of a copy takes. Few strings are longer, so the branch for those is well
 * predicted. A step may write beyond the end of the string. */
const uint32_t COPY_STEP = 16;
const uint32_t SINGLE_BYTES = LZW_CLEAR + COPY_STEP; /* in the output, behind the room */
const uint32_t MAX_ROOM = UINT32_MAX - 8 - SINGLE_BYTES;
const uint32_t READER_BITS = 64; /* of the input, which the reader may read in advance */

/* Values of the tail lengths. */
const uint8_t LONG_TAIL = COPY_STEP; /* or longer */
const uint8_t NO_STRING = UINT8_MAX;

const size_t CODE_SIZE = sizeof(uint32_t) + sizeof(uint8_t); /* of start and tail length */

enum Outcome { GO_ON, ENDED, NO_END, BAD_SEQUENCE, TOO_MANY_BITS, NO_MEMORY };

/* The state at the latest widening of codes. */
struct Widening {
    uint32_t former_width; /* 0: none since the table was cleared */
    uint64_t at;
    uint32_t written;
};

struct Decoder {
    const uint8_t *in;
    uint64_t bits; /* of the input */
    uint64_t at;   /* the bits that have been read */
    uint8_t *out;
    uint32_t room;
    uint32_t written;
    uint32_t *starts; /* of strings in the output, by code */
    uint8_t *tails;   /* lengths of strings without their first bytes, by code; behind the starts */
    uint32_t codes;   /* which starts and tails have memory for */
    uint32_t width;
    uint32_t next; /* the code of the next new string */
    uint32_t full; /* when `next` reaches it, all codes of this width are in use */
    Widening widening;
};

/* Reads codes of one width. */
struct CodeReader {
    const uint8_t *next;
    uint64_t held; /* its lowest `bits` have not been read */
    int bits;
    int width;
};

} // namespace

static inline uint32_t word_at(const uint8_t *bytes)
{
    return static_cast<uint32_t>(bytes[0]) << 24 | static_cast<uint32_t>(bytes[1]) << 16 |
           static_cast<uint32_t>(bytes[2]) << 8 | bytes[3];
}

/* The end of the input is filled up with zeros. */
static uint32_t code_at(const Decoder *decoder, uint64_t at, uint32_t width)
{
    uint8_t bytes[4] = {0};
    for (uint64_t i = 0; i < 4 && at / 8 + i < decoder->bits / 8; i++) {
        bytes[i] = decoder->in[at / 8 + i];
    }
    return word_at(bytes) << at % 8 >> (32 - width);
}

static inline uint32_t read_code(CodeReader *reader)
{
    reader->bits -= reader->width;
    if (reader->bits < 0) {
        reader->held = reader->held << 32 | word_at(reader->next);
        reader->next += 4;
        reader->bits += 32;
    }
    return static_cast<uint32_t>(reader->held >> reader->bits) & ((1u << reader->width) - 1);
}

static inline void copy_step(uint8_t *to, const uint8_t *from)
{
    uint8_t bytes[COPY_STEP];
    memcpy(bytes, from, COPY_STEP);
    memcpy(to, bytes, COPY_STEP);
}

/* Copies a string that starts here, with a tail of COPY_STEP bytes or more, when the spare room
 * suffices. */
static inline bool copy_long(uint8_t *to, const uint8_t *out, const uint32_t *start, size_t *tail,
                             size_t *spare)
{
    *tail = start[1] - start[0];
    if (*tail + COPY_STEP > *spare) {
        return false;
    }
    *spare -= *tail;
    const uint8_t *from = out + start[0];
    for (size_t done = 0; done <= *tail; done += size_t{2} * COPY_STEP) {
        copy_step(to + done, from + done);
        copy_step(to + done + COPY_STEP, from + done + COPY_STEP);
    }
    return true;
}

/* The codes that can be decoded before input, room or the codes of this width run out. Half of the
 * room is for the first COPY_STEP bytes of every string, half for the rest of the long ones. */
static uint32_t easy_codes(const Decoder *decoder)
{
    if (decoder->at + READER_BITS > decoder->bits || decoder->next == 0) {
        return 0;
    }
    const uint64_t in_input = (decoder->bits - READER_BITS - decoder->at) / decoder->width;
    const uint64_t in_room = (decoder->room - decoder->written) / (2 * COPY_STEP);
    return static_cast<uint32_t>(lesser(lesser(in_input, in_room), decoder->full - decoder->next));
}

/* Decodes as many codes as easy_codes(), fewer when another code than that of a string comes or a
 * long string needs too much of the room. */
__attribute__((noinline)) static void decode_run(Decoder *decoder)
{
    uint32_t *const starts = decoder->starts;
    uint8_t *const tails = decoder->tails;
    uint8_t *const out = decoder->out;
    const uint32_t codes = easy_codes(decoder);
    if (codes == 0) {
        return;
    }
    CodeReader reader = {decoder->in + decoder->at / 8, 0, -static_cast<int>(decoder->at % 8),
                         static_cast<int>(decoder->width)};
    size_t written = decoder->written;
    size_t spare = decoder->room - written - size_t{codes} * COPY_STEP;
    size_t newest = decoder->next - 1;
    const size_t last = newest + codes;

    while (newest != last) {
        const size_t code = read_code(&reader);
        size_t tail = tails[code];
        starts[newest + 1] = static_cast<uint32_t>(written);
        if (likely(tail < COPY_STEP)) {
            copy_step(out + written, out + starts[code]);
            tails[newest + 1] = static_cast<uint8_t>(tail + 1);
        } else if (tail != NO_STRING &&
                   copy_long(out + written, out, &starts[code], &tail, &spare)) {
            tails[newest + 1] = LONG_TAIL;
        } else {
            reader.bits += reader.width; /* decode_code() reads the code again */
            break;
        }
        if (code == newest) {
            out[written + tail] = out[written]; /* it was not yet written when it was copied */
        }
        written += tail + 1;
        newest++;
    }
    decoder->at = static_cast<uint64_t>((reader.next - decoder->in) * int64_t{8} - reader.bits);
    decoder->next = static_cast<uint32_t>(newest + 1);
    decoder->written = static_cast<uint32_t>(written);
}

static void begin_table(Decoder *decoder)
{
    memset(decoder->tails, 0, LZW_CLEAR);
    memset(decoder->tails + LZW_CLEAR, NO_STRING, decoder->full - LZW_CLEAR);
    decoder->width = LZW_FIRST_WIDTH;
    decoder->next = LZW_FIRST;
    decoder->full = 1u << LZW_FIRST_WIDTH;
    decoder->widening = {};
}

static bool enlarge_table(Decoder *decoder)
{
    const uint32_t codes = decoder->codes * 2;
    void *larger = realloc(decoder->starts, codes * CODE_SIZE);
    if (larger == nullptr) {
        return false;
    }
    decoder->starts = static_cast<uint32_t *>(larger);
    decoder->tails = reinterpret_cast<uint8_t *>(decoder->starts + codes);
    memcpy(decoder->tails, decoder->starts + decoder->codes, decoder->codes);
    memset(decoder->tails + decoder->codes, NO_STRING, decoder->codes);
    decoder->codes = codes;
    return true;
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
    return decoder->full <= decoder->codes || enlarge_table(decoder) ? GO_ON : NO_MEMORY;
}

/* Puts the strings of one byte behind the room of the output. */
static void set_room(Decoder *decoder, uint32_t room)
{
    decoder->room = room;
    for (uint32_t byte = 0; byte < LZW_CLEAR; byte++) {
        decoder->starts[byte] = room + byte;
        decoder->out[room + byte] = static_cast<uint8_t>(byte);
    }
}

static Outcome enlarge_output(Decoder *decoder, uint64_t least)
{
    const uint64_t wanted = lzw_room(least, decoder->at / 8, decoder->bits / 8);
    const uint32_t room = static_cast<uint32_t>(lesser(wanted, MAX_ROOM));
    void *larger = nullptr;
    if (least <= MAX_ROOM) {
        larger = block_resize(decoder->out, room + SINGLE_BYTES);
    }
    if (larger == nullptr) {
        return NO_MEMORY;
    }
    decoder->out = static_cast<uint8_t *>(larger);
    set_room(decoder, room);
    return GO_ON;
}

static Outcome decode_string(Decoder *decoder, uint32_t code)
{
    uint32_t *starts = decoder->starts;
    starts[decoder->next] = decoder->written;
    const uint32_t tail = code < LZW_CLEAR ? 0 : starts[code + 1] - starts[code];
    if (tail >= decoder->room - decoder->written) {
        return enlarge_output(decoder, uint64_t{decoder->written} + tail + 1);
    }
    const uint8_t *from = decoder->out + starts[code];
    uint8_t *to = decoder->out + decoder->written;
    memcpy(to, from, tail);
    to[tail] = from[tail]; /* which may be to[0] */
    decoder->tails[decoder->next] = static_cast<uint8_t>(lesser(tail + 1, LONG_TAIL));
    decoder->written += tail + 1;
    decoder->at += decoder->width;
    decoder->next++;
    return GO_ON;
}

/* Decodes one code with all checks. When the table or the output is full, enlarges that instead. */
static Outcome decode_code(Decoder *decoder)
{
    if (decoder->next == decoder->full) {
        return widen(decoder);
    }
    if (decoder->at + 8 > decoder->bits) {
        return NO_END;
    }
    const uint32_t code = code_at(decoder, decoder->at, decoder->width);
    if ((code | 1) != LZW_END) {
        return code < decoder->next ? decode_string(decoder, code) : BAD_SEQUENCE;
    }
    decoder->at += decoder->width;
    if (code == LZW_END) {
        return ENDED;
    }
    begin_table(decoder);
    return GO_ON;
}

static Outcome decode_all(Decoder *decoder)
{
    Outcome outcome = GO_ON;
    while (outcome == GO_ON) {
        decode_run(decoder);
        outcome = decode_code(decoder);
    }
    return outcome;
}

/* True when the stream ends right at the latest widening. An encoder adds no string after the last
 * code and so does not widen: its end code is one bit narrower than the decoder expects. */
static bool ended_at_widening(Decoder *decoder)
{
    const Widening *widening = &decoder->widening;
    const uint64_t end = widening->at + widening->former_width;
    if (widening->former_width == 0 || end > decoder->bits ||
        decoder->bits - end > widening->former_width) {
        return false;
    }
    if (code_at(decoder, widening->at, widening->former_width) != LZW_END) {
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

static bool begin(Decoder *decoder, const void *in)
{
    decoder->in = static_cast<const uint8_t *>(in);
    decoder->bits = uint64_t{block_count(in)} * 8;
    decoder->full = 1u << LZW_FIRST_WIDTH;
    decoder->codes = decoder->full;
    decoder->starts = static_cast<uint32_t *>(calloc(decoder->codes, CODE_SIZE));
    decoder->out = static_cast<uint8_t *>(mem_alloc(1, LZW_FIRST_ROOM + SINGLE_BYTES));
    if (decoder->starts == nullptr || decoder->out == nullptr) {
        return false;
    }
    decoder->tails = reinterpret_cast<uint8_t *>(decoder->starts + decoder->codes);
    begin_table(decoder);
    set_room(decoder, LZW_FIRST_ROOM);
    return true;
}

void *lzw_decode(const void *in)
{
    if (in == nullptr) {
        return nullptr;
    }
    Decoder decoder = {};
    void *result = nullptr;
    if (begin(&decoder, in) && is_usable(&decoder, decode_all(&decoder))) {
        result = block_resize(decoder.out, decoder.written);
    }
    if (result == nullptr) {
        block_free(decoder.out);
    }
    free(decoder.starts);
    return result;
}
