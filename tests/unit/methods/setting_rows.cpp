/* SPDX-License-Identifier: MIT */
/* Settings, applications, place and text queries. */
#include "handler_rows.h"

static HostAnswers answering_number()
{
    HostAnswers answers;
    answers.outs = {0x81020304};
    return answers;
}

std::vector<HandlerRow> setting_rows()
{
    /* clang-format off */
    return {
        {HANDLER(handle_get_tv_installapklist), Reached::BY_GET, 59,
         "01 01 40 EE EE 04 03 02 81", 9,
         "get_tv_installapklist 2164392708 [65535]", "06 01 01 40 08 05 00 'hello'",
         "06 01 01 40", "06 01 01 40", -1, Fails::BELOW_0},
        {HANDLER(handle_get_tv_installapklist), Reached::DIRECTLY, 59,
         "01 34 12 EE EE 04 03 02 01", 9,
         "get_tv_installapklist 16909060 [65535]", "06 01 01 40 08 05 00 'hello'",
         "06 01 01 40", "06 01 01 40", -1, Fails::BELOW_0},

        {HANDLER(handle_get_tv_currentposition), Reached::BY_GET, 60, "01 02 40", 3,
         "get_tv_currentposition [65535]", "06 01 02 40 08 05 00 'hello'",
         "06 01 02 40", "06 01 02 40", -1, Fails::BELOW_0},

        {HANDLER(handle_set_tv_setting_mtnadata), Reached::BY_SET, 39,
         "08 40 EE EE EE 03 00 'abc' 02 00 'de' EE FE", 16,
         "set_tv_setting_mtnadata \"de\" 2 \"abc\" 3 254 [2560]",
         "06 01 08 40 08 05 00 'hello'", "06 01 08 40", "06 01 08 40", -1},
        {HANDLER(handle_set_tv_setting_mtnadata), Reached::DIRECTLY, 39,
         "34 12 EE EE EE 00 00 00 00 EE 00", 11,
         "set_tv_setting_mtnadata \"\" 0 \"\" 0 0 [2560]",
         "06 01 08 40 08 05 00 'hello'", "06 01 08 40", "06 01 08 40", -1},

        {HANDLER(handle_get_tv_code400a), Reached::BY_GET, 70, "01 0A 40 EE EE EE 02 00 'ab'", 10,
         "get_tv_code400a *0 \"ab\"", "06 01 0A 40 06 04 03 02 81",
         "06 01 0A 40", "06 01 0A 40", -1, Fails::NEVER, answering_number()},
        {HANDLER(handle_get_tv_code400a), Reached::DIRECTLY, 70, "01 34 12 EE EE EE 00 00", 8,
         "get_tv_code400a *0 \"\"", "06 01 0A 40 06 04 03 02 81",
         "06 01 0A 40", "06 01 0A 40", -1, Fails::NEVER, answering_number()},

        {HANDLER(handle_get_tv_code400b), Reached::BY_GET, 67, "01 0B 40 EE EE EE 02 00 'ab'", 10,
         "get_tv_code400b [2560] \"ab\"", "06 01 0B 40 08 05 00 'hello'",
         "06 01 0B 40", "06 01 0B 40", -1},
        {HANDLER(handle_get_tv_code400b), Reached::DIRECTLY, 67, "01 34 12 EE EE EE 00 00", 8,
         "get_tv_code400b [2560] \"\"", "06 01 0B 40 08 05 00 'hello'",
         "06 01 0B 40", "06 01 0B 40", -1},

        {HANDLER(handle_get_tv_code400c), Reached::BY_GET, 68, "01 0C 40 EE EE EE 02 00 'ab'", 10,
         "get_tv_code400c [2560] \"ab\"", "06 01 0C 40 08 05 00 'hello'",
         "06 01 0C 40", "06 01 0C 40", -1},

        {HANDLER(handle_get_tv_code400d), Reached::BY_GET, 69, "01 0D 40 EE EE EE 02 00 'ab'", 10,
         "get_tv_code400d [2560] \"ab\"", "06 01 0D 40 08 05 00 'hello'",
         "06 01 0D 40", "06 01 0D 40", -1},

        {HANDLER(handle_get_tv_code4015), Reached::BY_GET, 71, "01 15 40 EE EE EE 02 00 'ab'", 10,
         "get_tv_code4015 [2560] \"ab\"", "06 01 15 40 08 05 00 'hello'",
         "06 01 15 40", "06 01 15 40", -1},

        /* Setters whose answer is a get reply. */
        {HANDLER(handle_set_tv_install_apklist), Reached::DIRECTLY, 36,
         "34 12 EE 02 00 'ab' 04 03 02 81", 11,
         "set_tv_install_apklist \"ab\" 2164392708", "06 01 34 12 06 ????????",
         "06 01 34 12", "06 01 34 12", -1},
        {HANDLER(handle_set_tv_install_apklist), Reached::DIRECTLY, 36,
         "35 12 EE 00 00 04 03 02 01", 9,
         "set_tv_install_apklist \"\" 16909060", "06 01 35 12 06 ????????",
         "06 01 35 12", "06 01 35 12", -1},

        {HANDLER(handle_set_tv_current_position), Reached::DIRECTLY, 37,
         "34 12 EE 02 00 'ab'", 7,
         "set_tv_current_position \"ab\" 2", "06 01 34 12 06 ????????",
         "06 01 34 12", "06 01 34 12", -1},
        {HANDLER(handle_set_tv_current_position), Reached::DIRECTLY, 37, "34 12 EE 00 00", 5,
         "set_tv_current_position \"\" 0", "06 01 34 12 06 ????????",
         "06 01 34 12", "06 01 34 12", -1},

        {HANDLER(handle_set_tv_wifiinfo), Reached::DIRECTLY, 61, "09 40 EE EE EE 04 00 'wifi'", 11,
         "set_tv_wifiinfo \"wifi\"", "08 09 40 ??", "08 09 40 FF", "08 09 40 FF", 0},
        {HANDLER(handle_set_tv_wifiinfo), Reached::DIRECTLY, 61, "09 40 EE EE EE 00 00", 7,
         "set_tv_wifiinfo \"\"", "08 09 40 ??", "08 09 40 FF", "08 09 40 FF", 0},

        {HANDLER(handle_set_tv_shut_down), Reached::DIRECTLY, 44, "34 12", 2,
         "set_tv_shut_down", "08 34 12 00", "08 34 12 00", "08 34 12 00", 0},
    };
    /* clang-format on */
}
