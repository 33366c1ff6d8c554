/* SPDX-License-Identifier: MIT */
/* Phones, accounts and voice. */
#include "handler_rows.h"

std::vector<HandlerRow> phone_rows()
{
    /* clang-format off */
    return {
        {HANDLER(handle_set_tv_bind), Reached::DIRECTLY, 18, "34 12", 2,
         "set_tv_bind", "08 34 12 ??", "08 34 12 FF", "08 34 12 FF", 0},

        {HANDLER(handle_set_tv_showphone), Reached::DIRECTLY, 20, "21 01 08 03 00 'tel'", 8,
         "set_tv_showphone \"tel\" 3", "08 21 01 ??", "08 21 01 FF", "08 21 01 FF", 0},
        {HANDLER(handle_set_tv_showphone), Reached::DIRECTLY, 20, "21 01 08 00 00", 5,
         "set_tv_showphone \"\" 0", "08 21 01 ??", "08 21 01 FF", "08 21 01 FF", 0},

        {HANDLER(handle_set_tv_show_phone_connect), Reached::DIRECTLY, 43,
         "34 12 02 00 'ab' 03 00 'cde'", 11,
         "set_tv_show_phone_connect \"ab\" \"cde\"", "08 34 12 ??",
         "08 34 12 FF", "08 34 12 FF", 0},
        {HANDLER(handle_set_tv_show_phone_connect), Reached::DIRECTLY, 43, "34 12 00 00 00 00", 6,
         "set_tv_show_phone_connect \"\" \"\"", "08 34 12 ??",
         "08 34 12 FF", "08 34 12 FF", 0},

        {HANDLER(handle_set_tv_nick_name), Reached::DIRECTLY, 38,
         "34 12 EE 02 00 'ab' 04 03 02 81", 11,
         "set_tv_nick_name \"ab\" 2164392708", "06 01 34 12 06 ????????",
         "06 01 34 12", "06 01 34 12", -1},
        {HANDLER(handle_set_tv_nick_name), Reached::DIRECTLY, 38, "34 12 EE 00 00 04 03 02 01", 9,
         "set_tv_nick_name \"\" 16909060", "06 01 34 12 06 ????????",
         "06 01 34 12", "06 01 34 12", -1},

        {HANDLER(handle_set_tv_loginfromtv), Reached::DIRECTLY, 22,
         "23 01 EE EE 01 00 'a' EE 02 00 'bb' EE 00 00 EE 01 00 'd' EE 03 00 'eee'", 25,
         "set_tv_loginfromtv \"a\" \"bb\" \"\" \"d\" \"eee\"",
         "08 23 01 00", "08 23 01 00", "08 23 01 00", 0},

        {HANDLER(handle_tv_sendvoice), Reached::BY_GET, 63, "01 1F 40 EE EE 03 00 'a' 00 'c'", 10,
         "tv_sendvoice \"a\\x00c\" 3", "", "06 01 1F 40", "06 01 1F 40", -1, Fails::BELOW_0},
        {HANDLER(handle_tv_sendvoice), Reached::DIRECTLY, 63, "01 34 12 EE EE 00 00", 7,
         "tv_sendvoice \"\" 0", "", "06 01 1F 40", "06 01 1F 40", -1, Fails::BELOW_0},
    };
    /* clang-format on */
}
