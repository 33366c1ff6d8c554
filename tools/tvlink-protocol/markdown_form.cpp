/* SPDX-License-Identifier: MIT */
#include "forms.h"

#include "rows.h"

#include <cctype>
#include <cstring>
#include <vector>

using protocol::Argument;
using protocol::Operation;

/* ---- Tables */

static std::string table_row(const std::vector<std::string> &cells)
{
    std::string line = "|";
    for (const std::string &cell : cells) {
        line += cell.empty() ? " |" : " " + cell + " |";
    }
    return line + "\n";
}

static std::string table_head(const std::vector<std::string> &cells)
{
    std::string line = table_row(cells) + "|";
    for (size_t i = 0; i < cells.size(); i++) {
        line += "---|";
    }
    return line + "\n";
}

/* A block that the page keeps between two marks. */
static std::string block(const std::string &name, const std::string &content)
{
    return "<!-- begin: " + name + " -->\n" + content + "<!-- end -->\n";
}

/* ---- Arguments */

static unsigned width_of(protocol::ArgumentType type)
{
    switch (type) {
    case protocol::ARGUMENT_U16:
    case protocol::ARGUMENT_I16:
    case protocol::ARGUMENT_LENGTH16:
        return 2;
    case protocol::ARGUMENT_U32:
    case protocol::ARGUMENT_I32:
    case protocol::ARGUMENT_F32:
        return 4;
    case protocol::ARGUMENT_I64:
        return 8;
    case protocol::ARGUMENT_CHECKED_KIND:
        return 0;
    default:
        return 1;
    }
}

static bool has_no_fixed_width(protocol::ArgumentType type)
{
    return type >= protocol::ARGUMENT_TEXT && type != protocol::ARGUMENT_LENGTH16;
}

static bool is_not_looked_at(protocol::ArgumentType type)
{
    return type <= protocol::ARGUMENT_SPARE;
}

static std::string value_words(const Argument &argument)
{
    std::string name = argument.name;
    const std::string bytes = std::to_string(width_of(argument.type)) +
                              (width_of(argument.type) == 1 ? " byte" : " bytes");
    switch (argument.type) {
    case protocol::ARGUMENT_CHECKED_TAG:
        return "`" + hex_digits(argument.tag, 2) + "`, checked";
    case protocol::ARGUMENT_CHECKED_KIND:
        return "the kind of call is checked";
    case protocol::ARGUMENT_I16:
    case protocol::ARGUMENT_I32:
    case protocol::ARGUMENT_I64:
        return name + ": " + bytes + ", signed";
    case protocol::ARGUMENT_F32:
        return name + ": " + bytes + ", floating point";
    case protocol::ARGUMENT_TEXT:
        return name + ": 2-byte length, " +
               (argument.limit < 65535 ? "up to " + std::to_string(argument.limit) + " bytes"
                                       : "bytes");
    case protocol::ARGUMENT_DATA16:
        return name + ": 2-byte length, bytes";
    case protocol::ARGUMENT_DATA32:
        return name + ": 4-byte length, bytes";
    case protocol::ARGUMENT_LENGTH16:
        return "length of the " + name + ": " + bytes;
    case protocol::ARGUMENT_BYTES:
        return name;
    case protocol::ARGUMENT_TYPED:
        return name + ": 1-byte type, 1 byte, value in the type's form";
    default:
        return name + ": " + bytes;
    }
}

/* The values with their offsets in the payload, as long as these are fixed. */
static std::string arguments_words(const Operation &operation)
{
    std::string words;
    bool fixed = true;
    unsigned at = operation.kind == protocol::KIND_GET ? 3 : 2;
    for (size_t i = 0; i < operation.arguments.count; i++) {
        const Argument &argument = operation.arguments.items[i];
        if (!is_not_looked_at(argument.type) || !fixed) {
            words += words.empty() ? "" : "; ";
            words += is_not_looked_at(argument.type) ? "1 byte" : value_words(argument);
            words += fixed && argument.type != protocol::ARGUMENT_CHECKED_KIND
                         ? " [" + std::to_string(at) + "]"
                         : "";
        }
        fixed = fixed && !has_no_fixed_width(argument.type);
        at += width_of(argument.type);
    }
    return words;
}

/* ---- Replies */

static std::string tag_words(const protocol::Reply &reply)
{
    std::string form = reply.tag == TAG_STRING ? "text" : "list";
    for (const ValueTagRow &row : value_tag_rows) {
        if (row.value == reply.tag && reply.tag != TAG_STRING && reply.max_bits == 0) {
            form = row.form;
        }
    }
    return hex_digits(reply.tag, 2) + ", " + form;
}

