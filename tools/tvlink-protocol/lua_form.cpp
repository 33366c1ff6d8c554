/* SPDX-License-Identifier: MIT */
#include "forms.h"

#include <regex>
#include <sstream>

/* One line of indented JSON as Lua: only brackets and keys are written in another way, as no text
 * here holds more than ASCII. */
static std::string lua_line(const std::string &json)
{
    static const std::regex line_form(R"re(( *)(?:"(\w+)": )?(.*))re");
    std::smatch parts;
    std::regex_match(json, parts, line_form);
    std::string value = parts[3];
    const size_t bracket = value[0] == '"' ? std::string::npos : value.find_first_of("[]");
    if (bracket != std::string::npos) {
        value = std::regex_replace(std::regex_replace(value, std::regex("\\["), "{"),
                                   std::regex("\\]"), "}");
    }
    const std::string key = parts[2].matched ? parts[2].str() + " = " : "";
    return parts[1].str() + key + value + "\n";
}

std::string lua_form()
{
    std::istringstream lines(json_form().dump(2));
    std::string text = "return ";
    for (std::string line; std::getline(lines, line);) {
        text += lua_line(line);
    }
    return text;
}
