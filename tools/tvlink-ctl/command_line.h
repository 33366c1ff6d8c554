/* How the command line becomes a call of a command. */
#ifndef TVLINK_CTL_COMMAND_LINE_H
#define TVLINK_CTL_COMMAND_LINE_H

#include "commands.h"

#include <CLI/CLI.hpp>
#include <functional>

namespace ctl
{

/* What is on the command line. A command's parser leaves in `action` what is to be done. */
struct CommandLine {
    Settings settings;
    std::function<void()> action;
    ExitStatus status = STATUS_DONE; /* of an action that ends well but finds something wrong */
    std::string first, second, third;
    bool flag = false, second_flag = false;
    FilmOptions film;
    GuideOptions guide;
    ChannelOptions channels;
    CaptureOptions capture;
    WatchOptions watch;
    RawRequest raw;
};

/* Adds a command that is done by `run`. */
CLI::App *add_command(CLI::App &app, CommandLine &line, const char *name, const char *help,
                      std::function<void()> run);

/* Adds a command that consists of others, of which one is to be chosen. */
CLI::App *add_group(CLI::App &app, const char *name, const char *help);

/* The families of commands. */
void add_finding_commands(CLI::App &app, CommandLine &line);
void add_show_commands(CLI::App &app, CommandLine &line);
void add_set_commands(CLI::App &app, CommandLine &line);
void add_text_commands(CLI::App &app, CommandLine &line);
void add_watch_commands(CLI::App &app, CommandLine &line);
void add_raw_commands(CLI::App &app, CommandLine &line);
void add_play_commands(CLI::App &app, CommandLine &line);
void add_film_commands(CLI::App &app, CommandLine &line);
void add_guide_commands(CLI::App &app, CommandLine &line);
void add_setting_commands(CLI::App &app, CommandLine &line);

} // namespace ctl

#endif
