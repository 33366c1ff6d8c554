/* SPDX-License-Identifier: MIT */
/* What the television is: names, versions and single states. */

#include "base/identity.h"
#include "methods/handler_shapes.h"
#include "tvlink/frame.h"
#include "tvlink/handlers.h"

static const uint32_t TEXT_SIZE = 256;
static const uint32_t VERSION_SIZE = 32;
static const uint64_t INFO_FIXED_SIZE = 32; /* all but the three texts with their lengths */

/* ---- The device information */

static void put_text_attribute(PayloadBuilder *payload, uint16_t id, const char *text)
{
    put_attribute(payload, id, TAG_STRING);
    put_text(payload, text);
}

static void put_u8_attribute(PayloadBuilder *payload, uint16_t id, uint8_t value)
{
    put_attribute(payload, id, TAG_U8);
    put_u8(payload, value);
}

static void put_u32_attribute(PayloadBuilder *payload, uint16_t id, uint32_t value)
{
    put_attribute(payload, id, TAG_U32);
    put_u32(payload, value);
}

static int send_info(CtrlPoint *cp, const char *name, const char *serial, const char *host_text)
{
    PayloadBuilder payload =
        payload_begin(INFO_FIXED_SIZE + text_size(name) + text_size(serial) + text_size(host_text));
    put_u8(&payload, 7);
    put_text_attribute(&payload, 0x0B01, name);
    put_text_attribute(&payload, 0x0B03, serial);
    put_u8_attribute(&payload, 0x0B00, 1);
    put_u8_attribute(&payload, 0x0001, 1);
    put_text_attribute(&payload, 0x0B0A, host_text);
    put_u32_attribute(&payload, 0x2015, 1024);
    put_u32_attribute(&payload, 0x2016, 600);
    return reply_payload(cp, &payload, FRAME_GET_REPLY);
}

/* Sent without the host's text when the slot is null, and not at all without a table. */
int handle_get_device_info(CtrlPoint *cp)
{
    const TvMethodTable *tv = registered_methods();
    if (tv == nullptr) {
        outcome_refuse(IPP_REASON_NO_SLOT);
        return -1;
    }
    char host_text[TEXT_SIZE + 1] = {};
    if (tv->get_device_info != nullptr) {
        tv->get_device_info(host_text);
    }
    char name[IDENTITY_SIZE];
    char serial[IDENTITY_SIZE];
    identity_copy_name(name);
    identity_copy_serial(serial);
    return send_info(cp, name, serial, host_text);
}

/* ---- Name and version */

int handle_get_tv_name(CtrlPoint *cp, uint8_t *, int32_t)
{
    char name[IDENTITY_SIZE];
    identity_copy_name(name);
    RequestReader args = unread_request(REPLY_CODE.get_tv_name);
    return reply_text(cp, &args, name);
}

/* The library takes the name over whatever the slot returns. */
int handle_set_tv_name(CtrlPoint *cp, uint8_t *request, int32_t length)
{
    char name[TEXT_SIZE];
    RequestReader args = set_request(request, length, 4);
    const uint32_t size = read_text_into(&args, name, sizeof name);
    int (*const set)(const char *, uint32_t) = slot_of(&args, &TvMethodTable::set_tv_name);
    if (set == nullptr) {
        return reply_result(cp, &args, NO_SLOT);
    }
    const int result = set(name, size);
    identity_set_name(name);
    return reply_result(cp, &args, result);
}

int handle_get_europe_version(CtrlPoint *cp, uint8_t *request, int32_t length)
{
    return get_buffer_text(cp, request, length, REPLY_CODE.get_europe_version, VERSION_SIZE,
                           &TvMethodTable::get_europe_version);
}

/* ---- Single states: silent without their slot. */

int handle_get_tv_code0001(CtrlPoint *cp, uint8_t *, int32_t)
{
    return get_state_u8(cp, REPLY_CODE.get_tv_code0001, &TvMethodTable::get_tv_code0001);
}

int handle_get_tv_code0105(CtrlPoint *cp, uint8_t *, int32_t)
{
    return get_state_u8(cp, REPLY_CODE.get_tv_code0105, &TvMethodTable::get_tv_code0105);
}

int handle_get_tv_code010e(CtrlPoint *cp, uint8_t *request, int32_t length)
{
    RequestReader args = get_request(request, length, 5, REPLY_CODE.get_tv_code010e);
    const uint8_t selector = read_u8(&args);
    int (*const get)(uint8_t) = slot_of(&args, &TvMethodTable::get_tv_code010e);
    return get != nullptr ? reply_u8(cp, &args, get(selector)) : reply_silence(&args);
}

int handle_get_tv_code2005(CtrlPoint *cp, uint8_t *, int32_t)
{
    return get_state_u32(cp, REPLY_CODE.get_tv_code2005, &TvMethodTable::get_tv_code2005);
}
