#include "forms.h"

using nlohmann::ordered_json;

static std::string lua_value(const ordered_json &value, const std::string &indent);

static std::string lua_table(const ordered_json &container, const std::string &indent)
{
    const std::string inner = indent + "  ";
    std::string text = "{\n";
    for (const auto &[key, value] : container.items()) {
        const std::string name = container.is_object() ? key + " = " : "";
        text += inner;
        text += name;
        text += lua_value(value, inner);
        text += ",\n";
    }
    return text + indent + "}";
}

/* Strings, numbers and booleans are written alike in both languages: no text here has more than
 * ASCII in it. */
static std::string lua_value(const ordered_json &value, const std::string &indent)
{
    return value.is_structured() ? lua_table(value, indent) : value.dump();
}

std::string lua_form()
{
    return "return " + lua_value(json_form(), "") + "\n";
}
