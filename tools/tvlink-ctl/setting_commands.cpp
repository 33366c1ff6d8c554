/* SPDX-License-Identifier: MIT */
/* The settings. */
#include "command_line.h"
#include "controlpoint_calls.h"
#include "exchange.h"
#include "output.h"

namespace ctl
{
namespace
{

struct SettingOptions {
    std::string name; /* empty: all */
    std::string value;
    bool count = false;
};

void show_settings(const Settings &settings, const std::string &name)
{
    Request request;
    require_built(cp_build_text_get(&request.buffer, CP_CODE_SETTING_LIST, bytes_of(name)),
                  text_hint);
    show_json(settings, request, "settings",
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
    const CpFrame frame = ask_frame(session, CP_FRAME_SET, request, asked);
    CpGetReply reply = {};
    if (frame.type != CP_FRAME_GET_REPLY || cp_decode_get_reply(frame.payload, &reply) != CP_OK ||
        (!reply.empty && reply.value.tag != CP_TAG_STRING)) {
        broke_protocol(session, "answered with a value of the wrong kind");
    }
    if (reply.empty) {
        television_failed(asked);
    }
    print_json_text(settings, "setting", reply.value.bytes);
}

} // namespace

void add_setting_commands(CLI::App &app, CommandLine &line)
{
    SettingOptions &options = new_options<SettingOptions>(line);
    CLI::App *command = add_command(app, line, "settings", "Show the settings, or change one",
                                    [&](const Settings &settings) {
                                        if (options.count) {
                                            count_settings(settings, options.name);
                                        } else if (options.value.empty()) {
                                            show_settings(settings, options.name);
                                        } else {
                                            change_setting(settings, options.name, options.value);
                                        }
                                    });
    command->add_option("NAME", options.name, "The one to show (all)");
    CLI::Option *value = command->add_option("VALUE", options.value, "What it is to become");
    command->add_flag("--count", options.count, "Count those whose names begin with NAME")
        ->excludes(value);
}

} // namespace ctl
