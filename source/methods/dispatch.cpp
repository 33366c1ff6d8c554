#include "tvlink/dispatch.h"

#include "tvlink/clock.h"
#include "tvlink/handlers.h"
#include "tvlink/string_rpc.h"
#include "wire/frame.h"

#include <stddef.h>

namespace
{

typedef int (*Handler)(CtrlPoint *cp, uint8_t *request, int32_t length);

struct Route {
    uint16_t first_code;
    uint16_t last_code;
    Handler handler;
};

const Route SET_ROUTES[] = {
    {0x0101, 0x0102, handle_set_tv_channel}, {0x0109, 0x0109, handle_set_tv_key},
    {0x010F, 0x0110, handle_set_tv_volume},  {0x0112, 0x0112, handle_set_tv_textpair},
    {0x1502, 0x1502, handle_set_play_seek},  {0x1504, 0x1504, handle_set_play_volume},
    {0x1505, 0x1505, handle_set_play_addr},  {0x1506, 0x1506, handle_set_play_speed},
    {0x1507, 0x1507, handle_set_play_start}, {0x1508, 0x1508, handle_set_play_pause},
    {0x1509, 0x1509, handle_set_play_stop},  {0x1510, 0x1516, handle_set_play_operation},
    {0x1517, 0x1517, handle_set_play_addr2}, {0x4008, 0x4008, handle_set_tv_setting_mtnadata},
};

const Route GET_ROUTES[] = {
    {0x0001, 0x0001, handle_get_tv_code0001},
    {0x0105, 0x0105, handle_get_tv_code0105},
    {0x010E, 0x010E, handle_get_tv_code010e},
    {0x0112, 0x0112, handle_get_tv_text},
    {0x0118, 0x0118, handle_get_screen_shot2},
    {0x0B01, 0x0B01, handle_get_tv_name},
    {0x1501, 0x1501, handle_get_play_status},
    {0x1502, 0x1502, handle_get_play_position},
    {0x1503, 0x1503, handle_get_play_duration},
    {0x2000, 0x2000, handle_get_tv_epg},
    {0x2001, 0x2001, handle_get_tv_simpleepg},
    {0x2002, 0x2002, handle_get_tv_epgweek},
    {0x2003, 0x2003, handle_get_tv_searchsimpleepg},
    {0x2005, 0x2005, handle_get_tv_code2005},
    {0x2007, 0x2007, handle_get_tv_order},
    {0x200E, 0x200E, handle_get_tv_vodstr},
    {0x200F, 0x200F, handle_get_tv_vodstatus},
    {0x2010, 0x2010, handle_get_tv_vodintarray},
    {0x2011, 0x2011, handle_get_tv_vodarraystring},
    {0x2018, 0x2018, handle_get_tv_vodplayer},
    {0x3000, 0x3000, handle_get_tv_channelcode},
    {0x3002, 0x3002, handle_get_tv_channelcode2},
    {0x4001, 0x4001, handle_get_tv_installapklist},
    {0x4002, 0x4002, handle_get_tv_currentposition},
    {0x4003, 0x4003, handle_get_tv_metadata},
    {0x400A, 0x400A, handle_get_tv_code400a},
    {0x400B, 0x400B, handle_get_tv_code400b},
    {0x400C, 0x400C, handle_get_tv_code400c},
    {0x400D, 0x400D, handle_get_tv_code400d},
    {0x4015, 0x4015, handle_get_tv_code4015},
    {0x4016, 0x4016, handle_get_tv_channelcode3},
    {0x4018, 0x4018, handle_get_tv_vodstr2},
    {0x401B, 0x401B, handle_get_tv_vodarraystring2},
    {0x401C, 0x401C, handle_get_tv_vodintarray2},
    {0x401E, 0x401E, handle_get_tv_vodplayer_v2},
    {0x401F, 0x401F, handle_tv_sendvoice},
    {0x4020, 0x4020, handle_get_startplayer},
    {0x4021, 0x4021, handle_get_tv_vodstatus2},
    {0x4024, 0x4024, handle_get_europe_version},
};

const uint16_t CODE_STRING_RPC = 0x5004;

enum CallKind {
    CALL_DEVICE_INFO = 0,
    CALL_METHOD = 1,
};

} // namespace

static bool refused(const CtrlPoint *cp, const uint8_t *body, int32_t length)
{
    return cp == nullptr || body == nullptr || length <= 0;
}

/* The handler that the method code at `code_at` names; null when there is none or the body ends
 * before. */
static Handler find_handler(const Route *routes, size_t count, const uint8_t *body, int32_t length,
                            int32_t code_at)
{
    if (length < code_at + 2) {
        return nullptr;
    }
    const uint16_t code = load_u16(body + code_at);
    for (size_t i = 0; i < count; i++) {
        if (code >= routes[i].first_code && code <= routes[i].last_code) {
            return routes[i].handler;
        }
    }
    return nullptr;
}

static void call(Handler handler, CtrlPoint *cp, uint8_t *body, int32_t length)
{
    if (handler != nullptr) {
        handler(cp, body + 1, length - 1);
    }
}

int tv_set(CtrlPoint *cp, uint8_t *body, int32_t length)
{
    if (refused(cp, body, length)) {
        return -1;
    }
    const size_t count = sizeof SET_ROUTES / sizeof SET_ROUTES[0];
    call(find_handler(SET_ROUTES, count, body, length, 1), cp, body, length);
    return 0;
}

int tv_get(CtrlPoint *cp, uint8_t *body, int32_t length)
{
    if (refused(cp, body, length)) {
        return -1;
    }
    printTime("first time--- ");
    if (length > 1 && body[1] == CALL_DEVICE_INFO) {
        handle_get_device_info(cp);
    } else if (length > 1 && body[1] == CALL_METHOD) {
        const size_t count = sizeof GET_ROUTES / sizeof GET_ROUTES[0];
        call(find_handler(GET_ROUTES, count, body, length, 2), cp, body, length);
    }
    return 0;
}

int tv_ippRpc(CtrlPoint *cp, uint8_t *body, int32_t length)
{
    if (refused(cp, body, length)) {
        return -1;
    }
    if (length >= 3 && load_u16(body + 1) == CODE_STRING_RPC) {
        handle_methodString(cp, body, length);
    }
    return 0;
}
