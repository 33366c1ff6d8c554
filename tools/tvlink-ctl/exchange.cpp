/* SPDX-License-Identifier: MIT */
#include "exchange.h"

#include "output.h"

namespace ctl
{

void broke_protocol(const Session &session, const std::string &what)
{
    throw Failure(STATUS_PROTOCOL, session.peer + " " + what,
                  "is that a television, and the right port?");
}

CpFrame ask_frame(const Session &session, uint8_t type, const Request &request,
                  const std::string &asked)
{
    CpFrame frame = {};
    require_answer(
        session, cp_request(session.connection, type, &request.buffer, &frame, session.timeout_ms),
        asked);
    return frame;
}

CpValue ask(const Session &session, const Request &request, uint8_t tag, const std::string &asked)
{
    CpGetReply reply = {};
    require_answer(session, cp_get(session.connection, &request.buffer, &reply, session.timeout_ms),
                   asked);
    if (reply.empty) {
        television_failed(asked);
    }
    if (reply.value.tag != tag) {
        broke_protocol(session, "answered with a value of the wrong kind");
    }
    return reply.value;
}

CpValue ask_code(const Session &session, uint16_t code, uint8_t tag, const std::string &asked)
{
    Request request;
    require_built(cp_build_get(&request.buffer, code, nullptr, 0), "");
    return ask(session, request, tag, asked);
}

int8_t order(const Session &session, const Request &request, const std::string &asked)
{
    CpSetReply reply = {};
    require_answer(session, cp_set(session.connection, &request.buffer, &reply, session.timeout_ms),
                   asked);
    return static_cast<int8_t>(reply.result);
}

void report_result(const Settings &settings, int8_t result, const std::string &asked)
{
    print_facts(settings, {{"result", int64_t{result}}});
    if (result == -1) {
        television_failed(asked);
    }
}

void carry_out(const Settings &settings, const Request &request, const std::string &asked)
{
    const Session session(settings);
    report_result(settings, order(session, request, asked), asked);
}

void show_text(const Settings &settings, const Request &request, const std::string &name,
               const std::string &asked)
{
    const Session session(settings);
    Facts facts;
    add_text(facts, name, ask(session, request, CP_TAG_STRING, asked).bytes);
    print_facts(settings, facts);
}

void show_json(const Settings &settings, const Request &request, const std::string &name,
               const std::string &asked)
{
    const Session session(settings);
    print_json_text(settings, name, ask(session, request, CP_TAG_STRING, asked).bytes);
}

} // namespace ctl
