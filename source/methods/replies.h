/* The replies of the handlers. */
#pragma once

#include "tvlink/ctrlpoint.h"
#include "wire/payload_builder.h"
#include "wire/request_reader.h"

#include <stdint.h>

/* ---- Set replies: method code and result byte. */

/* Echoes the request's code with the low 8 bits of the result, or with 0xFF for a bad request.
 * Returns 0, or -1 for a bad request; sends nothing when the request had no code. */
int reply_result(CtrlPoint *cp, const RequestReader *args, int result);

/* The same with a code of the handler's own. */
int reply_result_as(CtrlPoint *cp, const RequestReader *args, uint16_t code, int result);

/* The code with 0, whatever has become of the request. Returns as reply_result. */
int reply_zero(CtrlPoint *cp, const RequestReader *args);

/* ---- Get replies: a list of attributes, each an id, a tag and a value. */

/* Sends it as a get reply, or in a frame of another type, and frees it. Returns 0, or -1 when it
 * could not be built and nothing was sent. */
int reply_send(CtrlPoint *cp, PayloadBuilder *reply);
int reply_send_as(CtrlPoint *cp, PayloadBuilder *reply, uint8_t frame_type);

/* The same, and sends the empty reply with this code when it could not be built. */
int reply_send_or_empty(CtrlPoint *cp, PayloadBuilder *reply, uint16_t code);

/* 1 and the method code. Returns -1. */
int reply_empty(CtrlPoint *cp, uint16_t code);

/* The empty reply to a request, unless it had no code; the code is the request's or the handler's
 * own. Returns -1. */
int reply_empty_to(CtrlPoint *cp, const RequestReader *args);
int reply_empty_as(CtrlPoint *cp, const RequestReader *args, uint16_t code);

/* The empty reply of a list: 1, code, tag and a length of 0. Returns -1. */
int reply_empty_list(CtrlPoint *cp, uint16_t code, uint8_t tag);

/* ---- Replies of one value. They return 0, or -1 after the empty reply. */

/* These need no memory of their own and always return 0. */
int reply_u8(CtrlPoint *cp, uint16_t code, int value);
int reply_port(CtrlPoint *cp, uint16_t code, uint16_t port);
int reply_u32(CtrlPoint *cp, uint16_t code, uint32_t value);

int reply_text(CtrlPoint *cp, uint16_t code, const char *text);

/* A text that the host wrote into a lent buffer (lend_buffer), which is freed; the empty reply when
 * there is no buffer or the result is negative. */
int reply_answer(CtrlPoint *cp, const RequestReader *args, uint16_t code, int result, char *answer);

/* Dumps the first 50 bytes of a reply; zeros stand for what it has less. */
void reply_dump(const PayloadBuilder *reply, const char *label);

/* A zeroed buffer for a host that is told `size`: it is one byte longer, and so ends in zero
 * however much the host writes. Null when memory is out. */
char *lend_buffer(uint32_t size);
