/* Settings, applications, states: what the television tells of itself, and what it keeps. */
#include "arguments.h"
#include "commands.h"
#include "controlpoint_calls.h"
#include "exchange.h"
#include "output.h"

namespace ctl
{
namespace
{

/* Asks with a text, is answered with one. */
void show_json_of(const Settings &settings, uint16_t code, const std::string &text,
                  const std::string &name, const std::string &asked)
{
    Request request;
    require_built(cp_build_text_get(&request.buffer, code, bytes_of(text)), text_hint);
    const Session session(settings);
    print_json_text(settings, name, ask(session, request, CP_TAG_STRING, asked).bytes);
}

void show_spare(const Settings &settings, uint16_t code, const std::string &name)
{
    Request request;
    require_built(cp_build_spare_get(&request.buffer, code), "");
    const Session session(settings);
    Facts facts;
    add_text(facts, name, ask(session, request, CP_TAG_STRING, "its " + name).bytes);
    print_facts(settings, facts);
}

uint32_t ask_level(const Session &session, uint8_t selector, const std::string &asked)
{
    Request request;
    require_built(cp_build_level(&request.buffer, selector), "");
    return ask(session, request, CP_TAG_U8, asked).number;
}

} // namespace

void show_applications(const Settings &settings)
{
    Request request;
    require_built(cp_build_applications(&request.buffer, 0), "");
    const Session session(settings);
    print_json_text(settings, "applications",
                    ask(session, request, CP_TAG_STRING, "its applications").bytes);
}

void show_place(const Settings &settings)
{
    show_spare(settings, CP_CODE_PLACE, "place");
}

void show_version(const Settings &settings, bool all)
{
    if (all) {
        show_json_of(settings, CP_CODE_VERSIONS, "", "versions", "its versions");
    } else {
        show_spare(settings, CP_CODE_VERSION, "version");
    }
}

void show_state(const Settings &settings, bool all)
{
    if (all) {
        show_json_of(settings, CP_CODE_STATE_TEXT, "", "state", "its state");
        return;
    }
    const Session session(settings);
    Facts facts;
    facts.emplace_back("on",
                       ask_code(session, CP_CODE_IS_ON, CP_TAG_U8, "whether it is on").number != 0);
    facts.emplace_back(
        "muted", ask_code(session, CP_CODE_IS_MUTED, CP_TAG_U8, "whether it is muted").number != 0);
    add_number(facts, "volume", ask_level(session, CP_LEVEL_VOLUME, "its volume"));
    add_number(facts, "picture_mode", ask_level(session, CP_LEVEL_PICTURE, "its picture mode"));
    add_number(facts, "channel",
               ask_code(session, CP_CODE_CHANNEL, CP_TAG_U32, "its channel").number);
    print_facts(settings, facts);
}

void show_metadata(const Settings &settings, bool film, const std::string &title)
{
    Request request;
    const uint8_t selector = film ? CP_METADATA_FILM : CP_METADATA_PROGRAMME;
    require_built(cp_build_metadata(&request.buffer, selector, bytes_of(title), {nullptr, 0}),
                  text_hint);
    const Session session(settings);
    print_json_text(settings, "metadata",
                    ask(session, request, CP_TAG_STRING, "the metadata").bytes);
}

void show_settings(const Settings &settings, const std::string &name)
{
    show_json_of(settings, CP_CODE_SETTING_LIST, name, "settings",
                 name.empty() ? "its settings" : "its setting " + printable(name));
}

void count_settings(const Settings &settings, const std::string &beginning)
{
    Request request;
    require_built(cp_build_text_get(&request.buffer, CP_CODE_SETTING_COUNT, bytes_of(beginning)),
                  text_hint);
    const Session session(settings);
    Facts facts;
    add_number(facts, "count",
               ask(session, request, CP_TAG_U32, "the number of its settings").number);
    print_facts(settings, facts);
}

void change_setting(const Settings &settings, const std::string &name, const std::string &value)
{
    Request request;
    require_built(cp_build_setting(&request.buffer, bytes_of(name), bytes_of(value), 0), text_hint);
    const Session session(settings);
    const std::string asked = "its setting " + printable(name);
    CpFrame frame = {};
    require_answer(
        session,
        cp_request(session.connection, CP_FRAME_SET, &request.buffer, &frame, session.timeout_ms),
        asked);
    CpGetReply reply = {};
    if (frame.type != CP_FRAME_GET_REPLY || cp_decode_get_reply(frame.payload, &reply) != CP_OK ||
        (!reply.empty && reply.value.tag != CP_TAG_STRING)) {
        answered_wrongly(session, "a value of the wrong kind");
    }
    if (reply.empty) {
        television_failed(asked);
    }
    print_json_text(settings, "setting", reply.value.bytes);
}

void speak(const Settings &settings, const std::string &text)
{
    const Session session(settings);
    bool refused = false;
    const CpStatus status =
        cp_voice(session.connection, bytes_of(text), &refused, session.timeout_ms);
    require_built(status == CP_BAD_ARGUMENT ? status : CP_OK, text_hint);
    require_answer(session, status, "what was said");
    if (refused) {
        television_failed("\"" + printable(text) + "\"");
    }
    print_facts(settings, {{"voice", std::string("understood")}});
}

} // namespace ctl
