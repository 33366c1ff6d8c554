/* SPDX-License-Identifier: MIT */
/* The replies of the handlers. Each function that takes a reader but lend_buffer() ends the
 * request: it releases the reader's copies, and sends at most one frame, with the reader's method
 * code. A request that ended before its method code is never answered. */
#pragma once

#include "tvlink/ctrlpoint.h"
#include "wire/payload_builder.h"
#include "wire/request_reader.h"

#include <stdint.h>

/* ---- No reply. Returns 0, or -1 for a bad request. */

int reply_nothing(RequestReader *args);

/* The same for a handler that is silent because it has no slot to call: -1. */
int reply_silence(RequestReader *args);

/* ---- Set replies: method code and result byte. They return 0, or -1 for a bad request. */

/* The low 8 bits of the result, or 0xFF for a bad request. */
int reply_result(CtrlPoint *cp, RequestReader *args, int result);

/* 0, also for a bad request. */
int reply_zero(CtrlPoint *cp, RequestReader *args);

/* ---- Get replies of one value. They return 0, or -1 after the empty reply. */

/* These need no memory of their own and always return 0. */
int reply_u8(CtrlPoint *cp, RequestReader *args, int value);
int reply_port(CtrlPoint *cp, RequestReader *args, uint16_t port);
int reply_u32(CtrlPoint *cp, RequestReader *args, uint32_t value);

int reply_text(CtrlPoint *cp, RequestReader *args, const char *text);

/* A zeroed buffer for a slot that may write `size` bytes: it is one byte longer, and so ends in
 * zero however much the host writes. Null, and the reader failed, when memory is out; null for a
 * failed reader. */
char *lend_buffer(RequestReader *args, uint32_t size);

/* The text that the host wrote into the lent buffer, which is freed; the empty reply for a negative
 * result or no buffer. */
int reply_answer(CtrlPoint *cp, RequestReader *args, int result, char *answer);

/* A text from malloc, which is freed, dumped under the label; the empty reply for null. */
int reply_host_text(CtrlPoint *cp, RequestReader *args, char *text, const char *dump_label);

/* A block of `count` elements from malloc, which is freed, dumped under the label unless that is
 * null. The empty reply for null with a count above 0, and for more than a reply can hold. */
int reply_host_block(CtrlPoint *cp, RequestReader *args, void *elements, uint32_t count,
                     uint32_t element_size, const char *dump_label);

/* `size` bytes of data from malloc, which are freed, behind a count. Null is sent as zeros. */
int reply_host_list(CtrlPoint *cp, RequestReader *args, uint16_t count, void *data, uint32_t size);

/* A record of that tag and size with a code of its own: the empty reply has the reader's. */
int reply_record(CtrlPoint *cp, RequestReader *args, uint16_t code, const void *record,
                 uint32_t size, const char *dump_label);

/* ---- Empty replies. They return -1. */

/* 1 and the method code. */
int reply_empty(CtrlPoint *cp, RequestReader *args);

/* 1, the method code, the tag and a length of 0. */
int reply_empty_list(CtrlPoint *cp, RequestReader *args, uint8_t tag);

/* ---- Other payloads. */

/* Sends the payload in a frame of this type and frees it. Returns 0, or -1 when it could not be
 * built and nothing was sent. */
int reply_payload(CtrlPoint *cp, PayloadBuilder *payload, uint8_t frame_type);

/* The same in a get reply; the empty reply when it could not be built. */
int reply_payload_or_empty(CtrlPoint *cp, RequestReader *args, PayloadBuilder *payload);