static std::string reply_words(const Operation &operation)
{
    const protocol::Reply &reply = operation.reply;
    std::string words;
    switch (reply.form) {
    case protocol::REPLY_VALUE:
        words = (operation.kind == protocol::KIND_GET ? "" : "get reply: ") + tag_words(reply);
        break;
    case protocol::REPLY_RESULT:
        words = "result";
        break;
    case protocol::REPLY_ZERO:
        words = "result 0";
        break;
    case protocol::REPLY_SILENCE:
        words =
            operation.refusal == protocol::REFUSED_SILENTLY ? "none" : "none; a failure is sent";
        break;
    default:
        words = "see below";
    }
    const unsigned other = reply.success_code != 0 ? reply.success_code : reply_code(operation);
    return other == operation.first_code || other == 0 ? words
                                                       : words + "; code " + hex_digits(other, 4);
}

static const char *refusal_words(protocol::Refusal refusal)
{
    static const char *const words[] = {"result FF", "result 0", "empty", "empty list",
                                        "port 0",    "silence",  ""};
    return words[refusal];
}

static std::string codes_words(const Operation &operation)
{
    const std::string first = hex_digits(operation.first_code, 4);
    const std::string last = hex_digits(operation.last_code, 4);
    const unsigned count = operation.last_code - operation.first_code + 1U;
    return count == 1 ? first : first + (count == 2 ? ", " : " to ") + last;
}

/* ---- Operations of one kind, family by family */

static std::vector<std::string> operation_cells(const Operation &operation)
{
    std::vector<std::string> cells = {"`" + std::string(operation.name) + "`", operation.summary,
                                      arguments_words(operation), reply_words(operation)};
    if (operation.kind != protocol::KIND_DIRECT) {
        cells.insert(cells.begin(), codes_words(operation));
        cells.push_back(refusal_words(operation.without_slot));
    }
    return cells;
}

static std::string family_table(const FamilyRow &family, protocol::Kind kind)
{
    std::string rows;
    for (const Operation &operation : protocol::ALL_OPERATIONS) {
        if (operation.kind == kind && std::strcmp(operation.family, family.name) == 0) {
            rows += table_row(operation_cells(operation));
        }
    }
    if (rows.empty()) {
        return "";
    }
    const std::vector<std::string> head =
        kind == protocol::KIND_DIRECT
            ? std::vector<std::string>{"Name", "Operation", "Payload behind the code", "Reply"}
            : std::vector<std::string>{"Code",      "Name",
                                       "Operation", "Payload behind the code",
                                       "Reply",     "Not implemented"};
    return "\n**" + std::string(family.title) + "**\n\n" + table_head(head) + rows;
}

static std::string operations_of(protocol::Kind kind)
{
    std::string text;
    for (const FamilyRow &family : family_rows) {
        text += family_table(family, kind);
    }
    return text + "\n";
}

/* ---- The other rows */

static std::string frame_types()
{
    std::string text = table_head({"Type", "Direction", "Meaning", "Answered by"});
    for (const FrameTypeRow &row : frame_type_rows) {
        text += table_row({hex_digits(row.value, 2), row.direction, row.meaning, row.answer});
    }
    return text;
}

static std::string value_tags()
{
    std::string text = table_head({"Tag", "Name", "Value"});
    for (const ValueTagRow &row : value_tag_rows) {
        text +=
            table_row({hex_digits(row.value, 2), std::string("`TAG_") + row.name + "`", row.form});
    }
    return text;
}

static std::string reply_forms()
{
    std::string text = table_head({"Reply", "Frame type", "Payload"});
    for (const ReplyFormRow &row : reply_form_rows) {
        std::string name = row.name;
        for (char &letter : name) {
            letter = letter == '_' ? ' ' : static_cast<char>(std::tolower(letter));
        }
        text += table_row(
            {name, row.frame_type == 0 ? "" : hex_digits(row.frame_type, 2), row.payload});
    }
    return text;
}

static std::string lists()
{
    std::string text =
        table_head({"Code", "Tag", "Tag when empty", "Bytes of counts", "Bits of the widest code"});
    for (const Operation &operation : protocol::ALL_OPERATIONS) {
        const protocol::Reply &reply = operation.reply;
        if (reply.max_bits != 0) {
            text += table_row({codes_words(operation), hex_digits(reply.tag, 2),
                               hex_digits(reply.empty_tag, 2), std::to_string(reply.count_size),
                               std::to_string(reply.max_bits)});
        }
    }
    return text;
}

static std::string events()
{
    std::string text = table_head({"Reported by", "Third byte", "Values behind it"});
    for (const EventRow &row : event_rows) {
        text += table_row(
            {std::string("`") + row.name + "`", hex_digits(row.third_byte, 2), row.values});
    }
    return text;
}

static std::string attributes()
{
    std::string text = table_head({"Id", "Tag", "Value"});
    for (const AttributeRow &row : attribute_rows) {
        text += table_row({hex_digits(row.id, 4), hex_digits(row.tag, 2), row.value});
    }
    return text;
}

std::string markdown_form()
{
    return block("frame types", frame_types()) + block("value tags", value_tags()) +
           block("reply forms", reply_forms()) +
           block("set requests", operations_of(protocol::KIND_SET)) +
           block("get requests", operations_of(protocol::KIND_GET)) +
           block("direct requests", operations_of(protocol::KIND_DIRECT)) +
           block("device information", attributes()) + block("lists", lists()) +
           block("events", events());
}
