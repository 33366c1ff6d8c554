/* SPDX-License-Identifier: MIT */
#include "forms.h"

#include "rows.h"

using nlohmann::ordered_json;
using protocol::Argument;
using protocol::Operation;
using protocol::Reply;

static const char *kind_name(protocol::Kind kind)
{
    static const char *const names[] = {"get", "set", "string", "info", "direct"};
    return names[kind];
}

static const char *type_name(protocol::ArgumentType type)
{
    static const char *const names[] = {"count", "tag",  "spare",  "tag",    "kind",  "u8",
                                        "u16",   "i16",  "u32",    "i32",    "i64",   "f32",
                                        "text",  "data", "data32", "length", "bytes", "typed"};
    return names[type];
}

static const char *refusal_name(protocol::Refusal refusal)
{
    static const char *const names[] = {"ff",     "zero",   "empty", "empty_list",
                                        "port_0", "silent", "served"};
    return names[refusal];
}

static const char *memory_name(protocol::SlotMemory memory)
{
    static const char *const names[] = {"none", "buffer", "heap_data", "sized_block",
                                        "kept_by_host"};
    return names[memory];
}

static ordered_json argument_form(const Argument &argument)
{
    ordered_json form = {{"type", type_name(argument.type)}, {"name", argument.name}};
    if (argument.type == protocol::ARGUMENT_TEXT) {
        form["max_bytes"] = argument.limit;
    }
    const bool checked = argument.type == protocol::ARGUMENT_CHECKED_TAG ||
                         argument.type == protocol::ARGUMENT_CHECKED_KIND;
    if (checked) {
        form["checked"] = argument.tag;
    }
    return form;
}

static ordered_json reply_form(const Operation &operation)
{
    const Reply &reply = operation.reply;
    ordered_json form = {{"form", reply_form_rows[reply.form].name},
                         {"frame_type", reply_form_rows[reply.form].frame_type}};
    if (operation.kind != protocol::KIND_INFO) {
        const unsigned own = reply_code(operation);
        form["code"] = own == 0 ? ordered_json("echoed") : ordered_json(own);
    }
    if (reply.success_code != 0) {
        form["success_code"] = reply.success_code;
    }
    if (reply.tag != 0) {
        form["tag"] = reply.tag;
    }
    if (reply.max_bits != 0) {
        form["empty_tag"] = reply.empty_tag;
        form["count_bytes"] = reply.count_size;
        form["max_code_bits"] = reply.max_bits;
    }
    return form;
}

static ordered_json operation_form(const Operation &operation)
{
    ordered_json form = {{"name", operation.name},
                         {"handler", std::string("handle_") + operation.name},
                         {"family", operation.family},
                         {"kind", kind_name(operation.kind)},
                         {"summary", operation.summary}};
    if (operation.first_code != 0) {
        form["first_code"] = operation.first_code;
        form["last_code"] = operation.last_code;
    }
    if (protocol::has_slot(operation)) {
        form["slot"] = operation.slot;
        form["slot_memory"] = memory_name(operation.lends.memory);
        form["slot_buffer_bytes"] = operation.lends.size;
    }
    form["arguments"] = ordered_json::array();
    for (size_t i = 0; i < operation.arguments.count; i++) {
        form["arguments"].push_back(argument_form(operation.arguments.items[i]));
    }
    form["reply"] = reply_form(operation);
    form["refusal"] = refusal_name(operation.refusal);
    form["without_slot"] = refusal_name(operation.without_slot);
    return form;
}

/* An array with one element for each row. */
template <typename Rows, typename Form> static ordered_json each(const Rows &rows, Form form)
{
    ordered_json array = ordered_json::array();
    for (const auto &row : rows) {
        array.push_back(form(row));
    }
    return array;
}

ordered_json json_form()
{
    return {
        {"frame_types", each(frame_type_rows,
                             [](const FrameTypeRow &row) -> ordered_json {
                                 return {{"value", row.value},
                                         {"name", row.name},
                                         {"direction", row.direction},
                                         {"meaning", row.meaning},
                                         {"answer", row.answer}};
                             })},
        {"value_tags",
         each(value_tag_rows,
              [](const ValueTagRow &row) -> ordered_json {
                  return {{"value", row.value}, {"name", row.name}, {"form", row.form}};
              })},
        {"reply_forms", each(reply_form_rows,
                             [](const ReplyFormRow &row) -> ordered_json {
                                 return {{"name", row.name},
                                         {"frame_type", row.frame_type},
                                         {"payload", row.payload}};
                             })},
        {"events", each(event_rows,
                        [](const EventRow &row) -> ordered_json {
                            return {{"name", row.name},
                                    {"third_byte", row.third_byte},
                                    {"values", row.values}};
                        })},
        {"device_information",
         each(attribute_rows,
              [](const AttributeRow &row) -> ordered_json {
                  return {{"id", row.id}, {"tag", row.tag}, {"value", row.value}};
              })},
        {"families", each(family_rows,
                          [](const FamilyRow &row) -> ordered_json {
                              return {{"name", row.name}, {"title", row.title}};
                          })},
        {"operations", each(protocol::ALL_OPERATIONS, operation_form)},
        {"reserved_slots", reserved_slots},
    };
}
