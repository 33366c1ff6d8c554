/* SPDX-License-Identifier: MIT */
/* Tests that take longer when somebody asks for it. */
#pragma once

#include <cstdlib>
#include <string>

/* TVLINK_SOAK=long in the environment; `scripts/test --long` sets it. */
inline bool in_long_form()
{
    const char *form = std::getenv("TVLINK_SOAK");
    return form != nullptr && std::string(form) == "long";
}
