/* SPDX-License-Identifier: MIT */
/* String remote procedure calls. */
#include "command_line.h"
#include "exchange.h"
#include "output.h"

namespace ctl
{
namespace
{

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

} // namespace

void add_rpc_command(CLI::App &app, CommandLine &line)
{
    std::string &text = new_options<std::string>(line);
    add_command(app, line, "rpc", "Ask with a text, show the answer",
                [&](const Settings &settings) { ask_text(settings, text); })
        ->add_option("TEXT", text, "What the television's host is asked")
        ->required();
}

} // namespace ctl
