/* SPDX-License-Identifier: MIT */
#include "cp_values.h"

#include <cstring>

/* Clears the result after a failure. */
template <typename Result> static CpStatus finish(CpStatus status, Result *result)
{
    if (status != CP_OK) {
        *result = {};
    }
    return status;
}

CpStatus cp_decode_set_reply(CpBytes payload, CpSetReply *reply)
{
    if (reply == nullptr) {
        return CP_BAD_ARGUMENT;
    }
    CpCursor cursor = cp_cursor(payload);
    *reply = {};
    reply->code = cp_take_u16(&cursor);
    reply->result = cp_take_u8(&cursor);
    return finish(cp_cursor_end(&cursor), reply);
}

CpStatus cp_decode_get_reply(CpBytes payload, CpGetReply *reply)
{
    if (reply == nullptr) {
        return CP_BAD_ARGUMENT;
    }
    CpCursor cursor = cp_cursor(payload);
    *reply = {};
    cp_require(&cursor, cp_take_u8(&cursor) == 1);
    reply->code = cp_take_u16(&cursor);
    if (!cursor.failed && cursor.at == payload.size) {
        reply->empty = true;
        return CP_OK;
    }
    reply->value = cp_take_value(&cursor, CP_STRING_LENGTH_2);
    /* A list query without data is answered with a list of length 0 under any list's tag. */
    reply->empty = cp_is_list(&reply->value) && reply->value.number == 0;
    reply->extra = cp_take_rest(&cursor);
    return finish(cp_cursor_status(&cursor), reply);
}

/* The attributes of the device information, with their tags and CP_INFO_ bits. */
struct InfoAttribute {
    uint16_t id;
    uint8_t tag;
    uint32_t present;
};

static const InfoAttribute info_attributes[] = {
    {0x0B01, CP_TAG_STRING, CP_INFO_NAME},      {0x0B03, CP_TAG_STRING, CP_INFO_SERIAL},
    {0x0B00, CP_TAG_U8, CP_INFO_REGISTERED},    {0x0001, CP_TAG_U8, CP_INFO_STATE},
    {0x0B0A, CP_TAG_STRING, CP_INFO_HOST_TEXT}, {0x2015, CP_TAG_U32, CP_INFO_VALUE_2015},
    {0x2016, CP_TAG_U32, CP_INFO_VALUE_2016},
};

static const InfoAttribute *find_info_attribute(uint16_t id)
{
    for (const InfoAttribute &attribute : info_attributes) {
        if (attribute.id == id) {
            return &attribute;
        }
    }
    return nullptr;
}

static void store_info(CpDeviceInfo *info, uint32_t which, const CpValue *value)
{
    info->present |= which;
    switch (which) {
    case CP_INFO_NAME:
        info->name = value->bytes;
        break;
    case CP_INFO_SERIAL:
        info->serial = value->bytes;
        break;
    case CP_INFO_REGISTERED:
        info->registered = static_cast<uint8_t>(value->number);
        break;
    case CP_INFO_STATE:
        info->state = static_cast<uint8_t>(value->number);
        break;
    case CP_INFO_HOST_TEXT:
        info->host_text = value->bytes;
        break;
    case CP_INFO_VALUE_2015:
        info->value_2015 = value->number;
        break;
    default:
        info->value_2016 = value->number;
        break;
    }
}

CpStatus cp_decode_device_info(CpBytes payload, CpDeviceInfo *info)
{
    if (info == nullptr) {
        return CP_BAD_ARGUMENT;
    }
    CpCursor cursor = cp_cursor(payload);
    *info = {};
    const uint8_t count = cp_take_u8(&cursor);
    for (unsigned i = 0; i < count && !cursor.failed; i++) {
        const uint16_t id = cp_take_u16(&cursor);
        const CpValue value = cp_take_value(&cursor, CP_STRING_LENGTH_2);
        const InfoAttribute *attribute = find_info_attribute(id);
        if (attribute == nullptr) {
            continue;
        }
        cp_require(&cursor, value.tag == attribute->tag);
        cp_require(&cursor, (info->present & attribute->present) == 0);
        store_info(info, attribute->present, &value);
    }
    return finish(cp_cursor_end(&cursor), info);
}

CpStatus cp_decode_rpc_reply(CpBytes payload, CpRpcReply *reply)
{
    if (reply == nullptr) {
        return CP_BAD_ARGUMENT;
    }
    CpCursor cursor = cp_cursor(payload);
    *reply = {};
    reply->code = cp_take_u16(&cursor);
    cp_require(&cursor, cp_take_u8(&cursor) == 1);
    reply->text = cp_take_bytes(&cursor, cp_take_u16(&cursor));
    reply->extra = cp_take_rest(&cursor);
    return finish(cp_cursor_status(&cursor), reply);
}

/* A value that must have this tag. */
static CpValue take_expected(CpCursor *cursor, uint8_t tag)
{
    const CpValue value = cp_take_value(cursor, CP_STRING_LENGTH_4);
    cp_require(cursor, value.tag == tag);
    return value;
}

CpStatus cp_decode_event(CpBytes payload, CpEvent *event)
{
    if (event == nullptr) {
        return CP_BAD_ARGUMENT;
    }
    CpCursor cursor = cp_cursor(payload);
    *event = {};
    event->code = cp_take_u16(&cursor);
    /* The count includes the code: 4 is followed by three values, 5 by four. */
    const uint8_t fields = cp_take_u8(&cursor);
    cp_require(&cursor, fields == 4 || fields == 5);
    event->has_second_text = fields == 5;
    event->value = static_cast<uint16_t>(take_expected(&cursor, CP_TAG_U16).number);
    event->text = take_expected(&cursor, CP_TAG_STRING).bytes;
    if (event->has_second_text) {
        event->second_text = take_expected(&cursor, CP_TAG_STRING).bytes;
    }
    event->data = take_expected(&cursor, CP_TAG_BLOB).bytes;
    return finish(cp_cursor_end(&cursor), event);
}

CpStatus cp_decode_heartbeat(CpBytes payload)
{
    CpCursor cursor = cp_cursor(payload);
    const CpBytes word = cp_take_bytes(&cursor, 5);
    cp_require(&cursor, word.size == 5 && memcmp(word.data, "HEART", 5) == 0);
    return cp_cursor_end(&cursor);
}
