/* SPDX-License-Identifier: MIT */
/* Keys, steps, modes, pointer, switches and typed text. */
#include "handler_rows.h"

std::vector<HandlerRow> remote_rows()
{
    /* clang-format off */
    return {
        {HANDLER(handle_set_tv_channel), Reached::BY_SET, 29, "01 01 02 03", 4,
         "set_tv_channel 3", "08 01 01 ??", "08 01 01 FF", "08 01 01 FF", 0},
        {HANDLER(handle_set_tv_channel), Reached::BY_SET, 29, "01 01 02 FF", 4,
         "set_tv_channel 255", "08 01 01 ??", "08 01 01 FF", "08 01 01 FF", 0},
        {HANDLER(handle_set_tv_channel), Reached::BY_SET, 29, "02 01 02 03", 4,
         "set_tv_channel -3", "08 02 01 ??", "08 02 01 FF", "08 02 01 FF", 0},
        {HANDLER(handle_set_tv_channel), Reached::BY_SET, 29, "02 01 02 FF", 4,
         "set_tv_channel -255", "08 02 01 ??", "08 02 01 FF", "08 02 01 FF", 0},
        {HANDLER(handle_set_tv_channel), Reached::DIRECTLY, 29, "10 01 02 03", 4,
         "set_tv_channel 3", "08 10 01 ??", "08 10 01 FF", "08 10 01 FF", 0},

        {HANDLER(handle_set_tv_key), Reached::BY_SET, 27, "09 01 02 06 05 00 00 00 06 08 00 00 00", 13,
         "set_tv_key 5 8", "08 09 01 ??", "08 09 01 FF", "08 09 01 FF", 0},
        {HANDLER(handle_set_tv_key), Reached::BY_SET, 27, "09 01 EE EE 04 03 02 01 EE FF FE FD FC", 13,
         "set_tv_key 16909060 4244504319", "08 09 01 ??", "08 09 01 FF", "08 09 01 FF", 0},

        {HANDLER(handle_set_tv_volume), Reached::BY_SET, 25, "0F 01 02 05", 4,
         "set_tv_volume 5", "08 0F 01 ??", "08 0F 01 FF", "08 0F 01 FF", 0},
        {HANDLER(handle_set_tv_volume), Reached::BY_SET, 25, "10 01 02 05", 4,
         "set_tv_volume -5", "08 10 01 ??", "08 10 01 FF", "08 10 01 FF", 0},
        {HANDLER(handle_set_tv_volume), Reached::BY_SET, 25, "10 01 02 00", 4,
         "set_tv_volume 0", "08 10 01 ??", "08 10 01 FF", "08 10 01 FF", 0},
        {HANDLER(handle_set_tv_volume), Reached::BY_SET, 25, "10 01 02 FF", 4,
         "set_tv_volume -255", "08 10 01 ??", "08 10 01 FF", "08 10 01 FF", 0},
        {HANDLER(handle_set_tv_volume), Reached::DIRECTLY, 25, "02 01 02 05", 4,
         "set_tv_volume 5", "08 02 01 ??", "08 02 01 FF", "08 02 01 FF", 0},

        {HANDLER(handle_set_tv_textpair), Reached::BY_SET, 31,
         "12 01 EE EE 03 00 'abc' EE 02 00 'de'", 14,
         "set_tv_textpair \"de\" \"abc\"", "08 12 01 ??", "08 12 01 FF", "08 12 01 FF", 0},
        {HANDLER(handle_set_tv_textpair), Reached::BY_SET, 31, "12 01 EE EE 00 00 EE 00 00", 9,
         "set_tv_textpair \"\" \"\"", "08 12 01 ??", "08 12 01 FF", "08 12 01 FF", 0},

        {HANDLER(handle_get_tv_text), Reached::BY_GET, 9, "01 12 01", 3,
         "get_tv_text [256]", "06 01 12 01 08 05 00 'hello'", "06 01 12 01", "", -1},

        {HANDLER(handle_set_tv_mode), Reached::DIRECTLY, 23, "18 01 06 04 03 02 81", 7,
         "set_tv_mode 2164392708", "08 18 01 ??", "08 18 01 FF", "08 18 01 FF", 0},

        {HANDLER(handle_set_tv_powermode), Reached::DIRECTLY, 26, "04 01 02 FE", 4,
         "set_tv_powermode 254", "08 04 01 ??", "08 04 01 FF", "08 04 01 FF", 0},

        {HANDLER(handle_set_tv_mute), Reached::DIRECTLY, 15, "05 01 02 81", 4,
         "set_tv_mute 129", "08 05 01 ??", "08 05 01 FF", "08 05 01 FF", 0},

        {HANDLER(handle_set_tv_mouse), Reached::DIRECTLY, 30, "06 01 A0 02 01 FF FF 00 80", 9,
         "set_tv_mouse 258 -1 -32768", "", "", "", 0},

        {HANDLER(handle_set_tv_touch), Reached::DIRECTLY, 28,
         "07 01 EE EE 00 00 20 41 EE 00 00 A0 C1", 13,
         "set_tv_touch 10 -20", "08 07 01 ??", "08 07 01 FF", "08 07 01 FF", 0},

        {HANDLER(handle_set_tv_searchchannel), Reached::DIRECTLY, 19, "34 12", 2,
         "set_tv_searchchannel", "08 34 12 ??", "08 34 12 FF", "08 34 12 FF", 0},

        {HANDLER(handle_set_tv_int3), Reached::DIRECTLY, 33,
         "24 01 EE EE 01 02 03 04 EE 02 00 00 00 EE 03 00 00 80", 18,
         "set_tv_int3 67305985 2 2147483651", "08 24 01 ??", "08 24 01 FF", "08 24 01 FF", 0},

        {HANDLER(handle_set_tv_action1), Reached::DIRECTLY, 17, "34 12", 2,
         "set_tv_action1", "08 34 12 ??", "08 34 12 FF", "08 34 12 FF", 0},

        {HANDLER(handle_set_tv_action2), Reached::DIRECTLY, 16, "34 12", 2,
         "set_tv_action2", "08 34 12 ??", "08 34 12 FF", "08 34 12 FF", 0},

        {HANDLER(handle_set_tv_code0115), Reached::DIRECTLY, 0, "34 12 EE EE CD AB EE 02 00 'xy'", 11,
         "set_tv_code0115 \"xy\" 43981", "08 15 01 ??", "08 15 01 FF", "08 15 01 FF", 0},
        {HANDLER(handle_set_tv_code0115), Reached::DIRECTLY, 0, "34 12 EE EE 00 00 EE 01 00 'x'", 10,
         "set_tv_code0115 \"x\" 0", "08 15 01 ??", "08 15 01 FF", "08 15 01 FF", 0},
        {HANDLER(handle_set_tv_code0115), Reached::DIRECTLY, 0, "34 12 EE EE CD AB EE 00 00", 9,
         "", "08 15 01 00", "08 15 01 FF", "08 15 01 00", 0},

        {HANDLER(handle_set_tv_code0116), Reached::DIRECTLY, 2, "34 12 EE CD AB", 5,
         "set_tv_code0116 43981", "08 16 01 ??", "08 16 01 FF", "08 16 01 FF", 0},
        {HANDLER(handle_set_tv_code0116), Reached::DIRECTLY, 2, "34 12 EE 00 01", 5,
         "set_tv_code0116 256", "08 16 01 ??", "08 16 01 FF", "08 16 01 FF", 0},
        {HANDLER(handle_set_tv_code0116), Reached::DIRECTLY, 2, "34 12 EE 00 00", 5,
         "", "08 16 01 00", "08 16 01 FF", "08 16 01 00", 0},

        {HANDLER(handle_set_tv_code0117), Reached::DIRECTLY, 3, "34 12 EE 04 03 02 81", 7,
         "set_tv_code0117 2164392708", "08 17 01 ??", "08 17 01 FF", "08 17 01 FF", 0},
        {HANDLER(handle_set_tv_code0117), Reached::DIRECTLY, 3, "34 12 EE 00 00 01 00", 7,
         "set_tv_code0117 65536", "08 17 01 ??", "08 17 01 FF", "08 17 01 FF", 0},
        {HANDLER(handle_set_tv_code0117), Reached::DIRECTLY, 3, "34 12 EE 00 00 00 00", 7,
         "", "08 17 01 00", "08 17 01 FF", "08 17 01 00", 0},

        {HANDLER(handle_set_tv_code3001), Reached::DIRECTLY, 1, "34 12 EE EE 02 00 'ab'", 8,
         "set_tv_code3001 \"ab\"", "08 01 30 ??", "08 01 30 FF", "08 01 30 FF", 0},
        {HANDLER(handle_set_tv_code3001), Reached::DIRECTLY, 1, "34 12 EE EE 00 00", 6,
         "", "08 01 30 00", "08 01 30 FF", "08 01 30 00", 0},
    };
    /* clang-format on */
}
