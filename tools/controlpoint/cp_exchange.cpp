/* SPDX-License-Identifier: MIT */
#include "cp_exchange.h"

#include "controlpoint_calls.h"
#include "cp_clock.h"
#include "cp_values.h"

/* The result of comparing a frame with the awaited reply; broken: a reply without a method code. */
enum Match { MATCH_NO, MATCH_YES, MATCH_BROKEN };

/* Identifies the awaited reply. Requests have no sequence number: a late reply to an earlier
 * request of the same code, or a list that is pushed under that code, is indistinguishable from the
 * reply, and is accepted. Both have the reply's form. */
struct Awaited {
    uint8_t request_type;
    bool any_code; /* the device information has no method code */
    uint16_t code;
};

static CpStatus await_reply_to(uint8_t type, CpBytes request, Awaited *awaited)
{
    CpCursor cursor = cp_cursor(request);
    *awaited = {type, false, 0};
    switch (type) {
    case CP_FRAME_GET:
        awaited->any_code = cp_take_u8(&cursor) == 0;
        break;
    case CP_FRAME_SET:
    case CP_FRAME_RPC:
        break;
    default:
        return CP_BAD_ARGUMENT;
    }
    if (!awaited->any_code) {
        awaited->code = cp_take_u16(&cursor);
    }
    return cursor.failed ? CP_BAD_ARGUMENT : CP_OK;
}

static bool is_reply_type(const Awaited *awaited, uint8_t type)
{
    switch (awaited->request_type) {
    case CP_FRAME_GET:
        return type == CP_FRAME_GET_REPLY;
    case CP_FRAME_SET:
        /* Get and set requests share other codes for different operations: a late reply to a get
         * request must not be accepted as that to a set request. */
        return type == CP_FRAME_SET_REPLY ||
               (type == CP_FRAME_GET_REPLY && awaited->code == CP_CODE_SETTING);
    default:
        return type == CP_FRAME_RPC_REPLY;
    }
}

/* A get reply with a list was pushed: the device information contains none. */
static Match match_device_info(CpBytes payload)
{
    CpGetReply reply = {};
    const bool decoded = cp_decode_get_reply(payload, &reply) == CP_OK;
    return decoded && cp_is_list(&reply.value) ? MATCH_NO : MATCH_YES;
}

static Match match_reply(const Awaited *awaited, const CpFrame *frame)
{
    if (!is_reply_type(awaited, frame->type)) {
        return MATCH_NO;
    }
    if (awaited->any_code) {
        return match_device_info(frame->payload);
    }
    CpCursor cursor = cp_cursor(frame->payload);
    if (frame->type == CP_FRAME_GET_REPLY) {
        cp_take_u8(&cursor); /* the number of attributes */
    }
    const uint16_t code = cp_take_u16(&cursor);
    if (cursor.failed) {
        return MATCH_BROKEN;
    }
    /* On success this query is answered under the code of the query without a text. */
    const bool alias = awaited->code == CP_CODE_FILM_STATUS_OF && code == CP_CODE_FILM_STATUS;
    return code == awaited->code || alias ? MATCH_YES : MATCH_NO;
}

CpStatus cp_other_frame(CpConnection *connection, const CpFrame *frame, int64_t deadline)
{
    cp_hand_over(connection, frame);
    return cp_time_left(deadline) == 0 ? CP_TIMED_OUT : CP_OK;
}

static CpStatus wait_for_reply(CpConnection *connection, const Awaited *awaited, CpFrame *reply,
                               int64_t deadline)
{
    CpStatus status = CP_OK;
    while (status == CP_OK) {
        status = cp_receive_until(connection, reply, deadline);
        if (status != CP_OK) {
            break;
        }
        const Match match = match_reply(awaited, reply);
        if (match == MATCH_YES) {
            return CP_OK;
        }
        if (match == MATCH_BROKEN) {
            return cp_connection_fail(connection, CP_PROTOCOL, "a reply without a method code");
        }
        status = cp_other_frame(connection, reply, deadline);
    }
    return status;
}

