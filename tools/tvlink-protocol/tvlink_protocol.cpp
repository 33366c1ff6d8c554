/* SPDX-License-Identifier: MIT */
/* Prints the list of operations in one of its forms. */
#include "forms.h"

#include <CLI/CLI.hpp>
#include <cstdio>
#include <fstream>
#include <functional>
#include <iostream>

std::string hex_digits(unsigned value, int digits)
{
    char text[16];
    std::snprintf(text, sizeof text, "%0*X", digits, value);
    return text;
}

static int write_text(const std::string &path, const std::string &text)
{
    if (path.empty()) {
        std::cout << text;
        return std::cout.flush() ? 0 : 1;
    }
    std::ofstream file(path);
    file << text;
    return file.flush() ? 0 : 1;
}

int main(int argc, char **argv)
{
    CLI::App app("Prints what tvlink says and understands on a control connection.");
    std::string output;
    std::function<std::string()> form;
    const auto add_form = [&](const char *option, const char *help, std::string (*made)()) {
        app.add_flag_callback(
               option, [&form, made] { form = made; }, help)
            ->group("Forms");
    };
    add_form("--json", "all of it as JSON", [] { return json_form().dump(2) + "\n"; });
    add_form("--lua", "all of it as a Lua chunk that returns a table", lua_form);
    add_form("--markdown", "the tables of docs/PROTOCOL.md", markdown_form);
    add_form("--c", "the enumerations of tvlink/conventions.h", c_form);
    add_form("--dictionary", "the beginnings of requests for a fuzzer", dictionary);
    app.add_option("-o,--output", output, "file to write instead of the standard output");
    CLI11_PARSE(app, argc, argv);
    if (!form) {
        std::cerr << app.help();
        return 2;
    }
    return write_text(output, form());
}
