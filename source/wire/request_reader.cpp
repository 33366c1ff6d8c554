/* SPDX-License-Identifier: MIT */
#include "wire/request_reader.h"

#include "base/guard.h"
#include "base/log.h"
#include "base/outcome.h"
#include "tvlink/observer.h"
#include "wire/frame.h"

#include <errno.h>
#include <stdlib.h>
#include <string.h>

/* A part of the printed line, which is fixed. */
static const char *const SOURCE_NAME = "../source/tv/tv";

static RequestReader open_request(const uint8_t *request, int32_t length, uint32_t code_at,
                                  uint32_t first, uint16_t own_code)
{
    RequestReader r = {};
    r.bytes = request;
    r.size = request == nullptr || length < 0 ? 0 : static_cast<uint32_t>(length);
    r.at = code_at;
    const uint16_t requested = read_u16(&r);
    r.has_code = !r.failed;
    r.code = own_code != 0 ? own_code : requested;
    r.at = first; /* may lie beyond the end: then the first read fails */
    return r;
}

RequestReader set_request(const uint8_t *request, int32_t length, uint32_t first, uint16_t own_code)
{
    return open_request(request, length, 0, first, own_code);
}

RequestReader get_request(const uint8_t *request, int32_t length, uint32_t first, uint16_t own_code)
{
    return open_request(request, length, 1, first, own_code);
}

RequestReader unread_request(uint16_t own_code)
{
    RequestReader r = {};
    r.code = own_code;
    r.has_code = true;
    return r;
}

/* Later reads give zeros. */
static void fail(RequestReader *r, int reason)
{
    r->failed = true;
    outcome_refuse(reason);
}

void request_release(RequestReader *r)
{
    while (r->copy_count > 0) {
        free(r->copies[--r->copy_count]);
    }
}

void request_out_of_memory(RequestReader *r)
{
    r->out_of_memory = true;
    fail(r, IPP_REASON_NO_MEMORY);
}

static void bad_tag(const TagCheck &check, const char *handler)
{
    log_err("%s: %s:%d: %s: Assertion `%s' failed.\n", program_invocation_short_name, SOURCE_NAME,
            check.line, handler, check.expression);
    if (guard_ends_on_bad_tag()) {
        abort();
    }
}

void check_tag(RequestReader *r, TagCheck check, const char *handler)
{
    if (check.index >= r->size) {
        fail(r, IPP_REASON_TOO_SHORT);
    } else if (r->bytes[check.index] != check.tag) {
        bad_tag(check, handler);
        fail(r, IPP_REASON_WRONG_TAG);
    }
}

/* The next `count` bytes, or null when they are not all there. */
static const uint8_t *take(RequestReader *r, uint32_t count)
{
    if (r->failed || r->at > r->size || count > r->size - r->at) {
        fail(r, IPP_REASON_TOO_SHORT);
        return nullptr;
    }
    const uint8_t *bytes = r->bytes + r->at;
    r->at += count;
    return bytes;
}

void skip(RequestReader *r, uint32_t count)
{
    if (count > UINT32_MAX - r->at) {
        fail(r, IPP_REASON_TOO_SHORT);
    } else {
        r->at += count;
    }
}

uint8_t read_u8(RequestReader *r)
{
    const uint8_t *bytes = take(r, 1);
    return bytes == nullptr ? uint8_t{0} : bytes[0];
}

uint16_t read_u16(RequestReader *r)
{
    const uint8_t *bytes = take(r, 2);
    return bytes == nullptr ? uint16_t{0} : load_u16(bytes);
}

uint32_t read_u32(RequestReader *r)
{
    const uint8_t *bytes = take(r, 4);
    return bytes == nullptr ? 0 : load_u32(bytes);
}

int16_t read_i16(RequestReader *r)
{
    return static_cast<int16_t>(read_u16(r));
}

int32_t read_i32(RequestReader *r)
{
    return static_cast<int32_t>(read_u32(r));
}

int64_t read_i64(RequestReader *r)
{
    const uint64_t low = read_u32(r);
    const uint64_t high = read_u32(r);
    return static_cast<int64_t>(low | high << 32);
}

float read_f32(RequestReader *r)
{
    const uint32_t bits = read_u32(r);
    float value = 0;
    static_assert(sizeof value == sizeof bits, "single precision");
    memcpy(&value, &bits, sizeof value);
    return value;
}

uint16_t read_text_into(RequestReader *r, char *to, uint32_t to_size)
{
    memset(to, 0, to_size);
    const uint16_t length = read_u16(r);
    const uint8_t *bytes = take(r, length);
    if (bytes == nullptr || length >= to_size) {
        fail(r, IPP_REASON_TEXT_TOO_LONG);
        return 0;
    }
    memcpy(to, bytes, length);
    return length;
}

static char *terminated_copy(const uint8_t *bytes, uint32_t length)
{
    char *copy = static_cast<char *>(calloc(1, size_t{length} + 2));
    if (copy != nullptr && length > 0) {
        memcpy(copy, bytes, length);
    }
    return copy;
}

HeapText read_bytes(RequestReader *r, uint32_t length)
{
    const uint8_t *bytes = take(r, length);
    if (r->failed || r->copy_count == REQUEST_COPIES_MAX) {
        fail(r, IPP_REASON_NO_MEMORY);
        return {nullptr, 0};
    }
    char *copy = terminated_copy(bytes, length);
    if (copy == nullptr) {
        request_out_of_memory(r);
        return {nullptr, 0};
    }
    r->copies[r->copy_count++] = copy;
    return {copy, length};
}

HeapText read_text(RequestReader *r)
{
    return read_bytes(r, read_u16(r));
}

void skip_text(RequestReader *r)
{
    take(r, read_u16(r));
}

char *give_copy(RequestReader *r)
{
    return r->copies[--r->copy_count];
}
