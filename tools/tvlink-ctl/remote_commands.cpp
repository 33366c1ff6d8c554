/* SPDX-License-Identifier: MIT */
/* The remote control: keys, steps, typed texts. */
#include "arguments.h"
#include "command_line.h"
#include "exchange.h"
#include "key_names.h"
#include "output.h"

namespace ctl
{
namespace
{

struct RemoteOptions {
    std::string first; /* the key, the step or the first text */
    std::string second;
    bool list = false;
};

void list_keys(const Settings &settings)
{
    for (const tools::KeyName &key : tools::key_names) {
        print_line(settings, std::string(key.name) + " " + std::to_string(key.code),
                   {{"name", std::string(key.name)}, {"number", int64_t{key.code}}});
    }
}

void press_key(const Settings &settings, const std::string &key, const std::string &second)
{
    Request request;
    require_built(cp_build_key(&request.buffer, parse_key(key), parse_number(second, UINT32_MAX)),
                  "");
    carry_out(settings, request, "key " + key);
}

void step_channel(const Settings &settings, const std::string &step)
{
    Request request;
    require_built(cp_build_channel_step(&request.buffer, parse_step(step)), "");
    carry_out(settings, request, "channel " + step);
}

void step_volume(const Settings &settings, const std::string &step)
{
    Request request;
    require_built(cp_build_volume_step(&request.buffer, parse_step(step)), "");
    carry_out(settings, request, "volume " + step);
}

void show_typed_text(const Settings &settings)
{
    Request request;
    require_built(cp_build_get(&request.buffer, CP_CODE_TEXT, nullptr, 0), "");
    show_text(settings, request, "text", "its text");
}

void set_texts(const Settings &settings, const std::string &first, const std::string &second)
{
    Request request;
    require_built(cp_build_text_pair(&request.buffer, bytes_of(first), bytes_of(second)),
                  text_hint);
    carry_out(settings, request, "the two texts");
}

void add_key(CLI::App &app, CommandLine &line, RemoteOptions &options)
{
    CLI::App *key = add_command(
        app, line, "key", "Press a key of the remote control", [&](const Settings &settings) {
            if (options.list) {
                list_keys(settings);
            } else {
                press_key(settings, options.first, options.second.empty() ? "0" : options.second);
            }
        });
    CLI::Option *list = key->add_flag("--list", options.list, "List the names of keys and stop");
    key->add_option("KEY", options.first,
                    "Name or number. A single digit is a digit key; 0x5 is number 5");
    key->add_option("SECOND", options.second, "Second number of the request (0)");
    key->parse_complete_callback([key, list] {
        if (list->count() == 0 && key->get_option("KEY")->count() == 0) {
            throw CLI::RequiredError("KEY");
        }
    });
}

void add_step(CLI::App &app, CommandLine &line, RemoteOptions &options, const char *name,
              const char *help, void (*step)(const Settings &, const std::string &))
{
    add_command(app, line, name, help,
                [&options, step](const Settings &settings) { step(settings, options.first); })
        ->add_option("STEP", options.first, "+1 to +255 up, -1 to -255 down")
        ->required();
}

} // namespace

void add_remote_commands(CLI::App &app, CommandLine &line)
{
    RemoteOptions &options = new_options<RemoteOptions>(line);
    add_key(app, line, options);
    add_step(app, line, options, "channel", "Step through the channels: +N or -N", step_channel);
    add_step(app, line, options, "volume", "Step the volume: +N or -N", step_volume);
    CLI::App *text = add_group(app, "text", "Read the television's text, or give it two texts");
    add_command(*text, line, "get", "Show the text", show_typed_text);
    CLI::App *set =
        add_command(*text, line, "set", "Send a pair of texts", [&](const Settings &settings) {
            set_texts(settings, options.first, options.second);
        });
    set->add_option("FIRST", options.first, "At most 255 bytes are taken")->required();
    set->add_option("SECOND", options.second, "At most 31 bytes are taken")->required();
}

} // namespace ctl
