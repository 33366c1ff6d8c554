/* SPDX-License-Identifier: MIT */
#include "cp_values.h"

/* The first byte of a get request: what it asks for. */
enum { CALL_DEVICE_INFO = 0, CALL_METHOD = 1 };

static void put_arguments(CpWriter *writer, const CpValue *arguments, size_t count)
{
    if (arguments == nullptr && count > 0) {
        cp_writer_fail(writer, CP_BAD_ARGUMENT);
        return;
    }
    for (size_t i = 0; i < count; i++) {
        cp_put_value(writer, &arguments[i]);
    }
}

static void put_counted(CpWriter *writer, const CpValue *arguments, size_t count)
{
    if (count > UINT8_MAX) {
        cp_writer_fail(writer, CP_BAD_ARGUMENT);
        return;
    }
    cp_put_u8(writer, static_cast<uint8_t>(count));
    put_arguments(writer, arguments, count);
}

CpStatus cp_build_get(CpBuffer *payload, uint16_t code, const CpValue *arguments, size_t count)
{
    CpWriter writer = cp_writer(payload);
    cp_put_u8(&writer, CALL_METHOD);
    cp_put_u16(&writer, code);
    put_counted(&writer, arguments, count);
    return cp_writer_end(&writer);
}

CpStatus cp_build_device_info(CpBuffer *payload)
{
    CpWriter writer = cp_writer(payload);
    cp_put_u8(&writer, CALL_DEVICE_INFO);
    return cp_writer_end(&writer);
}

CpStatus cp_build_set(CpBuffer *payload, uint16_t code, CpLayout layout, const CpValue *arguments,
                      size_t count)
{
    CpWriter writer = cp_writer(payload);
    cp_put_u16(&writer, code);
    if (layout == CP_LAYOUT_LIST) {
        put_counted(&writer, arguments, count);
    } else {
        put_arguments(&writer, arguments, count);
    }
    return cp_writer_end(&writer);
}

/* An rpc request is laid out as a set request without a count. */
CpStatus cp_build_rpc(CpBuffer *payload, uint16_t code, const CpValue *arguments, size_t count)
{
    return cp_build_set(payload, code, CP_LAYOUT_SINGLE, arguments, count);
}

/* The wire has no sign: the direction is in the code. */
static CpStatus build_step(CpBuffer *payload, uint16_t up, uint16_t down, int32_t steps)
{
    const int64_t wide = steps;
    const CpValue size = cp_number(CP_TAG_U8, static_cast<uint32_t>(wide < 0 ? -wide : wide));
    return cp_build_set(payload, steps < 0 ? down : up, CP_LAYOUT_SINGLE, &size, 1);
}

CpStatus cp_build_channel_step(CpBuffer *payload, int32_t steps)
{
    return build_step(payload, CP_CODE_CHANNEL_UP, CP_CODE_CHANNEL_DOWN, steps);
}

CpStatus cp_build_volume_step(CpBuffer *payload, int32_t steps)
{
    return build_step(payload, CP_CODE_VOLUME_UP, CP_CODE_VOLUME_DOWN, steps);
}

CpStatus cp_build_key(CpBuffer *payload, uint32_t key, uint32_t second)
{
    const CpValue values[] = {cp_number(CP_TAG_U32, key), cp_number(CP_TAG_U32, second)};
    return cp_build_set(payload, CP_CODE_KEY, CP_LAYOUT_LIST, values, 2);
}

CpStatus cp_build_text_pair(CpBuffer *payload, CpBytes first, CpBytes second)
{
    const CpValue values[] = {cp_bytes(CP_TAG_STRING, first.data, first.size),
                              cp_bytes(CP_TAG_STRING, second.data, second.size)};
    return cp_build_set(payload, CP_CODE_TEXT, CP_LAYOUT_LIST, values, 2);
}

CpStatus cp_build_string_rpc(CpBuffer *payload, CpBytes text)
{
    const CpValue value = cp_bytes(CP_TAG_STRING, text.data, text.size);
    return cp_build_rpc(payload, CP_CODE_STRING_RPC, &value, 1);
}
