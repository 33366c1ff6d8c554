/* SPDX-License-Identifier: MIT */
#include "command_line.h"

namespace ctl
{

CLI::App *add_command(CLI::App &app, CommandLine &line, const char *name, const char *help,
                      Action action)
{
    CLI::App *command = app.add_subcommand(name, help);
    command->fallthrough();
    command->callback([&line, action = std::move(action)] { line.action = action; });
    return command;
}

CLI::App *add_group(CLI::App &app, const char *name, const char *help)
{
    CLI::App *group = app.add_subcommand(name, help);
    group->fallthrough();
    /* One at most: an argument of a subcommand may have the name of another subcommand. */
    group->require_subcommand(0, 1);
    return group;
}

} // namespace ctl
