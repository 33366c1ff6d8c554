/* SPDX-License-Identifier: MIT */
/* What the television is: names, versions and single states. */
#include "handler_rows.h"

std::vector<HandlerRow> state_rows()
{
    /* clang-format off */
    return {
        {HANDLER(handle_get_tv_name), Reached::BY_GET, ROW_WITHOUT_SLOT, "01 01 0B", 3,
         "", "06 01 01 0B 08 02 00 'KV'", "06 01 01 0B", "06 01 01 0B 08 02 00 'KV'", 0},

        {HANDLER(handle_set_tv_name), Reached::DIRECTLY, 34, "08 01 EE EE 03 00 'abc'", 9,
         "set_tv_name \"abc\" 3", "08 08 01 ??", "08 08 01 FF", "08 08 01 FF", 0},
        {HANDLER(handle_set_tv_name), Reached::DIRECTLY, 34, "08 01 EE EE 00 00", 6,
         "set_tv_name \"\" 0", "08 08 01 ??", "08 08 01 FF", "08 08 01 FF", 0},

        {HANDLER(handle_get_europe_version), Reached::BY_GET, 65, "01 24 40", 3,
         "get_europe_version [32]", "06 01 24 40 08 05 00 'hello'",
         "06 01 24 40", "06 01 24 40", -1, Fails::BELOW_0},

        {HANDLER(handle_get_tv_code0001), Reached::BY_GET, 14, "01 01 00", 3,
         "get_tv_code0001", "06 01 01 00 02 ??", "", "", -1},

        {HANDLER(handle_get_tv_code0105), Reached::BY_GET, 7, "01 05 01", 3,
         "get_tv_code0105", "06 01 05 01 02 ??", "", "", -1},

        {HANDLER(handle_get_tv_code010e), Reached::BY_GET, 13, "01 0E 01 EE EE 07", 6,
         "get_tv_code010e 7", "06 01 0E 01 02 ??", "", "", -1},
        {HANDLER(handle_get_tv_code010e), Reached::DIRECTLY, 13, "01 34 12 EE EE FF", 6,
         "get_tv_code010e 255", "06 01 0E 01 02 ??", "", "", -1},

        {HANDLER(handle_get_tv_code2005), Reached::BY_GET, 24, "01 05 20", 3,
         "get_tv_code2005", "06 01 05 20 06 ????????", "", "", -1},
    };
    /* clang-format on */
}
