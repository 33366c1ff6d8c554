/* SPDX-License-Identifier: MIT */
#include "forms.h"

#include "rows.h"

#include <cctype>
#include <sstream>

using protocol::Operation;

static std::string upper(std::string name)
{
    for (char &letter : name) {
        letter = static_cast<char>(std::toupper(static_cast<unsigned char>(letter)));
    }
    return name;
}

static void put_code(std::ostream &to, const std::string &name, unsigned code)
{
    to << "    IPP_CODE_" << name << " = 0x" << hex_digits(code, 4) << ",";
}

static void put_codes(std::ostream &to, const Operation &operation)
{
    static const char *const kinds[] = {"get", "set", "string call", "", ""};
    const std::string name = upper(operation.name);
    put_code(to, name, operation.first_code);
    to << " /* " << kinds[operation.kind] << ": " << operation.summary << " */\n";
    if (operation.last_code != operation.first_code) {
        put_code(to, name + "_LAST", operation.last_code);
        to << "\n";
    }
}

static void put_method_codes(std::ostream &to)
{
    to << "enum {\n";
    for (const Operation &operation : protocol::ALL_OPERATIONS) {
        if (operation.first_code != 0) {
            put_codes(to, operation);
        }
    }
    to << "};\n";
}

static void put_value_tags(std::ostream &to)
{
    to << "enum {\n";
    for (const ValueTagRow &row : value_tag_rows) {
        to << "    IPP_TAG_" << row.name << " = 0x" << hex_digits(row.value, 2) << ",\n";
    }
    to << "};\n";
}

static void put_frame_types(std::ostream &to)
{
    to << "enum {\n";
    for (const FrameTypeRow &row : frame_type_rows) {
        to << "    IPP_FRAME_" << row.name << " = 0x" << hex_digits(row.value, 2) << ", /* "
           << row.meaning << " */\n";
    }
    to << "};\n";
}

static void put_block(std::ostream &to, const char *name, void (*put)(std::ostream &))
{
    to << "/* begin: " << name << " */\n";
    put(to);
    to << "/* end */\n";
}

std::string c_form()
{
    std::ostringstream to;
    put_block(to, "frame types", put_frame_types);
    put_block(to, "method codes", put_method_codes);
    put_block(to, "value tags", put_value_tags);
    return to.str();
}
