/* SPDX-License-Identifier: MIT */
/* JSON texts from the television, whose content its host decides. */
#include "output.h"
#include "system.h"

#include <algorithm>
#include <nlohmann/json.hpp>
#include <optional>

namespace ctl
{
namespace
{

using Json = nlohmann::ordered_json;

/* Printing is recursive: deeper values could exhaust the stack. */
constexpr int max_depth = 16;

std::optional<Json> parse(CpBytes text)
{
    bool too_deep = false;
    const auto watch_depth = [&](int depth, Json::parse_event_t, Json &) {
        too_deep = too_deep || depth > max_depth;
        return true;
    };
    Json value = Json::parse(text.data, text.data + text.size, watch_depth, false);
    if (value.is_discarded() || too_deep) {
        return std::nullopt;
    }
    return value;
}

/* A text without its quotes, anything else as JSON. */
std::string value_in_words(const Json &value)
{
    return printable(value.is_string() ? value.get<std::string>() : tools::one_line(value));
}

/* The name of a member for people. */
std::string name_in_words(const std::string &name)
{
    std::string words = printable(name);
    std::replace(words.begin(), words.end(), '_', ' ');
    return words;
}

/* The same as the title of a column. */
std::string title_of(const std::string &name)
{
    std::string title = name_in_words(name);
    for (char &letter : title) {
        const bool is_small = letter >= 'a' && letter <= 'z';
        letter = is_small ? static_cast<char>(letter - 'a' + 'A') : letter;
    }
    return title;
}

bool is_list_of_objects(const Json &value)
{
    return value.is_array() && !value.empty() &&
           std::all_of(value.begin(), value.end(), [](const Json &one) { return one.is_object(); });
}

/* Adds a column for each member whose name has none yet. */
void add_columns(const Json &object, std::vector<std::string> &names, Table &table)
{
    for (const auto &[name, value] : object.items()) {
        if (std::find(names.begin(), names.end(), name) == names.end()) {
            names.push_back(name);
            table.columns.push_back({title_of(name), value.is_number()});
        }
    }
}

Table table_of(const Json &list)
{
    Table table;
    std::vector<std::string> names;
    for (const Json &object : list) {
        add_columns(object, names, table);
    }
    for (const Json &object : list) {
        std::vector<std::string> &row = table.rows.emplace_back();
        for (const std::string &name : names) {
            row.push_back(object.contains(name) ? value_in_words(object[name]) : "");
        }
    }
    return table;
}

/* The value for people. */
std::string lines_of(const Json &value)
{
    if (is_list_of_objects(value)) {
        return table_text(table_of(value));
    }
    std::string lines;
    if (value.is_object()) {
        for (const auto &[name, member] : value.items()) {
            lines += name_in_words(name) + ": " + value_in_words(member) + "\n";
        }
        return lines;
    }
    if (value.is_array()) {
        for (const Json &member : value) {
            lines += value_in_words(member) + "\n";
        }
        return lines;
    }
    return value_in_words(value) + "\n";
}

} // namespace

void print_json_text(const Settings &settings, const std::string &name, CpBytes text)
{
    const std::optional<Json> value = parse(text);
    if (!value) {
        Facts facts;
        add_text(facts, name, text);
        print_facts(settings, facts);
        return;
    }
    tools::print(stdout,
                 settings.json ? tools::one_line(Json{{name, *value}}) + "\n" : lines_of(*value));
}

} // namespace ctl
