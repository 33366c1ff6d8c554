/* The television's name and texts, and the order of its channels. */

#include "base/identity.h"
#include "methods/method_table.h"
#include "methods/replies.h"
#include "tvlink/handlers.h"

#include <stdlib.h>

static const uint32_t TEXT_SIZE = 256;
static const uint32_t SHORT_TEXT_SIZE = 32;

int handle_set_tv_textpair(CtrlPoint *cp, uint8_t *request, int32_t length)
{
    char first[TEXT_SIZE];
    char second[SHORT_TEXT_SIZE];
    RequestReader args = set_request(request, length, 4);
    read_text_into(&args, first, sizeof first);
    skip(&args, 1);
    read_text_into(&args, second, sizeof second);
    const TvMethodTable *tv = host_methods(&args);
    return reply_result(cp, &args,
                        tv->set_tv_textpair ? tv->set_tv_textpair(second, first) : NO_SLOT);
}

int handle_get_tv_text(CtrlPoint *cp, uint8_t *, int32_t)
{
    const TvMethodTable *tv = host_methods();
    if (tv->get_tv_text == nullptr) {
        return -1;
    }
    char text[TEXT_SIZE + 1] = {}; /* ends in zero, however much the host writes */
    tv->get_tv_text(text);
    return reply_text(cp, 0x0112, text);
}

int handle_get_tv_name(CtrlPoint *cp, uint8_t *, int32_t)
{
    char name[IDENTITY_SIZE];
    identity_copy_name(name);
    return reply_text(cp, 0x0B01, name);
}

int handle_set_tv_name(CtrlPoint *cp, uint8_t *request, int32_t length)
{
    char name[TEXT_SIZE];
    RequestReader args = set_request(request, length, 4);
    const uint16_t size = read_text_into(&args, name, sizeof name);
    const TvMethodTable *tv = host_methods(&args);
    int result = NO_SLOT;
    if (tv->set_tv_name) {
        result = tv->set_tv_name(name, size);
        identity_set_name(name);
    }
    return reply_result(cp, &args, result);
}

int handle_set_tv_wifiinfo(CtrlPoint *cp, uint8_t *request, int32_t length)
{
    char text[TEXT_SIZE];
    RequestReader args = set_request(request, length, 5);
    read_text_into(&args, text, sizeof text);
    const TvMethodTable *tv = host_methods(&args);
    return reply_result(cp, &args, tv->set_tv_wifiinfo ? tv->set_tv_wifiinfo(text) : NO_SLOT);
}

/* An empty text never reaches the host. */
int handle_set_tv_code3001(CtrlPoint *cp, uint8_t *request, int32_t length)
{
    RequestReader args = set_request(request, length, 4);
    const HeapText text = read_text_copy(&args);
    const TvMethodTable *tv = host_methods(&args);
    int result = 0;
    if (text.length > 0) {
        result = tv->set_tv_code3001 ? tv->set_tv_code3001(text.chars) : NO_SLOT;
    }
    free(text.chars);
    return reply_result_as(cp, &args, 0x3001, result);
}

int handle_set_tv_code0115(CtrlPoint *cp, uint8_t *request, int32_t length)
{
    RequestReader args = set_request(request, length, 4);
    const uint16_t value = read_u16(&args);
    skip(&args, 1);
    const HeapText text = read_text_copy(&args);
    const TvMethodTable *tv = host_methods(&args);
    int result = 0;
    if (text.length > 0) {
        result = tv->set_tv_code0115 ? tv->set_tv_code0115(text.chars, value) : NO_SLOT;
    }
    free(text.chars);
    return reply_result_as(cp, &args, 0x0115, result);
}

/* What the slot returned: null data leaves zeros in the reply. */
static int send_order(CtrlPoint *cp, uint16_t code, uint16_t count, const void *data, uint32_t size)
{
    PayloadBuilder reply = payload_begin_value(code, TAG_LIST, uint64_t{size} + 6);
    put_u32(&reply, size + 2);
    put_u16(&reply, count);
    put_bytes(&reply, data, size);
    return reply_send_or_empty(cp, &reply, code);
}

int handle_get_tv_order(CtrlPoint *cp, uint8_t *request, int32_t length)
{
    RequestReader args = get_request(request, length, 3);
    check_tag(&args, {0, 1, "frame_data[0] == 1", 599}, __func__);
    const TvMethodTable *tv = host_methods(&args);
    if (tv->get_tv_order == nullptr) {
        return reply_empty_to(cp, &args);
    }
    uint16_t count = 0;
    uint32_t size = 0;
    void *data = tv->get_tv_order(&count, &size);
    const int result = send_order(cp, args.code, count, data, size);
    free(data);
    return result;
}
