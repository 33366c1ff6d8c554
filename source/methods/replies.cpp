#include "methods/replies.h"

#include "tvlink/dump.h"
#include "tvlink/reply.h"
#include "wire/frame.h"

#include <stdlib.h>
#include <string.h>

/* ---- Set replies */

static int send_result(CtrlPoint *cp, const RequestReader *args, uint16_t code, uint8_t result)
{
    if (args->has_code) {
        uint8_t payload[3];
        store_u16(payload, code);
        payload[2] = result;
        tcp_sendback(cp, FRAME_SET_REPLY, payload, sizeof payload);
    }
    return args->failed ? -1 : 0;
}

int reply_result_as(CtrlPoint *cp, const RequestReader *args, uint16_t code, int result)
{
    return send_result(cp, args, code, args->failed ? uint8_t{0xFF} : static_cast<uint8_t>(result));
}

int reply_result(CtrlPoint *cp, const RequestReader *args, int result)
{
    return reply_result_as(cp, args, args->code, result);
}

int reply_zero(CtrlPoint *cp, const RequestReader *args)
{
    return send_result(cp, args, args->code, 0);
}

/* ---- Get replies */

int reply_send(CtrlPoint *cp, PayloadBuilder *reply)
{
    return reply_send_as(cp, reply, FRAME_GET_REPLY);
}

int reply_send_as(CtrlPoint *cp, PayloadBuilder *reply, uint8_t frame_type)
{
    if (reply->bytes == nullptr) {
        return -1;
    }
    tcp_sendback(cp, frame_type, reply->bytes, static_cast<int32_t>(reply->size));
    free(reply->bytes);
    reply->bytes = nullptr;
    return 0;
}

int reply_empty(CtrlPoint *cp, uint16_t code)
{
    uint8_t payload[3] = {1, 0, 0};
    store_u16(payload + 1, code);
    tcp_sendback(cp, FRAME_GET_REPLY, payload, sizeof payload);
    return -1;
}

int reply_empty_as(CtrlPoint *cp, const RequestReader *args, uint16_t code)
{
    return args->has_code ? reply_empty(cp, code) : -1;
}

int reply_empty_to(CtrlPoint *cp, const RequestReader *args)
{
    return reply_empty_as(cp, args, args->code);
}

int reply_send_or_empty(CtrlPoint *cp, PayloadBuilder *reply, uint16_t code)
{
    return reply_send(cp, reply) == 0 ? 0 : reply_empty(cp, code);
}

/* ---- Replies of one value */

static int reply_number(CtrlPoint *cp, uint16_t code, uint8_t tag, uint32_t value, int32_t width)
{
    uint8_t payload[8] = {1, 0, 0, tag};
    store_u16(payload + 1, code);
    store_u32(payload + 4, value);
    tcp_sendback(cp, FRAME_GET_REPLY, payload, 4 + width);
    return 0;
}

int reply_u8(CtrlPoint *cp, uint16_t code, int value)
{
    return reply_number(cp, code, TAG_U8, static_cast<uint32_t>(value), 1);
}

int reply_port(CtrlPoint *cp, uint16_t code, uint16_t port)
{
    return reply_number(cp, code, TAG_PORT, port, 2);
}

int reply_u32(CtrlPoint *cp, uint16_t code, uint32_t value)
{
    return reply_number(cp, code, TAG_U32, value, 4);
}

int reply_empty_list(CtrlPoint *cp, uint16_t code, uint8_t tag)
{
    reply_number(cp, code, tag, 0, 4);
    return -1;
}

int reply_text(CtrlPoint *cp, uint16_t code, const char *text)
{
    PayloadBuilder reply = payload_of_text(code, text);
    return reply_send_or_empty(cp, &reply, code);
}

int reply_answer(CtrlPoint *cp, const RequestReader *args, uint16_t code, int result, char *answer)
{
    const bool answered = answer != nullptr && result >= 0;
    const int sent = answered ? reply_text(cp, code, answer) : reply_empty_as(cp, args, code);
    free(answer);
    return sent;
}

void reply_dump(const PayloadBuilder *reply, const char *label)
{
    uint8_t first[50] = {};
    if (reply->bytes != nullptr) {
        memcpy(first, reply->bytes, reply->size < sizeof first ? reply->size : sizeof first);
        LOGBuffer(first, sizeof first, label);
    }
}

char *lend_buffer(uint32_t size)
{
    return static_cast<char *>(calloc(1, size_t{size} + 1));
}
