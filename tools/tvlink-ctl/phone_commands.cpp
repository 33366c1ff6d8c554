/* SPDX-License-Identifier: MIT */
/* What a phone does for its user: voice. */
#include "command_line.h"
#include "controlpoint_calls.h"
#include "exchange.h"
#include "output.h"

namespace ctl
{
namespace
{

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

} // namespace

void add_phone_commands(CLI::App &app, CommandLine &line)
{
    std::string &text = new_options<std::string>(line);
    add_command(app, line, "voice", "Say something to the television",
                [&](const Settings &settings) { speak(settings, text); })
        ->add_option("TEXT", text, "What is said, such as \"channel 3\"")
        ->required();
}

} // namespace ctl
