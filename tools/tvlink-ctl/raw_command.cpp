/* SPDX-License-Identifier: MIT */
/* Any request, and its reply byte for byte. */
#include "arguments.h"
#include "command_line.h"
#include "exchange.h"
#include "output.h"

#include <algorithm>

namespace ctl
{
namespace
{

struct RawOptions {
    std::string code;
    std::vector<std::string> arguments;
    bool single = false; /* of a set request; overrides the usual layout, as does `list` */
    bool list = false;
};

constexpr char footer[] =
    "CODE is decimal or hexadecimal (0x0112). Each ARG is one of\n"
    "  u8:5  u16:7  port:8801  u32:0x10  i32:-3    numbers, decimal or hexadecimal\n"
    "  f32:1.5                                     a float: its four bytes, tagged as a u32\n"
    "  str:text                                    a text with a 2-byte length\n"
    "  blob:0a0b                                   bytes with a 4-byte length\n"
    "  point:1,2,3                                 three 2-byte numbers\n"
    "  hex:aabb                                    bytes as they are: no tag, no length\n"
    "get sends the number of arguments before them, rpc does not. set does when there is not\n"
    "exactly one; --single and --list choose by hand.";

void add_value(Facts &facts, const CpValue &value)
{
    facts.emplace_back("tag", hex_byte(value.tag));
    facts.emplace_back("kind", std::string(cp_tag_name(value.tag)));
    switch (value.tag) {
    case CP_TAG_STRING:
        add_text(facts, "value", value.bytes);
        break;
    case CP_TAG_I32:
        add_number(facts, "value", static_cast<int32_t>(value.number));
        break;
    case CP_TAG_POINT:
        facts.emplace_back("value",
                           std::vector<int64_t>{value.point[0], value.point[1], value.point[2]});
        break;
    case CP_TAG_BLOB:
    case CP_TAG_RECORD:
        facts.emplace_back("value", hex(value.bytes, ""));
        break;
    case CP_TAG_LZW_LIST2:
        add_number(facts, "count", value.count);
        add_number(facts, "second_count", value.second_count);
        facts.emplace_back("value", hex(value.bytes, ""));
        break;
    case CP_TAG_LIST:
    case CP_TAG_GUIDE_LIST:
    case CP_TAG_LZW_LIST:
        add_number(facts, "count", value.count);
        facts.emplace_back("value", hex(value.bytes, ""));
        break;
    default:
        add_number(facts, "value", value.number);
        break;
    }
}

/* Adds what the reply says. Sets `failed` when it says that the television failed. */
CpStatus add_set_reply(Facts &facts, CpBytes payload, bool *failed)
{
    CpSetReply reply = {};
    const CpStatus status = cp_decode_set_reply(payload, &reply);
    if (status == CP_OK) {
        facts.emplace_back("code", hex_code(reply.code));
        add_number(facts, "result", static_cast<int8_t>(reply.result));
        *failed = reply.result == 0xFF;
    }
    return status;
}

CpStatus add_get_reply(Facts &facts, CpBytes payload, bool *failed)
{
    CpGetReply reply = {};
    const CpStatus status = cp_decode_get_reply(payload, &reply);
    if (status != CP_OK) {
        return status;
    }
    facts.emplace_back("code", hex_code(reply.code));
    if (reply.value.tag != 0) {
        add_value(facts, reply.value);
    }
    facts.emplace_back("empty", reply.empty);
    if (reply.extra.size > 0) {
        facts.emplace_back("extra", hex(reply.extra, ""));
    }
    *failed = reply.empty;
    return CP_OK;
}

CpStatus add_rpc_reply(Facts &facts, CpBytes payload)
{
    CpRpcReply reply = {};
    const CpStatus status = cp_decode_rpc_reply(payload, &reply);
    if (status == CP_OK) {
        facts.emplace_back("code", hex_code(reply.code));
        add_text(facts, "answer", reply.text);
        facts.emplace_back("extra", hex(reply.extra, ""));
    }
    return status;
}

CpStatus add_reply(Facts &facts, const CpFrame &frame, bool *failed)
{
    switch (frame.type) {
    case CP_FRAME_SET_REPLY:
        return add_set_reply(facts, frame.payload, failed);
    case CP_FRAME_GET_REPLY:
        return add_get_reply(facts, frame.payload, failed);
    default:
        return add_rpc_reply(facts, frame.payload);
    }
}

/* The payload is a dump behind the other facts for people, a row of digits for programs. */
void print_reply(const Settings &settings, const CpFrame &frame, const std::string &asked)
{
    Facts facts;
    facts.emplace_back("frame_type", hex_byte(frame.type));
    if (settings.json) {
        facts.emplace_back("payload", hex(frame.payload, ""));
    } else {
        add_number(facts, "payload_bytes", static_cast<int64_t>(frame.payload.size));
    }
    bool failed = false;
    const CpStatus status = add_reply(facts, frame, &failed);
    print_facts(settings, facts);
    if (!settings.json && frame.payload.size > 0) {
        print_line(settings, hex_dump(frame.payload), {});
    }
    if (status != CP_OK) {
        throw Failure(STATUS_PROTOCOL, "the reply to " + asked + " cannot be decoded",
                      "its bytes are above; is that a television?");
    }
    if (failed) {
        television_failed(asked);
    }
}

CpStatus build(CpBuffer *buffer, uint8_t type, uint16_t code, const RawOptions &options,
               const std::vector<CpValue> &values)
{
    const bool single = options.single || (!options.list && values.size() == 1);
    switch (type) {
    case CP_FRAME_GET:
        return cp_build_get(buffer, code, values.data(), values.size());
    case CP_FRAME_SET:
        return cp_build_set(buffer, code, single ? CP_LAYOUT_SINGLE : CP_LAYOUT_LIST, values.data(),
                            values.size());
    default:
        return cp_build_rpc(buffer, code, values.data(), values.size());
    }
}

void exchange(const Settings &settings, uint8_t type, const RawOptions &options)
{
    const uint16_t code = parse_code(options.code);
    std::vector<Argument> arguments;
    for (const std::string &text : options.arguments) {
        arguments.push_back(parse_argument(text));
    }
    std::vector<CpValue> values(arguments.size());
    std::transform(arguments.begin(), arguments.end(), values.begin(), value_of);
    Request request;
    require_built(build(&request.buffer, type, code, options, values),
                  "at most 255 arguments, and at most 65535 bytes in a text");
    const Session session(settings);
    const std::string asked = hex_code(code);
    print_reply(settings, ask_frame(session, type, request, asked), asked);
}

CLI::App *add_raw(CLI::App &raw, CommandLine &line, RawOptions &options, uint8_t type,
                  const char *name, const char *help)
{
    CLI::App *command =
        add_command(raw, line, name, help, [&options, type](const Settings &settings) {
            exchange(settings, type, options);
        });
    command->add_option("CODE", options.code, "Method code")->required();
    command->add_option("ARG", options.arguments, "Typed arguments");
    command->footer(footer);
    return command;
}

} // namespace

void add_raw_commands(CLI::App &app, CommandLine &line)
{
    RawOptions &options = new_options<RawOptions>(line);
    CLI::App *raw = add_group(app, "raw", "Send any request, show the reply byte for byte");
    raw->footer(footer);
    add_raw(*raw, line, options, CP_FRAME_GET, "get", "Ask for a value");
    add_raw(*raw, line, options, CP_FRAME_RPC, "rpc", "Call a remote procedure");
    CLI::App *set = add_raw(*raw, line, options, CP_FRAME_SET, "set", "Have something done");
    CLI::Option *single = set->add_flag("--single", options.single, "Send no count of arguments");
    set->add_flag("--list", options.list, "Send the count, even of one argument")->excludes(single);
}

} // namespace ctl
