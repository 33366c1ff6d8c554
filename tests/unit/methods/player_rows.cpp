/* SPDX-License-Identifier: MIT */
/* The media player. */
#include "handler_rows.h"

std::vector<HandlerRow> player_rows()
{
    /* clang-format off */
    return {
        {HANDLER(handle_get_play_status), Reached::BY_GET, 74, "01 01 15", 3,
         "get_play_status", "06 01 01 15 02 ??", "", "", -1},

        {HANDLER(handle_get_play_position), Reached::BY_GET, 75, "01 02 15", 3,
         "get_play_position", "06 01 02 15 06 ????????", "", "", -1},

        {HANDLER(handle_get_play_duration), Reached::BY_GET, 76, "01 03 15", 3,
         "get_play_duration", "06 01 03 15 06 ????????", "", "", -1},

        {HANDLER(handle_set_play_seek), Reached::BY_SET, 85, "02 15 EE 04 03 02 81", 7,
         "set_play_seek -2130574588", "08 02 15 ??", "08 02 15 FF", "08 02 15 FF", 0},
        {HANDLER(handle_set_play_seek), Reached::BY_SET, 85, "02 15 EE 04 03 02 01", 7,
         "set_play_seek 16909060", "08 02 15 ??", "08 02 15 FF", "08 02 15 FF", 0},

        {HANDLER(handle_set_play_volume), Reached::BY_SET, 81, "04 15 02 FF", 4,
         "set_play_volume 255", "08 04 15 ??", "08 04 15 FF", "08 04 15 FF", 0},
        {HANDLER(handle_set_play_volume), Reached::BY_SET, 81, "04 15 02 00", 4,
         "set_play_volume 0", "08 04 15 ??", "08 04 15 FF", "08 04 15 FF", 0},

        {HANDLER(handle_set_play_addr), Reached::BY_SET, 78, "05 15 08 03 00 'abc'", 8,
         "set_play_addr \"abc\"", "08 05 15 ??", "08 05 15 FF", "08 05 15 FF", 0},
        {HANDLER(handle_set_play_addr), Reached::BY_SET, 78, "05 15 08 00 00", 5,
         "set_play_addr \"\"", "08 05 15 ??", "08 05 15 FF", "08 05 15 FF", 0},

        {HANDLER(handle_set_play_speed), Reached::BY_SET, ROW_WITHOUT_SLOT, "06 15", 2,
         "", "", "", "", 0},

        {HANDLER(handle_set_play_start), Reached::BY_SET, 82, "07 15", 2,
         "set_play_start", "08 07 15 ??", "08 07 15 FF", "08 07 15 FF", 0},

        {HANDLER(handle_set_play_pause), Reached::BY_SET, 83, "08 15", 2,
         "set_play_pause", "08 08 15 ??", "08 08 15 FF", "08 08 15 FF", 0},

        {HANDLER(handle_set_play_stop), Reached::BY_SET, 84, "09 15", 2,
         "set_play_stop", "08 09 15 ??", "08 09 15 FF", "08 09 15 FF", 0},

        {HANDLER(handle_set_play_operation), Reached::BY_SET, 86, "10 15 05 FE FF FF FF", 7,
         "set_play_operation 5392 -2", "08 10 15 ??", "08 10 15 FF", "08 10 15 FF", 0},
        {HANDLER(handle_set_play_operation), Reached::BY_SET, 86, "11 15 05 04 03 02 01", 7,
         "set_play_operation 5393 16909060", "08 11 15 ??", "08 11 15 FF", "08 11 15 FF", 0},
        {HANDLER(handle_set_play_operation), Reached::BY_SET, 86, "12 15 05 00 00 00 80", 7,
         "set_play_operation 5394 -2147483648", "08 12 15 ??", "08 12 15 FF", "08 12 15 FF", 0},
        {HANDLER(handle_set_play_operation), Reached::BY_SET, 86, "13 15 05 00 00 00 00", 7,
         "set_play_operation 5395 0", "08 13 15 ??", "08 13 15 FF", "08 13 15 FF", 0},
        {HANDLER(handle_set_play_operation), Reached::BY_SET, 86, "14 15 05 01 00 00 00", 7,
         "set_play_operation 5396 1", "08 14 15 ??", "08 14 15 FF", "08 14 15 FF", 0},
        {HANDLER(handle_set_play_operation), Reached::BY_SET, 86, "15 15 05 02 00 00 00", 7,
         "set_play_operation 5397 2", "08 15 15 ??", "08 15 15 FF", "08 15 15 FF", 0},
        {HANDLER(handle_set_play_operation), Reached::BY_SET, 86, "16 15 05 03 00 00 00", 7,
         "set_play_operation 5398 3", "08 16 15 ??", "08 16 15 FF", "08 16 15 FF", 0},
        {HANDLER(handle_set_play_operation), Reached::DIRECTLY, 86, "CD AB 05 03 00 00 00", 7,
         "set_play_operation 43981 3", "08 CD AB ??", "08 CD AB FF", "08 CD AB FF", 0},

        {HANDLER(handle_set_play_addr2), Reached::BY_SET, 79,
         "17 15 EE 08 02 00 'ab' EE 03 00 00 00 'xyz' EE FE", 18,
         "set_play_addr2 \"ab\" \"xyz\" 3 254", "08 17 15 ??", "08 17 15 FF", "08 17 15 FF", 0},
        {HANDLER(handle_set_play_addr2), Reached::BY_SET, 79,
         "17 15 EE 08 02 00 'ab' EE 03 00 00 00 'x' 00 'z' EE 07", 18,
         "set_play_addr2 \"ab\" \"x\\x00z\" 3 7", "08 17 15 ??", "08 17 15 FF", "08 17 15 FF", 0},
        {HANDLER(handle_set_play_addr2), Reached::BY_SET, 79,
         "17 15 EE 08 00 00 EE 00 00 00 00 EE 00", 13,
         "set_play_addr2 \"\" \"\" 0 0", "08 17 15 ??", "08 17 15 FF", "08 17 15 FF", 0},
    };
    /* clang-format on */
}
