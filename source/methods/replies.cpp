/* SPDX-License-Identifier: MIT */
#include "methods/replies.h"

#include "base/outcome.h"
#include "link/send.h"
#include "tvlink/dump.h"
#include "tvlink/observer.h"
#include "tvlink/reply.h"

#include <stdlib.h>
#include <string.h>

/* ---- No reply */

int reply_nothing(RequestReader *args)
{
    outcome_answer(0);
    request_release(args);
    return args->failed ? -1 : 0;
}

int reply_silence(RequestReader *args)
{
    outcome_refuse(IPP_REASON_NO_SLOT);
    request_release(args);
    return -1;
}

/* ---- Set replies */

/* For a payload that memory was the only thing to lack for. */
static void reply_small(CtrlPoint *cp, PayloadBuilder *payload, uint8_t frame_type)
{
    if (reply_payload(cp, payload, frame_type) != 0) {
        outcome_refuse(IPP_REASON_NO_MEMORY);
    }
}

static int send_result(CtrlPoint *cp, RequestReader *args, uint8_t result)
{
    outcome_answer(result);
    request_release(args);
    if (args->has_code) {
        PayloadBuilder payload = payload_begin(3);
        put_u16(&payload, args->code);
        put_u8(&payload, result);
        reply_small(cp, &payload, FRAME_SET_REPLY);
    }
    return args->failed ? -1 : 0;
}

int reply_result(CtrlPoint *cp, RequestReader *args, int result)
{
    return send_result(cp, args, args->failed ? uint8_t{0xFF} : static_cast<uint8_t>(result));
}

int reply_zero(CtrlPoint *cp, RequestReader *args)
{
    return send_result(cp, args, 0);
}

/* ---- Get replies */

static void send_number(CtrlPoint *cp, RequestReader *args, uint8_t tag, uint32_t value,
                        uint32_t width)
{
    request_release(args);
    if (args->has_code) {
        PayloadBuilder payload = payload_begin_value(args->code, tag, width);
        uint8_t bytes[4];
        store_u32(bytes, value);
        put_bytes(&payload, bytes, width);
        reply_small(cp, &payload, FRAME_GET_REPLY);
    }
}

int reply_u8(CtrlPoint *cp, RequestReader *args, int value)
{
    send_number(cp, args, TAG_U8, static_cast<uint32_t>(value), 1);
    return 0;
}

int reply_port(CtrlPoint *cp, RequestReader *args, uint16_t port)
{
    send_number(cp, args, TAG_PORT, port, 2);
    return 0;
}

int reply_u32(CtrlPoint *cp, RequestReader *args, uint32_t value)
{
    send_number(cp, args, TAG_U32, value, 4);
    return 0;
}

int reply_empty_list(CtrlPoint *cp, RequestReader *args, uint8_t tag)
{
    outcome_answer(-1);
    send_number(cp, args, tag, 0, 4);
    return -1;
}

int reply_empty(CtrlPoint *cp, RequestReader *args)
{
    outcome_answer(-1);
    request_release(args);
    if (args->has_code) {
        PayloadBuilder payload = payload_begin(3);
        put_u8(&payload, 1);
        put_u16(&payload, args->code);
        reply_small(cp, &payload, FRAME_GET_REPLY);
    }
    return -1;
}

int reply_payload(CtrlPoint *cp, PayloadBuilder *payload, uint8_t frame_type)
{
    const Frame frame = payload_frame(payload, frame_type);
    if (frame.bytes == nullptr) {
        return -1;
    }
    outcome_answer(0);
    if (send_frame(cp, frame) == 1) {
        outcome_replied();
    }
    payload_free(payload);
    return 0;
}

int reply_payload_or_empty(CtrlPoint *cp, RequestReader *args, PayloadBuilder *payload)
{
    request_release(args);
    if (!args->has_code) {
        payload_free(payload);
        return -1;
    }
    return reply_payload(cp, payload, FRAME_GET_REPLY) == 0 ? 0 : reply_empty(cp, args);
}

int reply_text(CtrlPoint *cp, RequestReader *args, const char *text)
{
    PayloadBuilder payload = payload_of_text(args->code, text);
    return reply_payload_or_empty(cp, args, &payload);
}

/* ---- What the host wrote or returned */

char *lend_buffer(RequestReader *args, uint32_t size)
{
    char *buffer = args->failed ? nullptr : payload_lend_text(size);
    if (buffer == nullptr && !args->failed) {
        request_out_of_memory(args);
    }
    return buffer;
}

int reply_answer(CtrlPoint *cp, RequestReader *args, int result, char *answer)
{
    if (answer == nullptr || result < 0) {
        payload_lent_free(answer);
        return reply_empty(cp, args);
    }
    PayloadBuilder payload = payload_of_lent_text(args->code, answer);
    return reply_payload_or_empty(cp, args, &payload);
}

/* Dumps the first 50 bytes of a reply; zeros stand for what it has less. */
static void dump_start(const PayloadBuilder *payload, const char *label)
{
    uint8_t first[50] = {};
    if (payload->bytes != nullptr && label != nullptr) {
        memcpy(first, payload->bytes, payload->size < sizeof first ? payload->size : sizeof first);
        LOGBuffer(first, sizeof first, label);
    }
}

int reply_host_text(CtrlPoint *cp, RequestReader *args, char *text, const char *dump_label)
{
    if (text == nullptr) {
        return reply_empty(cp, args);
    }
    PayloadBuilder payload = payload_of_text(args->code, text);
    dump_start(&payload, dump_label);
    free(text);
    return reply_payload_or_empty(cp, args, &payload);
}

int reply_host_block(CtrlPoint *cp, RequestReader *args, void *elements, uint32_t count,
                     uint32_t element_size, const char *dump_label)
{
    PayloadBuilder payload =
        payload_of_block(args->code, TAG_BLOB, elements, uint64_t{count} * element_size);
    dump_start(&payload, dump_label);
    free(elements);
    return reply_payload_or_empty(cp, args, &payload);
}

int reply_host_list(CtrlPoint *cp, RequestReader *args, uint16_t count, void *data, uint32_t size)
{
    PayloadBuilder payload = payload_begin_value(args->code, TAG_LIST, uint64_t{size} + 6);
    put_u32(&payload, size + 2);
    put_u16(&payload, count);
    put_bytes(&payload, data, size);
    free(data);
    return reply_payload_or_empty(cp, args, &payload);
}

int reply_record(CtrlPoint *cp, RequestReader *args, uint16_t code, const void *record,
                 uint32_t size, const char *dump_label)
{
    PayloadBuilder payload = payload_of_block(code, TAG_RECORD, record, size);
    dump_start(&payload, dump_label);
    return reply_payload_or_empty(cp, args, &payload);
}
