/* SPDX-License-Identifier: MIT */
/* What handlers share that differ in nothing but slot, code or tag. A slot is named by its place in
 * the method table. */
#pragma once

#include "methods/call_slot.h"
#include "methods/replies.h"
#include "protocol/operations.h"

#include <stdint.h>

/* The method codes that operations' replies begin with; 0: the request's. */
struct ReplyCodes {
#define OPERATION(family, kind, first, last, slot, name, ...) uint16_t name;
#define SLOTLESS(family, kind, first, last, name, ...) uint16_t name;
#include "protocol/operations.def"
};
constexpr ReplyCodes REPLY_CODE = {
#define REPLY_CODE_OF(name) protocol::reply_code(protocol::OPERATIONS.name),
#define OPERATION(family, kind, first, last, slot, name, ...) REPLY_CODE_OF(name)
#define SLOTLESS(family, kind, first, last, name, ...) REPLY_CODE_OF(name)
#include "protocol/operations.def"
#undef REPLY_CODE_OF
};

/* A setter without an argument. */
int set_without_argument(CtrlPoint *cp, uint8_t *request, int32_t length,
                         int (*TvMethodTable::*slot)(void));

/* A setter of one byte behind its tag, which is checked. */
int set_u8(CtrlPoint *cp, uint8_t *request, int32_t length, const TagCheck &tag,
           const char *handler, int (*TvMethodTable::*slot)(uint8_t value));

/* A slot that takes a text and a number. The reply is that of a get handler: the slot's whole
 * result. */
typedef int (*TextNumberSlot)(const char *text, uint32_t number);
int reply_set_text(CtrlPoint *cp, RequestReader *args, HeapText text, uint32_t number,
                   TextNumberSlot TvMethodTable::*slot);

/* A setter of a text and, right behind it, a number. */
int set_text_and_number(CtrlPoint *cp, uint8_t *request, int32_t length,
                        TextNumberSlot TvMethodTable::*slot);

/* A state that is requested without an argument: its low 8 bits, or all 32. Silent without slot. */
int get_state_u8(CtrlPoint *cp, uint16_t code, int (*TvMethodTable::*slot)(void));
int get_state_u32(CtrlPoint *cp, uint16_t code, uint32_t (*TvMethodTable::*slot)(void));

/* A text that the host writes into a buffer of this size. */
int get_buffer_text(CtrlPoint *cp, uint8_t *request, int32_t length, uint16_t code, uint32_t size,
                    int (*TvMethodTable::*slot)(char *buffer));
