/* SPDX-License-Identifier: MIT */
#include "methods/handler_shapes.h"

int set_without_argument(CtrlPoint *cp, uint8_t *request, int32_t length,
                         int (*TvMethodTable::*slot)(void))
{
    RequestReader args = set_request(request, length, 2);
    return reply_result(cp, &args, call_slot(&args, slot, NO_SLOT));
}

int set_u8(CtrlPoint *cp, uint8_t *request, int32_t length, const TagCheck &tag,
           const char *handler, int (*TvMethodTable::*slot)(uint8_t value))
{
    RequestReader args = set_request(request, length, tag.index + 1);
    check_tag(&args, tag, handler);
    const uint8_t value = read_u8(&args);
    return reply_result(cp, &args, call_slot(&args, slot, NO_SLOT, value));
}

int reply_set_text(CtrlPoint *cp, RequestReader *args, HeapText text, uint32_t number,
                   TextNumberSlot TvMethodTable::*slot)
{
    const TextNumberSlot set = slot_of(args, slot);
    if (set == nullptr) {
        return reply_empty(cp, args);
    }
    return reply_u32(cp, args, static_cast<uint32_t>(set(text.chars, number)));
}

int set_text_and_number(CtrlPoint *cp, uint8_t *request, int32_t length,
                        TextNumberSlot TvMethodTable::*slot)
{
    RequestReader args = set_request(request, length, 3);
    const HeapText text = read_text(&args);
    const uint32_t number = read_u32(&args);
    return reply_set_text(cp, &args, text, number, slot);
}

int get_state_u8(CtrlPoint *cp, uint16_t code, int (*TvMethodTable::*slot)(void))
{
    RequestReader args = unread_request(code);
    int (*const get)(void) = slot_of(&args, slot);
    return get != nullptr ? reply_u8(cp, &args, get()) : reply_silence(&args);
}

int get_state_u32(CtrlPoint *cp, uint16_t code, uint32_t (*TvMethodTable::*slot)(void))
{
    RequestReader args = unread_request(code);
    uint32_t (*const get)(void) = slot_of(&args, slot);
    return get != nullptr ? reply_u32(cp, &args, get()) : reply_silence(&args);
}

int get_buffer_text(CtrlPoint *cp, uint8_t *request, int32_t length, uint16_t code, uint32_t size,
                    int (*TvMethodTable::*slot)(char *buffer))
{
    RequestReader args = get_request(request, length, 4, code);
    int (*const get)(char *) = slot_of(&args, slot);
    char *answer = get != nullptr ? lend_buffer(&args, size) : nullptr;
    return reply_answer(cp, &args, answer != nullptr ? get(answer) : NO_SLOT, answer);
}
