/* SPDX-License-Identifier: MIT */
#include "cp_values.h"

#include <cstring>

static_assert(sizeof(float) == 4, "a float travels as its four IEEE bytes");

const char *cp_tag_name(uint8_t tag)
{
    switch (tag) {
    case CP_TAG_U8:
        return "u8";
    case CP_TAG_U16:
        return "u16";
    case CP_TAG_PORT:
        return "port";
    case CP_TAG_I32:
        return "i32";
    case CP_TAG_U32:
        return "u32";
    case CP_TAG_STRING:
        return "string";
    case CP_TAG_BLOB:
        return "blob";
    case CP_TAG_POINT:
        return "point";
    case CP_TAG_LZW_LIST2:
        return "compressed list with two counts";
    case CP_TAG_LIST:
        return "list";
    case CP_TAG_GUIDE_LIST:
        return "compressed guide list";
    case CP_TAG_RECORD:
        return "record";
    case CP_TAG_LZW_LIST:
        return "compressed list";
    default:
        return nullptr;
    }
}

CpValue cp_number(uint8_t tag, uint32_t number)
{
    CpValue value = {};
    value.tag = tag;
    value.number = number;
    return value;
}

CpValue cp_bytes(uint8_t tag, const void *data, size_t size)
{
    CpValue value = {};
    value.tag = tag;
    value.bytes = {static_cast<const uint8_t *>(data), size};
    return value;
}

CpValue cp_string(const char *text)
{
    const CpBytes bytes = cp_text(text);
    return cp_bytes(CP_TAG_STRING, bytes.data, bytes.size);
}

CpValue cp_point(uint16_t first, uint16_t second, uint16_t third)
{
    CpValue value = {};
    value.tag = CP_TAG_POINT;
    value.point[0] = first;
    value.point[1] = second;
    value.point[2] = third;
    return value;
}

CpValue cp_float(float number)
{
    uint32_t bits = 0;
    memcpy(&bits, &number, sizeof bits);
    return cp_number(CP_TAG_U32, bits);
}

bool cp_is_list(const CpValue *value)
{
    switch (value->tag) {
    case CP_TAG_LIST:
    case CP_TAG_GUIDE_LIST:
    case CP_TAG_LZW_LIST:
    case CP_TAG_LZW_LIST2:
        return true;
    default:
        return false;
    }
}

/* A 4-byte length and as many bytes: `counts` 2-byte counts and data, or nothing for length 0. */
static void take_list(CpCursor *cursor, CpValue *value, int counts)
{
    value->number = cp_take_u32(cursor);
    if (value->number == 0) {
        return;
    }
    CpCursor list = cp_cursor(cp_take_bytes(cursor, value->number));
    value->count = cp_take_u16(&list);
    value->second_count = counts == 2 ? cp_take_u16(&list) : uint16_t{0};
    value->bytes = cp_take_rest(&list);
    cp_require(cursor, !list.failed);
}

static void take_point(CpCursor *cursor, CpValue *value)
{
    for (uint16_t &coordinate : value->point) {
        coordinate = cp_take_u16(cursor);
    }
}

CpValue cp_take_value(CpCursor *cursor, CpStringLength string_length)
{
    CpValue value = {};
    value.tag = cp_take_u8(cursor);
    switch (value.tag) {
    case CP_TAG_U8:
        value.number = cp_take_u8(cursor);
        break;
    case CP_TAG_U16:
    case CP_TAG_PORT:
        value.number = cp_take_u16(cursor);
        break;
    case CP_TAG_I32:
    case CP_TAG_U32:
        value.number = cp_take_u32(cursor);
        break;
    case CP_TAG_STRING:
        value.bytes =
            cp_take_bytes(cursor, string_length == CP_STRING_LENGTH_2 ? cp_take_u16(cursor)
                                                                      : cp_take_u32(cursor));
        break;
    case CP_TAG_BLOB:
    case CP_TAG_RECORD:
        value.bytes = cp_take_bytes(cursor, cp_take_u32(cursor));
        break;
    case CP_TAG_POINT:
        take_point(cursor, &value);
        break;
    case CP_TAG_LIST:
    case CP_TAG_GUIDE_LIST:
    case CP_TAG_LZW_LIST:
        take_list(cursor, &value, 1);
        break;
    case CP_TAG_LZW_LIST2:
        take_list(cursor, &value, 2);
        break;
    default:
        cp_require(cursor, false);
        break;
    }
    return value;
}

/* Fails the writer when a number or a size exceeds the range of its field. */
static void limit(CpWriter *writer, size_t number, size_t max)
{
    if (number > max) {
        cp_writer_fail(writer, CP_BAD_ARGUMENT);
    }
}

static void put_point(CpWriter *writer, const CpValue *value)
{
    for (const uint16_t coordinate : value->point) {
        cp_put_u16(writer, coordinate);
    }
}

static void put_tagged(CpWriter *writer, const CpValue *value)
{
    cp_put_u8(writer, value->tag);
    switch (value->tag) {
    case CP_TAG_U8:
        limit(writer, value->number, UINT8_MAX);
        cp_put_u8(writer, static_cast<uint8_t>(value->number));
        break;
    case CP_TAG_U16:
    case CP_TAG_PORT:
        limit(writer, value->number, UINT16_MAX);
        cp_put_u16(writer, static_cast<uint16_t>(value->number));
        break;
    case CP_TAG_I32:
    case CP_TAG_U32:
        cp_put_u32(writer, value->number);
        break;
    case CP_TAG_STRING:
        limit(writer, value->bytes.size, UINT16_MAX);
        cp_put_u16(writer, static_cast<uint16_t>(value->bytes.size));
        cp_put_bytes(writer, value->bytes);
        break;
    case CP_TAG_BLOB:
        limit(writer, value->bytes.size, UINT32_MAX);
        cp_put_u32(writer, static_cast<uint32_t>(value->bytes.size));
        cp_put_bytes(writer, value->bytes);
        break;
    case CP_TAG_POINT:
        put_point(writer, value);
        break;
    default:
        cp_writer_fail(writer, CP_BAD_ARGUMENT);
        break;
    }
}

void cp_put_value(CpWriter *writer, const CpValue *value)
{
    if (value->tag == CP_TAG_RAW) {
        cp_put_bytes(writer, value->bytes);
    } else {
        put_tagged(writer, value);
    }
}
