/* SPDX-License-Identifier: MIT */
/* The requests of the television's operations, byte for byte. A television reads each value at a
 * fixed offset: where a comment says "no tag", a tag would shift all that follows. */
#include "controlpoint_calls.h"

#include "cp_values.h"

enum { CALL_METHOD = 1, OPERATIONS = 7 };

static CpWriter begin_get(CpBuffer *payload, uint16_t code, uint8_t count)
{
    CpWriter writer = cp_writer(payload);
    cp_put_u8(&writer, CALL_METHOD);
    cp_put_u16(&writer, code);
    cp_put_u8(&writer, count);
    return writer;
}

static CpWriter begin_set(CpBuffer *payload, uint16_t code)
{
    CpWriter writer = cp_writer(payload);
    cp_put_u16(&writer, code);
    return writer;
}

static void put_value(CpWriter *writer, const CpValue &value)
{
    cp_put_value(writer, &value);
}

static void put_length(CpWriter *writer, CpBytes text)
{
    if (text.size > UINT16_MAX) {
        cp_writer_fail(writer, CP_BAD_ARGUMENT);
    }
    cp_put_u16(writer, static_cast<uint16_t>(text.size));
}

/* A text without its tag. */
static void put_bare_text(CpWriter *writer, CpBytes text)
{
    put_length(writer, text);
    cp_put_bytes(writer, text);
}

static void put_text(CpWriter *writer, CpBytes text)
{
    cp_put_u8(writer, CP_TAG_STRING);
    put_bare_text(writer, text);
}

/* ---- Requests with one text ---------------------------------------------------------------- */

/* The bytes between the count of values and the text's length. */
struct TextGet {
    uint16_t code;
    uint8_t gap_size;
    uint8_t gap[2];
};

static const TextGet text_gets[] = {
    {CP_CODE_GUIDE_SEARCH, 1, {CP_TAG_STRING}},
    {CP_CODE_SETTING_COUNT, 2, {0, CP_TAG_STRING}},
    {CP_CODE_SETTING_LIST, 2, {0, CP_TAG_STRING}},
    {CP_CODE_VERSIONS, 2, {0, CP_TAG_STRING}},
    {CP_CODE_ECHO, 2, {0, CP_TAG_STRING}},
    {CP_CODE_STATE_TEXT, 2, {0, CP_TAG_STRING}},
    {CP_CODE_CHANNELS_FILTERED, 0, {}}, /* no tag */
    {CP_CODE_FILM_TITLES_OF, 0, {}},    /* no tag */
    {CP_CODE_FILM_LENGTHS_OF, 1, {CP_TAG_STRING}},
    {CP_CODE_FILM_STATE_OF, 1, {CP_TAG_STRING}},
    {CP_CODE_VOICE, 1, {CP_TAG_STRING}},
    {CP_CODE_FILM_STATUS_OF, 0, {}}, /* no tag */
};

static const TextGet *find_text_get(uint16_t code)
{
    for (const TextGet &one : text_gets) {
        if (one.code == code) {
            return &one;
        }
    }
    return nullptr;
}

CpStatus cp_build_text_get(CpBuffer *payload, uint16_t code, CpBytes text)
{
    const TextGet *form = find_text_get(code);
    CpWriter writer = begin_get(payload, code, 1);
    if (form == nullptr) {
        cp_writer_fail(&writer, CP_BAD_ARGUMENT);
    } else {
        cp_put_bytes(&writer, {form->gap, form->gap_size});
        put_bare_text(&writer, text);
    }
    return cp_writer_end(&writer);
}

CpStatus cp_build_spare_get(CpBuffer *payload, uint16_t code)
{
    CpWriter writer = begin_get(payload, code, 1);
    if (code != CP_CODE_PLACE && code != CP_CODE_VERSION) {
        cp_writer_fail(&writer, CP_BAD_ARGUMENT);
    }
    cp_put_u8(&writer, 0); /* no tag */
    return cp_writer_end(&writer);
}

/* ---- Guide --------------------------------------------------------------------------------- */

enum { EVERY_CHANNEL = 0, ONE_CHANNEL = 1 };

static CpStatus build_guide(CpBuffer *payload, uint8_t selector, uint32_t channel, uint32_t from)
{
    const CpValue values[] = {cp_number(CP_TAG_U8, selector), cp_number(CP_TAG_U32, channel),
                              cp_number(CP_TAG_U32, from)};
    return cp_build_get(payload, CP_CODE_GUIDE, values, 3);
}

CpStatus cp_build_guide(CpBuffer *payload, uint32_t from)
{
    return build_guide(payload, EVERY_CHANNEL, 0, from);
}

CpStatus cp_build_channel_guide(CpBuffer *payload, uint32_t channel, uint32_t from)
{
    return build_guide(payload, ONE_CHANNEL, channel, from);
}

/* A get request with one number. */
static CpStatus build_number_get(CpBuffer *payload, uint16_t code, uint8_t tag, uint32_t number)
{
    const CpValue value = cp_number(tag, number);
    return cp_build_get(payload, code, &value, 1);
}

