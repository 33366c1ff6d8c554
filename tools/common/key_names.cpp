/* SPDX-License-Identifier: MIT */
#include "key_names.h"

namespace tools
{

std::optional<uint32_t> find_key(std::string_view name)
{
    for (const KeyName &key : key_names) {
        if (name == key.name) {
            return key.code;
        }
    }
    return std::nullopt;
}

std::string key_name(uint32_t code)
{
    for (const KeyName &key : key_names) {
        if (code == key.code) {
            return key.name;
        }
    }
    return "unknown";
}

} // namespace tools
