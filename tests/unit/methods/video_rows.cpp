/* SPDX-License-Identifier: MIT */
/* Video on demand. */
#include "handler_rows.h"

/* Three 32-bit numbers. */
static HostAnswers answering_numbers()
{
    HostAnswers answers;
    answers.outs = {3};
    answers.data = bytes("01 02 03 04 05 06 07 08 09 0A 0B 0C");
    return answers;
}

static std::string cells()
{
    return characters(256, 'c') + " " + characters(255, 'd') + " 00";
}

static HostAnswers answering_cells()
{
    HostAnswers answers;
    answers.outs = {2};
    answers.data = bytes(cells());
    return answers;
}

/* The record of 280 bytes that the host begins with "hello". */
static std::string record()
{
    return "'hello' " + hex(Bytes(275));
}

std::vector<HandlerRow> video_rows()
{
    /* clang-format off */
    return {
        {HANDLER(handle_get_tv_vodstr), Reached::BY_GET, 45, "01 0E 20 EE EE FE", 6,
         "get_tv_vodstr 254", "06 01 0E 20 08 06 00 01 02 03 04 05 06",
         "06 01 0E 20", "06 01 0E 20", -1},
        {HANDLER(handle_get_tv_vodstr), Reached::DIRECTLY, 45, "01 34 12 EE EE 00", 6,
         "get_tv_vodstr 0", "06 01 34 12 08 06 00 01 02 03 04 05 06",
         "06 01 34 12", "06 01 34 12", -1},

        {HANDLER(handle_get_tv_vodstr2), Reached::BY_GET, 46, "01 18 40 EE EE FE EE 02 00 'ab'", 11,
         "get_tv_vodstr2 254 \"ab\"", "06 01 18 40 08 06 00 01 02 03 04 05 06",
         "06 01 18 40", "06 01 18 40", -1},
        {HANDLER(handle_get_tv_vodstr2), Reached::DIRECTLY, 46, "01 34 12 EE EE 00 EE 00 00", 9,
         "get_tv_vodstr2 0 \"\"", "06 01 34 12 08 06 00 01 02 03 04 05 06",
         "06 01 34 12", "06 01 34 12", -1},

        {HANDLER(handle_get_tv_vodstatus), Reached::BY_GET, 47, "01 0F 20", 3,
         "get_tv_vodstatus [280]", "06 01 0F 20 A4 18 01 00 00 " + record(),
         "06 01 0F 20", "06 01 0F 20", -1, Fails::BELOW_1},
        {HANDLER(handle_get_tv_vodstatus), Reached::DIRECTLY, 47, "01 34 12", 3,
         "get_tv_vodstatus [280]", "06 01 0F 20 A4 18 01 00 00 " + record(),
         "06 01 34 12", "06 01 34 12", -1, Fails::BELOW_1},

        /* The answer bears the code of the other one, the failure its own. */
        {HANDLER(handle_get_tv_vodstatus2), Reached::BY_GET, 48, "01 21 40 EE 02 00 'ab'", 8,
         "get_tv_vodstatus2 \"ab\" [280]", "06 01 0F 20 A4 18 01 00 00 " + record(),
         "06 01 21 40", "06 01 21 40", -1, Fails::BELOW_1},
        {HANDLER(handle_get_tv_vodstatus2), Reached::DIRECTLY, 48, "01 34 12 EE 00 00", 6,
         "get_tv_vodstatus2 \"\" [280]", "06 01 0F 20 A4 18 01 00 00 " + record(),
         "06 01 34 12", "06 01 34 12", -1, Fails::BELOW_1},

        {HANDLER(handle_get_tv_vodintarray), Reached::BY_GET, 49, "01 10 20", 3,
         "get_tv_vodintarray *0",
         "06 01 10 20 0C 0C 00 00 00 01 02 03 04 05 06 07 08 09 0A 0B 0C",
         "06 01 10 20", "06 01 10 20", -1, Fails::NEVER, answering_numbers()},
        {HANDLER(handle_get_tv_vodintarray), Reached::DIRECTLY, 49, "01 34 12", 3,
         "get_tv_vodintarray *0",
         "06 01 34 12 0C 0C 00 00 00 01 02 03 04 05 06 07 08 09 0A 0B 0C",
         "06 01 34 12", "06 01 34 12", -1, Fails::NEVER, answering_numbers()},

        {HANDLER(handle_get_tv_vodintarray2), Reached::BY_GET, 50, "01 1C 40 EE EE 02 00 'ab'", 9,
         "get_tv_vodintarray2 *0 \"ab\"",
         "06 01 1C 40 0C 0C 00 00 00 01 02 03 04 05 06 07 08 09 0A 0B 0C",
         "06 01 1C 40", "06 01 1C 40", -1, Fails::NEVER, answering_numbers()},
        {HANDLER(handle_get_tv_vodintarray2), Reached::DIRECTLY, 50, "01 34 12 EE EE 00 00", 7,
         "get_tv_vodintarray2 *0 \"\"",
         "06 01 34 12 0C 0C 00 00 00 01 02 03 04 05 06 07 08 09 0A 0B 0C",
         "06 01 34 12", "06 01 34 12", -1, Fails::NEVER, answering_numbers()},

        {HANDLER(handle_get_tv_vodarraystring), Reached::BY_GET, 10, "01 11 20", 3,
         "get_tv_vodarraystring *0", "06 01 11 20 0C 00 02 00 00 " + cells(),
         "06 01 11 20", "06 01 11 20", -1, Fails::NEVER, answering_cells()},
        {HANDLER(handle_get_tv_vodarraystring), Reached::DIRECTLY, 10, "01 34 12", 3,
         "get_tv_vodarraystring *0", "06 01 11 20 0C 00 02 00 00 " + cells(),
         "06 01 11 20", "06 01 11 20", -1, Fails::NEVER, answering_cells()},

        {HANDLER(handle_get_tv_vodarraystring2), Reached::BY_GET, 11, "01 1B 40 EE 02 00 'ab'", 8,
         "get_tv_vodarraystring2 \"ab\" *0", "06 01 1B 40 0C 00 02 00 00 " + cells(),
         "06 01 1B 40", "06 01 1B 40", -1, Fails::NEVER, answering_cells()},
        {HANDLER(handle_get_tv_vodarraystring2), Reached::DIRECTLY, 11, "01 34 12 EE 00 00", 6,
         "get_tv_vodarraystring2 \"\" *0", "06 01 34 12 0C 00 02 00 00 " + cells(),
         "06 01 34 12", "06 01 34 12", -1, Fails::NEVER, answering_cells()},

        {HANDLER(handle_get_tv_vodplayer), Reached::BY_GET, 8, "01 18 20", 3,
         "get_tv_vodplayer", "06 01 18 20 06 ????????", "06 01 18 20", "06 01 18 20", -1},

        {HANDLER(handle_get_tv_vodplayer_v2), Reached::BY_GET, 64, "01 1E 40 EE EE 02 00 'ab'", 9,
         "get_tv_vodplayer_v2 \"ab\"", "06 01 1E 40 06 ????????",
         "06 01 1E 40", "06 01 1E 40", -1},
        {HANDLER(handle_get_tv_vodplayer_v2), Reached::DIRECTLY, 64, "01 34 12 EE EE 00 00", 7,
         "get_tv_vodplayer_v2 \"\"", "06 01 1E 40 06 ????????",
         "06 01 1E 40", "06 01 1E 40", -1},

        {HANDLER(handle_get_startplayer), Reached::BY_GET, 62,
         "01 20 40 EE EE 01 00 02 00 03 00 'a' 'bb' 'ccc'", 17,
         "get_startplayer \"a\" \"bb\" \"ccc\"", "06 01 20 40 06 ????????",
         "06 01 20 40", "06 01 20 40", -1, Fails::BELOW_0},
        {HANDLER(handle_get_startplayer), Reached::DIRECTLY, 62,
         "01 34 12 EE EE 00 00 00 00 00 00", 11,
         "get_startplayer \"\" \"\" \"\"", "06 01 20 40 06 ????????",
         "06 01 20 40", "06 01 20 40", -1, Fails::BELOW_0},

        {HANDLER(handle_get_tv_metadata), Reached::BY_GET, 58,
         "01 03 40 EE EE FE EE 02 00 'ab' 03 00 'cde'", 16,
         "get_tv_metadata \"ab\" \"cde\" 254 [65535]", "06 01 03 40 08 05 00 'hello'",
         "06 01 03 40", "06 01 03 40", -1, Fails::BELOW_0},
        {HANDLER(handle_get_tv_metadata), Reached::DIRECTLY, 58,
         "01 34 12 EE EE 00 EE 00 00 00 00", 11,
         "get_tv_metadata \"\" \"\" 0 [65535]", "06 01 03 40 08 05 00 'hello'",
         "06 01 03 40", "06 01 03 40", -1, Fails::BELOW_0},

        {HANDLER(handle_set_tv_voddetails), Reached::DIRECTLY, 21,
         "22 01 EE 02 00 'ab' EE 03 00 'cde'", 13,
         "set_tv_voddetails \"ab\" 2 \"cde\" 3", "08 22 01 ??", "08 22 01 FF", "08 22 01 FF", 0},
        {HANDLER(handle_set_tv_voddetails), Reached::DIRECTLY, 21, "22 01 EE 00 00 EE 00 00", 8,
         "set_tv_voddetails \"\" 0 \"\" 0", "08 22 01 ??", "08 22 01 FF", "08 22 01 FF", 0},

        {HANDLER(handle_set_tv_vod), Reached::DIRECTLY, 51, "34 12 EE EE 01 EE 04 03 02 81", 10,
         "set_tv_vod 1 2164392708 0 0 null 0", "08 34 12 ??", "08 34 12 FF", "08 34 12 FF", 0},
        {HANDLER(handle_set_tv_vod), Reached::DIRECTLY, 51,
         "34 12 EE EE 12 EE 04 03 02 81 08 07 06 05", 14,
         "set_tv_vod 18 0 2164392708 84281096 null 0",
         "08 34 12 ??", "08 34 12 FF", "08 34 12 FF", 0},
        {HANDLER(handle_set_tv_vod), Reached::DIRECTLY, 51, "34 12 EE EE 08 EE 03 00 'abc'", 11,
         "set_tv_vod 8 0 0 0 \"abc\" 3", "08 34 12 ??", "08 34 12 FF", "08 34 12 FF", 0},
        {HANDLER(handle_set_tv_vod), Reached::DIRECTLY, 51, "34 12 EE EE 07 EE 00 00", 8,
         "set_tv_vod 7 0 0 0 \"\" 0", "08 34 12 ??", "08 34 12 FF", "08 34 12 FF", 0},

        {HANDLER(handle_set_tv_vod_vt_int), Reached::DIRECTLY, 40,
         "34 12 EE EE FE EE 02 00 'ab' EE 04 03 02 81", 15,
         "set_tv_vod_vt_int 254 \"ab\" 2164392708", "08 34 12 ??",
         "08 34 12 FF", "08 34 12 FF", 0},

        {HANDLER(handle_set_tv_vod_vt_str), Reached::DIRECTLY, 41,
         "34 12 EE EE FE EE 02 00 'ab' EE 03 00 'cde'", 16,
         "set_tv_vod_vt_str 254 \"ab\" \"cde\"", "08 34 12 ??",
         "08 34 12 FF", "08 34 12 FF", 0},
        {HANDLER(handle_set_tv_vod_vt_str), Reached::DIRECTLY, 41,
         "34 12 EE EE 01 EE 00 00 EE 00 00", 11,
         "set_tv_vod_vt_str 1 \"\" \"\"", "08 34 12 ??",
         "08 34 12 FF", "08 34 12 FF", 0},

        {HANDLER(handle_set_tv_vod_vt_long), Reached::DIRECTLY, 42,
         "34 12 EE EE FE EE 02 00 'ab' EE 08 07 06 05 04 03 02 81", 19,
         "set_tv_vod_vt_long 254 \"ab\" -9150748177064392952", "08 34 12 ??",
         "08 34 12 FF", "08 34 12 FF", 0},
    };
    /* clang-format on */
}
