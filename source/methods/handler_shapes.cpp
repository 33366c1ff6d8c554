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
    if (!has_slot(args, slot)) {
        return reply_empty(cp, args);
    }
    const int result = call_slot(args, slot, NO_SLOT, text.chars, number);
    return reply_u32(cp, args, static_cast<uint32_t>(result));
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
    return has_slot(&args, slot) ? reply_u8(cp, &args, call_slot(&args, slot, 0))
                                 : reply_silence(&args);
}

int get_state_u32(CtrlPoint *cp, uint16_t code, uint32_t (*TvMethodTable::*slot)(void))
{
    RequestReader args = unread_request(code);
    return has_slot(&args, slot) ? reply_u32(cp, &args, call_slot(&args, slot, 0U))
                                 : reply_silence(&args);
}

int get_buffer_text(CtrlPoint *cp, uint8_t *request, int32_t length, uint16_t code, uint32_t size,
                    int (*TvMethodTable::*slot)(char *buffer))
{
    RequestReader args = get_request(request, length, 4, code);
    char *answer = lend_buffer(&args, size);
    return reply_answer(cp, &args, call_slot(&args, slot, NO_SLOT, answer), answer);
}
