#include "base/identity.h"
#include "methods/method_table.h"
#include "methods/replies.h"
#include "tvlink/handlers.h"

static const size_t HOST_TEXT_SIZE = 256;
static const uint64_t FIXED_SIZE = 32; /* all but the three texts with their lengths */

static void put_text_attribute(PayloadBuilder *reply, uint16_t id, const char *text)
{
    put_attribute(reply, id, TAG_STRING);
    put_text(reply, text);
}

static void put_u8_attribute(PayloadBuilder *reply, uint16_t id, uint8_t value)
{
    put_attribute(reply, id, TAG_U8);
    put_u8(reply, value);
}

static void put_u32_attribute(PayloadBuilder *reply, uint16_t id, uint32_t value)
{
    put_attribute(reply, id, TAG_U32);
    put_u32(reply, value);
}

static int send_info(CtrlPoint *cp, const char *name, const char *serial, const char *host_text)
{
    PayloadBuilder reply =
        payload_begin(FIXED_SIZE + text_size(name) + text_size(serial) + text_size(host_text));
    put_u8(&reply, 7);
    put_text_attribute(&reply, 0x0B01, name);
    put_text_attribute(&reply, 0x0B03, serial);
    put_u8_attribute(&reply, 0x0B00, 1);
    put_u8_attribute(&reply, 0x0001, 1);
    put_text_attribute(&reply, 0x0B0A, host_text);
    put_u32_attribute(&reply, 0x2015, 1024);
    put_u32_attribute(&reply, 0x2016, 600);
    return reply_send(cp, &reply);
}

int handle_get_device_info(CtrlPoint *cp)
{
    const TvMethodTable *tv = registered_methods();
    if (tv == nullptr) {
        return -1;
    }
    char host_text[HOST_TEXT_SIZE + 1] = {};
    if (tv->get_device_info != nullptr) {
        tv->get_device_info(host_text);
    }
    char name[IDENTITY_SIZE];
    char serial[IDENTITY_SIZE];
    identity_copy_name(name);
    identity_copy_serial(serial);
    return send_info(cp, name, serial, host_text);
}
