/* SPDX-License-Identifier: MIT */
/* Reads one request front to back: the one place that checks lengths and tags of what a phone sent.
 *
 * Borrows the request's bytes and owns the copies of texts that it makes; the reply functions
 * release them (methods/replies.h). The first bad read sets `failed`; every later read gives zero
 * or an empty text, so a handler reads all its arguments without a check: call_slot() calls no slot
 * for a failed reader, and the reply functions send the failure form. */
#pragma once

#include <stdint.h>

enum { REQUEST_COPIES_MAX = 3 /* the most texts that one request carries on the heap */ };

struct RequestReader {
    const uint8_t *bytes;
    uint32_t size;
    uint32_t at;
    uint16_t code; /* the method code of the reply: the request's, or the handler's own */
    bool has_code; /* false: the request ends before its code, and nothing is answered */
    bool failed;
    bool out_of_memory; /* why it failed */
    uint8_t copy_count;
    char *copies[REQUEST_COPIES_MAX];
};

/* What is asserted of a tag byte, and the parts of the line for a wrong one. */
struct TagCheck {
    uint32_t index;
    uint8_t tag;
    const char *expression;
    int line;
};

/* Readers that stand at the index of the first argument. A set request has its code at index 0, a
 * get request at index 1 behind the call kind, a whole body (with its type byte) at 1 as well.
 * `own_code` replaces the request's code in the reply unless it is 0. */
RequestReader set_request(const uint8_t *request, int32_t length, uint32_t first,
                          uint16_t own_code = 0);
RequestReader get_request(const uint8_t *request, int32_t length, uint32_t first,
                          uint16_t own_code = 0);

/* For a handler that looks at no byte of its request. */
RequestReader unread_request(uint16_t own_code);

/* Frees the copies, whose texts are then invalid. Idempotent. */
void request_release(RequestReader *r);

/* The request fails, and cannot be carried out, for want of memory. */
void request_out_of_memory(RequestReader *r);

/* A wrong tag prints the line of a failed assertion; then the process ends, or the request is
 * refused, as the host's guard says. */
void check_tag(RequestReader *r, TagCheck check, const char *handler);

/* What is skipped need not be there. */
void skip(RequestReader *r, uint32_t count);
uint8_t read_u8(RequestReader *r);
uint16_t read_u16(RequestReader *r);
uint32_t read_u32(RequestReader *r);
int16_t read_i16(RequestReader *r);
int32_t read_i32(RequestReader *r);
int64_t read_i64(RequestReader *r);
float read_f32(RequestReader *r);

/* A text with its 2-byte length in front, into a buffer that is filled up with zeros; returns the
 * length. A text that leaves no room for a zero fails. */
uint16_t read_text_into(RequestReader *r, char *to, uint32_t to_size);

/* A terminated copy on the heap; null and empty once the reader has failed, as it does when memory
 * is out. */
struct HeapText {
    char *chars;
    uint32_t length;
};

/* A text with its 2-byte length in front, and one of `length` bytes without: the reader's own. */
HeapText read_text(RequestReader *r);
HeapText read_bytes(RequestReader *r, uint32_t length);

/* The same as read_text without a copy: only the length is checked. */
void skip_text(RequestReader *r);

/* The latest copy, from now on the caller's to free. There is one: the reader has not failed. */
char *give_copy(RequestReader *r);
