/* SPDX-License-Identifier: MIT */
/* The guide and the channel lists, which travel compressed, and the order of channels. */
#include "handler_rows.h"

/* 01 02 03 04 05 06 as seven codes of 9 bits, 1 2 3 4 5 6 257, and the bits that are left over, 1,
 * as an eighth: 000000001 000000010 000000011 000000100 000000101 000000110 100000001 000000001. */
#define COMPRESSED "00 80 80 60 40 28 1A 02 01"

std::vector<HandlerRow> list_rows()
{
    /* clang-format off */
    return {
        {HANDLER(handle_get_tv_epg), Reached::BY_GET, 5,
         "01 00 20 EE EE FE EE 04 03 02 81 EE 08 07 06 05", 16,
         "get_tv_epg *0 *0 254 2164392708 84281096 *0",
         "06 01 00 20 A1 0D 00 00 00 03 00 45 23 " COMPRESSED,
         "06 01 00 20 A1 00 00 00 00", "", -1},
        {HANDLER(handle_get_tv_epg), Reached::DIRECTLY, 5,
         "01 34 12 EE EE 00 EE 00 00 00 00 EE 00 00 00 00", 16,
         "get_tv_epg *0 *0 0 0 0 *0",
         "06 01 00 20 A1 0D 00 00 00 03 00 45 23 " COMPRESSED,
         "06 01 00 20 A1 00 00 00 00", "", -1},

        {HANDLER(handle_get_tv_simpleepg), Reached::BY_GET, 53, "01 01 20", 3,
         "get_tv_simpleepg *0", "06 01 01 20 A3 0B 00 00 00 03 00 " COMPRESSED,
         "06 01 01 20 A3 00 00 00 00", "06 01 01 20 A3 00 00 00 00", -1},

        {HANDLER(handle_get_tv_epgweek), Reached::BY_GET, 6, "01 02 20 EE EE 04 03 02 81", 9,
         "get_tv_epgweek 2164392708 *0",
         "06 01 02 20 A1 0D 00 00 00 03 00 00 00 " COMPRESSED,
         "06 01 02 20 A1 00 00 00 00", "06 01 02 20 A1 00 00 00 00", -1},
        {HANDLER(handle_get_tv_epgweek), Reached::DIRECTLY, 6, "01 34 12 EE EE 04 03 02 01", 9,
         "get_tv_epgweek 16909060 *0",
         "06 01 02 20 A1 0D 00 00 00 03 00 00 00 " COMPRESSED,
         "06 01 02 20 A1 00 00 00 00", "06 01 02 20 A1 00 00 00 00", -1},

        {HANDLER(handle_get_tv_searchsimpleepg), Reached::BY_GET, 57,
         "01 03 20 EE EE 02 00 'ab'", 9,
         "get_tv_searchsimpleepg \"ab\" 2 *0 *0",
         "06 01 03 20 A3 0B 00 00 00 03 00 " COMPRESSED,
         "06 01 03 20 A3 00 00 00 00", "06 01 03 20 A3 00 00 00 00", -1},
        {HANDLER(handle_get_tv_searchsimpleepg), Reached::DIRECTLY, 57, "01 34 12 EE EE 00 00", 7,
         "get_tv_searchsimpleepg \"\" 0 *0 *0",
         "06 01 03 20 A3 0B 00 00 00 03 00 " COMPRESSED,
         "06 01 03 20 A3 00 00 00 00", "06 01 03 20 A3 00 00 00 00", -1},

        {HANDLER(handle_get_tv_channelcode), Reached::BY_GET, 54, "01 00 30", 3,
         "get_tv_channelcode *0", "06 01 00 30 A5 0B 00 00 00 03 00 " COMPRESSED,
         "06 01 00 30 A3 00 00 00 00", "06 01 00 30 A3 00 00 00 00", -1},

        {HANDLER(handle_get_tv_channelcode2), Reached::BY_GET, 55, "01 02 30", 3,
         "get_tv_channelcode2 *0", "06 01 02 30 A5 0B 00 00 00 03 00 " COMPRESSED,
         "06 01 02 30 A3 00 00 00 00", "06 01 02 30 A3 00 00 00 00", -1},

        {HANDLER(handle_get_tv_channelcode3), Reached::BY_GET, 56, "01 16 40 EE 02 00 'ab'", 8,
         "get_tv_channelcode3 \"ab\" *0",
         "06 01 16 40 A5 0B 00 00 00 03 00 " COMPRESSED,
         "06 01 16 40 A3 00 00 00 00", "06 01 16 40 A3 00 00 00 00", -1},
        {HANDLER(handle_get_tv_channelcode3), Reached::DIRECTLY, 56, "01 34 12 EE 00 00", 6,
         "get_tv_channelcode3 \"\" *0",
         "06 01 16 40 A5 0B 00 00 00 03 00 " COMPRESSED,
         "06 01 16 40 A3 00 00 00 00", "06 01 16 40 A3 00 00 00 00", -1},

        {HANDLER(handle_get_tv_order), Reached::BY_GET, 12, "01 07 20", 3,
         "get_tv_order *0 *0", "06 01 07 20 A2 08 00 00 00 03 00 01 02 03 04 05 06",
         "06 01 07 20", "06 01 07 20", -1},
        {HANDLER(handle_get_tv_order), Reached::DIRECTLY, 12, "01 34 12", 3,
         "get_tv_order *0 *0", "06 01 34 12 A2 08 00 00 00 03 00 01 02 03 04 05 06",
         "06 01 34 12", "06 01 34 12", -1},

        {HANDLER(handle_set_tv_order), Reached::DIRECTLY, 32, "06 20 06 34 12 78 96", 7,
         "set_tv_order 4660 38520 1", "08 06 20 ??", "08 06 20 FF", "08 06 20 FF", 0},
        {HANDLER(handle_set_tv_order), Reached::DIRECTLY, 32, "10 20 06 34 12 78 96", 7,
         "set_tv_order 4660 38520 2", "08 10 20 ??", "08 10 20 FF", "08 10 20 FF", 0},
        {HANDLER(handle_set_tv_order), Reached::DIRECTLY, 32, "07 20 06 34 12 78 96", 7,
         "", "08 07 20 00", "08 07 20 FF", "08 07 20 00", 0},
    };
    /* clang-format on */
}