CpStatus cp_request(CpConnection *connection, uint8_t type, const CpBuffer *request, CpFrame *reply,
                    uint32_t timeout_ms)
{
    if (connection == nullptr || request == nullptr || reply == nullptr) {
        return CP_BAD_ARGUMENT;
    }
    *reply = {};
    cp_connection_begin(connection);
    const CpBytes payload = {request->data, request->size};
    const int64_t deadline = cp_deadline(timeout_ms);
    Awaited awaited = {};
    CpStatus status = await_reply_to(type, payload, &awaited);
    if (status == CP_OK) {
        status = cp_send_until(connection, type, payload, deadline);
    }
    if (status == CP_OK) {
        status = wait_for_reply(connection, &awaited, reply, deadline);
    }
    return status;
}

/* Sets the problem when the payload of a reply could not be decoded. */
static CpStatus decoded(CpConnection *connection, CpStatus status)
{
    if (status == CP_PROTOCOL) {
        cp_connection_fail(connection, status, "a reply that cannot be decoded");
    }
    return status;
}

CpStatus cp_get(CpConnection *connection, const CpBuffer *request, CpGetReply *reply,
                uint32_t timeout_ms)
{
    CpFrame frame = {};
    const CpStatus status = cp_request(connection, CP_FRAME_GET, request, &frame, timeout_ms);
    if (status != CP_OK) {
        return status;
    }
    return decoded(connection, cp_decode_get_reply(frame.payload, reply));
}

CpStatus cp_set(CpConnection *connection, const CpBuffer *request, CpSetReply *reply,
                uint32_t timeout_ms)
{
    CpFrame frame = {};
    const CpStatus status = cp_request(connection, CP_FRAME_SET, request, &frame, timeout_ms);
    if (status != CP_OK) {
        return status;
    }
    if (frame.type != CP_FRAME_SET_REPLY) {
        return decoded(connection, CP_PROTOCOL);
    }
    return decoded(connection, cp_decode_set_reply(frame.payload, reply));
}

CpStatus cp_device_info(CpConnection *connection, CpDeviceInfo *info, uint32_t timeout_ms)
{
    CpBuffer request = {};
    CpFrame frame = {};
    CpStatus status = cp_build_device_info(&request);
    if (status == CP_OK) {
        status = cp_request(connection, CP_FRAME_GET, &request, &frame, timeout_ms);
    }
    if (status == CP_OK) {
        status = decoded(connection, cp_decode_device_info(frame.payload, info));
    }
    cp_buffer_free(&request);
    return status;
}

CpStatus cp_string_rpc(CpConnection *connection, CpBytes text, CpRpcReply *reply,
                       uint32_t timeout_ms)
{
    CpBuffer request = {};
    CpFrame frame = {};
    CpStatus status = cp_build_string_rpc(&request, text);
    if (status == CP_OK) {
        status = cp_request(connection, CP_FRAME_RPC, &request, &frame, timeout_ms);
    }
    if (status == CP_OK) {
        status = decoded(connection, cp_decode_rpc_reply(frame.payload, reply));
    }
    cp_buffer_free(&request);
    return status;
}

CpStatus cp_heartbeat(CpConnection *connection, uint32_t timeout_ms)
{
    if (connection == nullptr) {
        return CP_BAD_ARGUMENT;
    }
    cp_connection_begin(connection);
    const int64_t deadline = cp_deadline(timeout_ms);
    CpStatus status = cp_send_until(connection, CP_FRAME_HEARTBEAT, {nullptr, 0}, deadline);
    while (status == CP_OK) {
        CpFrame frame = {};
        status = cp_receive_until(connection, &frame, deadline);
        if (status == CP_OK && frame.type == CP_FRAME_HEARTBEAT) {
            return decoded(connection, cp_decode_heartbeat(frame.payload));
        }
        if (status == CP_OK) {
            status = cp_other_frame(connection, &frame, deadline);
        }
    }
    return status;
}
