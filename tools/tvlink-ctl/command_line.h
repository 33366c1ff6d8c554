/* SPDX-License-Identifier: MIT */
/* The command line, and how families of commands add theirs to it. */
#ifndef TVLINK_CTL_COMMAND_LINE_H
#define TVLINK_CTL_COMMAND_LINE_H

#include "failure.h"
#include "settings.h"

#include <CLI/CLI.hpp>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace ctl
{

/* Performs a command: prints its results, or throws a Failure. */
using Action = std::function<void(const Settings &)>;

struct CommandLine {
    Settings settings;
    Action action;                   /* of the command that was given */
    ExitStatus status = STATUS_DONE; /* of an action that succeeds but finds something wrong */
    std::vector<std::shared_ptr<void>> options; /* of all families */
};

/* The options of a family. They live as long as the command line. */
template <typename Options> Options &new_options(CommandLine &line)
{
    const auto options = std::make_shared<Options>();
    line.options.push_back(options);
    return *options;
}

/* Adds a command that performs the action. */
CLI::App *add_command(CLI::App &app, CommandLine &line, const char *name, const char *help,
                      Action action);

/* Adds a command with subcommands, of which at most one can be given. */
CLI::App *add_group(CLI::App &app, const char *name, const char *help);

/* The families of commands, a source file each. Two of them add theirs in two steps, since --help
 * lists the commands in the order in which they are added. */
void add_discover_command(CLI::App &app, CommandLine &line);
void add_doctor_command(CLI::App &app, CommandLine &line);
void add_identity_commands(CLI::App &app, CommandLine &line); /* state */
void add_order_command(CLI::App &app, CommandLine &line);     /* list */
void add_remote_commands(CLI::App &app, CommandLine &line);
void add_rpc_command(CLI::App &app, CommandLine &line);
void add_player_commands(CLI::App &app, CommandLine &line);
void add_video_commands(CLI::App &app, CommandLine &line);
void add_list_commands(CLI::App &app, CommandLine &line);
void add_state_commands(CLI::App &app, CommandLine &line);
void add_setting_commands(CLI::App &app, CommandLine &line);
void add_phone_commands(CLI::App &app, CommandLine &line);
void add_screen_commands(CLI::App &app, CommandLine &line);
void add_watch_commands(CLI::App &app, CommandLine &line);
void add_raw_commands(CLI::App &app, CommandLine &line);

} // namespace ctl

#endif
