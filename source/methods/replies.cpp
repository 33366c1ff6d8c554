#include "methods/replies.h"

#include "tvlink/dump.h"
#include "tvlink/frame.h"
#include "tvlink/reply.h"

#include <stdlib.h>
#include <string.h>

/* ---- No reply */

int reply_nothing(RequestReader *args)
{
    request_release(args);
    return args->failed ? -1 : 0;
}

int reply_silence(RequestReader *args)
{
    request_release(args);
    return -1;
}

/* ---- Set replies */

static int send_result(CtrlPoint *cp, RequestReader *args, uint8_t result)
{
    request_release(args);
    if (args->has_code) {
        uint8_t bytes[3];
        PayloadBuilder payload = payload_on(bytes, sizeof bytes);
        put_u16(&payload, args->code);
        put_u8(&payload, result);
        tcp_sendback(cp, FRAME_SET_REPLY, bytes, sizeof bytes);
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

static int send_number(CtrlPoint *cp, RequestReader *args, uint8_t tag, uint32_t value,
                       int32_t width)
{
    request_release(args);
    if (args->has_code) {
        uint8_t bytes[8];
        PayloadBuilder payload = payload_on(bytes, sizeof bytes);
        put_u8(&payload, 1);
        put_attribute(&payload, args->code, tag);
        put_u32(&payload, value);
        tcp_sendback(cp, FRAME_GET_REPLY, bytes, 4 + width);
    }
    return 0;
}

int reply_u8(CtrlPoint *cp, RequestReader *args, int value)
{
    return send_number(cp, args, TAG_U8, static_cast<uint32_t>(value), 1);
}

int reply_port(CtrlPoint *cp, RequestReader *args, uint16_t port)
{
    return send_number(cp, args, TAG_PORT, port, 2);
}

int reply_u32(CtrlPoint *cp, RequestReader *args, uint32_t value)
{
    return send_number(cp, args, TAG_U32, value, 4);
}

int reply_empty_list(CtrlPoint *cp, RequestReader *args, uint8_t tag)
{
    send_number(cp, args, tag, 0, 4);
    return -1;
}

int reply_empty(CtrlPoint *cp, RequestReader *args)
{
    request_release(args);
    if (args->has_code) {
        uint8_t bytes[3];
        PayloadBuilder payload = payload_on(bytes, sizeof bytes);
        put_u8(&payload, 1);
        put_u16(&payload, args->code);
        tcp_sendback(cp, FRAME_GET_REPLY, bytes, sizeof bytes);
    }
    return -1;
}

int reply_payload(CtrlPoint *cp, PayloadBuilder *payload, uint8_t frame_type)
{
    if (payload->bytes == nullptr) {
        return -1;
    }
    tcp_sendback(cp, frame_type, payload->bytes, static_cast<int32_t>(payload->size));
    free(payload->bytes);
    payload->bytes = nullptr;
    return 0;
}

int reply_payload_or_empty(CtrlPoint *cp, RequestReader *args, PayloadBuilder *payload)
{
    request_release(args);
    if (!args->has_code) {
        free(payload->bytes);
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
    char *buffer = args->failed ? nullptr : static_cast<char *>(calloc(1, size_t{size} + 1));
    if (buffer == nullptr && !args->failed) {
        args->failed = true;
        args->out_of_memory = true;
    }
    return buffer;
}

int reply_answer(CtrlPoint *cp, RequestReader *args, int result, char *answer)
{
    const bool answered = answer != nullptr && result >= 0;
    const int sent = answered ? reply_text(cp, args, answer) : reply_empty(cp, args);
    free(answer);
    return sent;
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