CpStatus cp_build_guide_week(CpBuffer *payload, uint32_t channel)
{
    return build_number_get(payload, CP_CODE_GUIDE_WEEK, CP_TAG_U32, channel);
}

/* ---- States -------------------------------------------------------------------------------- */

CpStatus cp_build_level(CpBuffer *payload, uint8_t selector)
{
    return build_number_get(payload, CP_CODE_LEVEL, CP_TAG_U8, selector);
}

CpStatus cp_build_capture(CpBuffer *payload, uint16_t width, uint16_t height)
{
    const CpValue values[] = {cp_number(CP_TAG_U16, width), cp_number(CP_TAG_U16, height)};
    return cp_build_get(payload, CP_CODE_CAPTURE, values, 2);
}

/* ---- Player -------------------------------------------------------------------------------- */

/* A set request with one number. */
static CpStatus build_number_set(CpBuffer *payload, uint16_t code, uint8_t tag, uint32_t number)
{
    const CpValue value = cp_number(tag, number);
    return cp_build_set(payload, code, CP_LAYOUT_SINGLE, &value, 1);
}

CpStatus cp_build_play_seek(CpBuffer *payload, int32_t seconds)
{
    return build_number_set(payload, CP_CODE_PLAY_SEEK, CP_TAG_I32, static_cast<uint32_t>(seconds));
}

CpStatus cp_build_play_volume(CpBuffer *payload, uint8_t volume)
{
    return build_number_set(payload, CP_CODE_PLAY_VOLUME, CP_TAG_U8, volume);
}

CpStatus cp_build_play_address(CpBuffer *payload, CpBytes address)
{
    CpWriter writer = begin_set(payload, CP_CODE_PLAY_ADDRESS);
    put_text(&writer, address);
    return cp_writer_end(&writer);
}

CpStatus cp_build_play_address_with_data(CpBuffer *payload, CpBytes address, CpBytes data,
                                         uint8_t option)
{
    const CpValue values[] = {cp_bytes(CP_TAG_STRING, address.data, address.size),
                              cp_bytes(CP_TAG_BLOB, data.data, data.size),
                              cp_number(CP_TAG_U8, option)};
    return cp_build_set(payload, CP_CODE_PLAY_ADDRESS_WITH_DATA, CP_LAYOUT_LIST, values, 3);
}

CpStatus cp_build_play_operation(CpBuffer *payload, uint32_t operation, int32_t value)
{
    if (operation >= OPERATIONS) {
        CpWriter writer = cp_writer(payload);
        cp_writer_fail(&writer, CP_BAD_ARGUMENT);
        return cp_writer_end(&writer);
    }
    return build_number_set(payload, static_cast<uint16_t>(CP_CODE_PLAY_OPERATION + operation),
                            CP_TAG_I32, static_cast<uint32_t>(value));
}

/* ---- Films --------------------------------------------------------------------------------- */

CpStatus cp_build_film_title(CpBuffer *payload, uint8_t film)
{
    return build_number_get(payload, CP_CODE_FILM_TITLE, CP_TAG_U8, film);
}

CpStatus cp_build_film_title_of(CpBuffer *payload, uint8_t film, CpBytes text)
{
    CpWriter writer = begin_get(payload, CP_CODE_FILM_TITLE_OF, 2);
    put_value(&writer, cp_number(CP_TAG_U8, film));
    put_text(&writer, text);
    return cp_writer_end(&writer);
}

CpStatus cp_build_start_film(CpBuffer *payload, CpBytes what, CpBytes title, CpBytes seconds)
{
    const CpBytes texts[] = {what, title, seconds};
    CpWriter writer = begin_get(payload, CP_CODE_START_FILM, 3);
    cp_put_u8(&writer, CP_TAG_STRING);
    for (const CpBytes &text : texts) { /* all lengths, then all texts; no tags */
        put_length(&writer, text);
    }
    for (const CpBytes &text : texts) {
        cp_put_bytes(&writer, text);
    }
    return cp_writer_end(&writer);
}

CpStatus cp_build_metadata(CpBuffer *payload, uint8_t selector, CpBytes title, CpBytes more)
{
    CpWriter writer = begin_get(payload, CP_CODE_METADATA, 3);
    put_value(&writer, cp_number(CP_TAG_U8, selector));
    put_text(&writer, title);
    put_bare_text(&writer, more); /* no tag */
    return cp_writer_end(&writer);
}

/* ---- Settings, applications ---------------------------------------------------------------- */

CpStatus cp_build_applications(CpBuffer *payload, uint32_t value)
{
    return build_number_get(payload, CP_CODE_APPLICATIONS, CP_TAG_U32, value);
}

CpStatus cp_build_setting(CpBuffer *payload, CpBytes name, CpBytes value, uint8_t kind)
{
    CpWriter writer = begin_set(payload, CP_CODE_SETTING);
    cp_put_u8(&writer, 3);
    cp_put_u8(&writer, 0); /* ignored by televisions */
    put_text(&writer, name);
    put_bare_text(&writer, value); /* no tag */
    put_value(&writer, cp_number(CP_TAG_U8, kind));
    return cp_writer_end(&writer);
}
