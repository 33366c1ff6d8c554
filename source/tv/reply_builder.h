/* Builds the payload of a reply and sends it: the one place that writes what a phone receives. */
#pragma once

#include "tv/request_reader.h"
#include "tvlink/ctrlpoint.h"

#include <stdint.h>

/* Value tags. */
enum {
    TAG_U8 = 0x02,
    TAG_U16 = 0x03,
    TAG_PORT = 0x04,
    TAG_I32 = 0x05,
    TAG_U32 = 0x06,
    TAG_STRING = 0x08,
    TAG_BLOB = 0x0C,
    TAG_POINT = 0xA0,
    TAG_LZW_LIST2 = 0xA1,
    TAG_LIST = 0xA2,
    TAG_GUIDE_LIST = 0xA3,
    TAG_RECORD = 0xA4,
    TAG_LZW_LIST = 0xA5,
};

/* ---- Set replies: method code and result byte. */

/* Echoes the request's code with the low 8 bits of the result, or with 0xFF for a bad request.
 * Returns 0, or -1 for a bad request; sends nothing when the request had no code. */
int reply_result(CtrlPoint *cp, const RequestReader *args, int result);

/* The same with a code of the handler's own. */
int reply_result_as(CtrlPoint *cp, const RequestReader *args, uint16_t code, int result);

/* The code with 0, whatever has become of the request. Returns as reply_result. */
int reply_zero(CtrlPoint *cp, const RequestReader *args);

/* ---- Get replies: a list of attributes, each an id, a tag and a value. */

struct ReplyBuilder {
    uint8_t *bytes; /* null when memory is out: what is put is dropped, sending fails */
    uint32_t size;
    uint32_t at;
};

/* Makes room for `size` bytes, all zero. */
ReplyBuilder reply_begin(uint64_t size);

/* A reply of one attribute whose value has `value_size` bytes; what comes next is the value. */
ReplyBuilder reply_begin_value(uint16_t code, uint8_t tag, uint64_t value_size);

void put_u8(ReplyBuilder *reply, uint8_t value);
void put_u16(ReplyBuilder *reply, uint16_t value);
void put_u32(ReplyBuilder *reply, uint32_t value);

/* Null bytes leave zeros. */
void put_bytes(ReplyBuilder *reply, const void *bytes, uint32_t count);

/* Attribute id and tag. */
void put_attribute(ReplyBuilder *reply, uint16_t id, uint8_t tag);

/* 2-byte length and characters, cut at 65,535. */
void put_text(ReplyBuilder *reply, const char *text);
uint32_t text_size(const char *text);

/* Sends it as a get reply, or in a frame of another type, and frees it. Returns 0, or -1 when it
 * could not be built and nothing was sent. */
int reply_send(CtrlPoint *cp, ReplyBuilder *reply);
int reply_send_as(CtrlPoint *cp, ReplyBuilder *reply, uint8_t frame_type);

/* The same, and sends the empty reply with this code when it could not be built. */
int reply_send_or_empty(CtrlPoint *cp, ReplyBuilder *reply, uint16_t code);

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

/* Text, or 4-byte length and bytes. Null bytes with a size above 0 cannot be built. */
ReplyBuilder reply_of_text(uint16_t code, const char *text);
ReplyBuilder reply_of_block(uint16_t code, uint8_t tag, const void *bytes, uint64_t size);

/* Dumps the first 50 bytes of a reply; zeros stand for what it has less. */
void reply_dump(const ReplyBuilder *reply, const char *label);

/* A zeroed buffer for a host that is told `size`: it is one byte longer, and so ends in zero
 * however much the host writes. Null when memory is out. */
char *lend_buffer(uint32_t size);
