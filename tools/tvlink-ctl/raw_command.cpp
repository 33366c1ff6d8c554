/* Any request, and its reply byte for byte. */
#include "arguments.h"
#include "commands.h"
#include "output.h"
#include "session.h"

#include <deque>

namespace ctl
{
namespace
{

constexpr char encoding_hint[] = "at most 255 arguments, and at most 65535 bytes in a text";

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

/* What the reply says. `failed` is set when it says that the television failed. */
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

/* People get the payload as a dump behind the other facts, programs as one row of digits. */
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

/* The values of the arguments, together with what they borrow. */
struct Values {
    explicit Values(const std::vector<std::string> &texts)
    {
        for (const std::string &text : texts) {
            arguments.push_back(parse_argument(text));
            list.push_back(value_of(arguments.back()));
        }
    }

    std::deque<Argument> arguments; /* a deque: its elements stay where they are */
    std::vector<CpValue> list;
};

void exchange(const Settings &settings, uint8_t type, const Request &request, uint16_t code)
{
    const Session session(settings);
    const std::string asked = hex_code(code);
    CpFrame reply = {};
    require_answer(
        session, cp_request(session.connection, type, &request.buffer, &reply, session.timeout_ms),
        asked);
    print_reply(settings, reply, asked);
}

} // namespace

void raw_get(const Settings &settings, const RawRequest &raw)
{
    const uint16_t code = parse_code(raw.code);
    const Values values(raw.arguments);
    Request request;
    require_built(cp_build_get(&request.buffer, code, values.list.data(), values.list.size()),
                  encoding_hint);
    exchange(settings, CP_FRAME_GET, request, code);
}

void raw_set(const Settings &settings, const RawRequest &raw)
{
    const uint16_t code = parse_code(raw.code);
    const Values values(raw.arguments);
    const bool single = raw.single || (!raw.list && values.list.size() == 1);
    Request request;
    require_built(cp_build_set(&request.buffer, code, single ? CP_LAYOUT_SINGLE : CP_LAYOUT_LIST,
                               values.list.data(), values.list.size()),
                  encoding_hint);
    exchange(settings, CP_FRAME_SET, request, code);
}

void raw_rpc(const Settings &settings, const RawRequest &raw)
{
    const uint16_t code = parse_code(raw.code);
    const Values values(raw.arguments);
    Request request;
    require_built(cp_build_rpc(&request.buffer, code, values.list.data(), values.list.size()),
                  encoding_hint);
    exchange(settings, CP_FRAME_RPC, request, code);
}

} // namespace ctl
