/* SPDX-License-Identifier: MIT */
#include "controlpoint_calls.h"

#include "cp_clock.h"
#include "cp_exchange.h"

static CpStatus send_requests(CpConnection *connection, CpBytes said, int64_t deadline)
{
    CpBuffer request = {};
    CpStatus status = cp_build_text_get(&request, CP_CODE_VOICE, said);
    if (status == CP_OK) {
        status = cp_send_until(connection, CP_FRAME_GET, {request.data, request.size}, deadline);
    }
    if (status == CP_OK) {
        status = cp_build_get(&request, CP_CODE_NAME, nullptr, 0);
    }
    if (status == CP_OK) {
        status = cp_send_until(connection, CP_FRAME_GET, {request.data, request.size}, deadline);
    }
    cp_buffer_free(&request);
    return status;
}

/* The code of a get reply; 0 for any other frame. */
static uint16_t code_of(const CpFrame *frame)
{
    CpGetReply reply = {};
    const bool is_reply = frame->type == CP_FRAME_GET_REPLY;
    return is_reply && cp_decode_get_reply(frame->payload, &reply) == CP_OK ? reply.code : 0;
}

/* Requests of one connection are processed, and answered, in order. */
static CpStatus wait_for_replies(CpConnection *connection, bool *refused, int64_t deadline)
{
    CpStatus status = CP_OK;
    while (status == CP_OK) {
        CpFrame frame = {};
        status = cp_receive_until(connection, &frame, deadline);
        if (status != CP_OK) {
            break;
        }
        const uint16_t code = code_of(&frame);
        if (code == CP_CODE_NAME) {
            return CP_OK;
        }
        if (code == CP_CODE_VOICE) {
            *refused = true;
        } else {
            status = cp_other_frame(connection, &frame, deadline);
        }
    }
    return status;
}

CpStatus cp_voice(CpConnection *connection, CpBytes said, bool *refused, uint32_t timeout_ms)
{
    if (connection == nullptr || refused == nullptr) {
        return CP_BAD_ARGUMENT;
    }
    *refused = false;
    cp_connection_begin(connection);
    const int64_t deadline = cp_deadline(timeout_ms);
    const CpStatus status = send_requests(connection, said, deadline);
    return status == CP_OK ? wait_for_replies(connection, refused, deadline) : status;
}
