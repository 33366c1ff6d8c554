/* SPDX-License-Identifier: MIT */
/* What the television is: name, device information, states, versions, applications, metadata. */
#include "command_line.h"
#include "controlpoint_calls.h"
#include "exchange.h"
#include "output.h"

namespace ctl
{
namespace
{

struct StateOptions {
    bool all = false;
    bool film = false;
    std::string title;
};

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
    Request request;
    require_built(cp_build_get(&request.buffer, CP_CODE_NAME, nullptr, 0), "");
    show_text(settings, request, "name", "its name");
}

uint32_t ask_level(const Session &session, uint8_t selector, const std::string &asked)
{
    Request request;
    require_built(cp_build_level(&request.buffer, selector), "");
    return ask(session, request, CP_TAG_U8, asked).number;
}

void show_state(const Settings &settings)
{
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

/* For the JSON texts that say all of a subject. */
void show_all(const Settings &settings, uint16_t code, const std::string &name)
{
    Request request;
    require_built(cp_build_text_get(&request.buffer, code, {nullptr, 0}), "");
    show_json(settings, request, name, "its " + name);
}

void show_spare(const Settings &settings, uint16_t code, const std::string &name)
{
    Request request;
    require_built(cp_build_spare_get(&request.buffer, code), "");
    show_text(settings, request, name, "its " + name);
}

void show_place(const Settings &settings)
{
    show_spare(settings, CP_CODE_PLACE, "place");
}

void show_applications(const Settings &settings)
{
    Request request;
    require_built(cp_build_applications(&request.buffer, 0), "");
    show_json(settings, request, "applications", "its applications");
}

void show_metadata(const Settings &settings, const StateOptions &options)
{
    Request request;
    const uint8_t selector = options.film ? CP_METADATA_FILM : CP_METADATA_PROGRAMME;
    require_built(
        cp_build_metadata(&request.buffer, selector, bytes_of(options.title), {nullptr, 0}),
        text_hint);
    show_json(settings, request, "metadata", "the metadata");
}

} // namespace

void add_identity_commands(CLI::App &app, CommandLine &line)
{
    add_command(app, line, "info", "Show the device information", show_info);
    add_command(app, line, "name", "Show the television's name", show_name);
}

void add_state_commands(CLI::App &app, CommandLine &line)
{
    StateOptions &options = new_options<StateOptions>(line);
    add_command(app, line, "state", "Show power, sound, picture and channel",
                [&](const Settings &settings) {
                    if (options.all) {
                        show_all(settings, CP_CODE_STATE_TEXT, "state");
                    } else {
                        show_state(settings);
                    }
                })
        ->add_flag("--all", options.all, "All that the television tells of its state");
    add_command(app, line, "version", "Show the version of its software",
                [&](const Settings &settings) {
                    if (options.all) {
                        show_all(settings, CP_CODE_VERSIONS, "versions");
                    } else {
                        show_spare(settings, CP_CODE_VERSION, "version");
                    }
                })
        ->add_flag("--all", options.all, "The versions of its parts");
    add_command(app, line, "place", "Show where the television stands", show_place);
    add_command(app, line, "apps", "List the applications", show_applications);
    CLI::App *metadata =
        add_command(app, line, "metadata", "Show what is known about a programme or a film",
                    [&](const Settings &settings) { show_metadata(settings, options); });
    metadata->add_option("TITLE", options.title, "Its title (what is on now)");
    metadata->add_flag("--film", options.film, "It is a film");
}

} // namespace ctl
