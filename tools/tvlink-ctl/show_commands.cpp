/* The commands that read one thing from the television. */
#include "commands.h"
#include "exchange.h"
#include "output.h"

#include <chrono>

namespace ctl
{
namespace
{

void show_string(const Settings &settings, uint16_t code, const std::string &name,
                 const std::string &asked)
{
    const Session session(settings);
    Facts facts;
    add_text(facts, name, ask_code(session, code, CP_TAG_STRING, asked).bytes);
    print_facts(settings, facts);
}

/* What an entry means is up to the television's host. Those of 2 or 4 bytes are told as numbers. */
std::vector<int64_t> order_entries(const CpValue &order)
{
    std::vector<int64_t> entries;
    const size_t width = order.count == 0 ? 0 : order.bytes.size / order.count;
    if ((width != 2 && width != 4) || width * order.count != order.bytes.size) {
        return entries;
    }
    for (size_t at = 0; at < order.bytes.size; at += width) {
        int64_t entry = 0;
        for (size_t i = width; i > 0; i--) {
            entry = entry << 8 | order.bytes.data[at + i - 1];
        }
        entries.push_back(entry);
    }
    return entries;
}

} // namespace

void show_info(const Settings &settings)
{
    const Session session(settings);
    CpDeviceInfo info = {};
    require_answer(session, cp_device_info(session.connection, &info, session.timeout_ms),
                   "the device information");
    Facts facts;
    const auto text = [&](uint32_t which, const char *name, CpBytes value) {
        if ((info.present & which) != 0) {
            add_text(facts, name, value);
        }
    };
    const auto number = [&](uint32_t which, const char *name, uint32_t value) {
        if ((info.present & which) != 0) {
            add_number(facts, name, value);
        }
    };
    text(CP_INFO_NAME, "name", info.name);
    text(CP_INFO_SERIAL, "serial", info.serial);
    number(CP_INFO_REGISTERED, "registered", info.registered);
    number(CP_INFO_STATE, "state", info.state);
    text(CP_INFO_HOST_TEXT, "host_text", info.host_text);
    number(CP_INFO_VALUE_2015, "value_0x2015", info.value_2015);
    number(CP_INFO_VALUE_2016, "value_0x2016", info.value_2016);
    print_facts(settings, facts);
}

void show_name(const Settings &settings)
{
    show_string(settings, CP_CODE_NAME, "name", "its name");
}

void show_text(const Settings &settings)
{
    show_string(settings, CP_CODE_TEXT, "text", "its text");
}

void show_order(const Settings &settings)
{
    const Session session(settings);
    const CpValue order =
        ask_code(session, CP_CODE_ORDER, CP_TAG_LIST, "the order of its channels");
    Facts facts;
    add_number(facts, "count", order.count);
    facts.emplace_back("order", order_entries(order));
    facts.emplace_back("data", hex(order.bytes, ""));
    print_facts(settings, facts);
}

void ask_text(const Settings &settings, const std::string &text)
{
    const Session session(settings);
    CpRpcReply reply = {};
    const CpStatus status =
        cp_string_rpc(session.connection, bytes_of(text), &reply, session.timeout_ms);
    require_built(status == CP_BAD_ARGUMENT ? status : CP_OK, text_hint);
    require_answer(session, status, "an answer to the text");
    Facts facts;
    add_text(facts, "answer", reply.text);
    print_facts(settings, facts);
}

void send_heartbeat(const Settings &settings)
{
    const Session session(settings);
    const auto begin = std::chrono::steady_clock::now();
    require_answer(session, cp_heartbeat(session.connection, session.timeout_ms), "a heartbeat");
    const std::chrono::duration<double, std::milli> passed =
        std::chrono::steady_clock::now() - begin;
    print_facts(settings, {{"heartbeat", std::string("answered")}, {"ms", passed.count()}});
}

} // namespace ctl
