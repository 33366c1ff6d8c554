/* Reads one request front to back: the one place that checks lengths and tags of what a phone sent.
 *
 * Borrows the bytes. The first bad read sets `failed`; every later read gives zero or nothing, so a
 * handler reads all its arguments and never asks: host_methods() offers it no slot to call, and the
 * reply functions send its failure form. */
#pragma once

#include <stdint.h>

struct RequestReader {
    const uint8_t *bytes;
    uint32_t size;
    uint32_t at;
    uint16_t code; /* the method code, echoed in replies */
    bool has_code; /* false: the request ends before its code, and nothing is answered */
    bool failed;
};

/* What is asserted of a tag byte, and how it is told when it does not hold. */
struct TagCheck {
    uint32_t index;
    uint8_t tag;
    const char *expression;
    int line;
};

/* Readers that stand at the index of the first argument. A set request has its code at index 0, a
 * get request at index 1 behind the call kind, a whole body (with its type byte) at 1 as well. */
RequestReader set_request(const uint8_t *request, int32_t length, uint32_t first);
RequestReader get_request(const uint8_t *request, int32_t length, uint32_t first);

/* A wrong tag prints the line of a failed assertion; then the process ends, or the request is
 * refused, as the host's guard says. */
void check_tag(RequestReader *r, TagCheck check, const char *handler);

void skip(RequestReader *r, uint32_t count);
uint8_t read_u8(RequestReader *r);
uint16_t read_u16(RequestReader *r);
uint32_t read_u32(RequestReader *r);
int16_t read_i16(RequestReader *r);
int32_t read_i32(RequestReader *r);
int64_t read_i64(RequestReader *r);
float read_f32(RequestReader *r);

/* A text with its 2-byte length in front. */
struct RequestText {
    const uint8_t *bytes; /* in the request, not terminated */
    uint16_t length;
};
RequestText read_text(RequestReader *r);

/* The same into a buffer, which is filled up with zeros; returns the length. A text that leaves no
 * room for a zero fails. */
uint16_t read_text_into(RequestReader *r, char *to, uint32_t to_size);

/* The same as a terminated copy on the heap, the caller's to free; null and empty once the reader
 * has failed, as it does when memory is out. */
struct HeapText {
    char *chars;
    uint32_t length;
};
HeapText read_text_copy(RequestReader *r);

/* A copy of `length` bytes that have no length in front of them. */
HeapText read_copy(RequestReader *r, uint32_t length);

/* A terminated copy of a text, the caller's to free; null when memory is out. */
char *copy_text(const RequestText *text);
