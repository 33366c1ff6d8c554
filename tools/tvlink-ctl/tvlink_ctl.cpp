/* SPDX-License-Identifier: MIT */
/* tvlink-ctl: a control point for the terminal. */
#include "command_line.h"
#include "failure.h"

#include <cstdio>

namespace
{

using ctl::CommandLine;
using ctl::Settings;

constexpr char footer[] =
    "Without --host, a command talks to the first television that answers a search.\n"
    "\n"
    "Exit status:\n"
    "  0  done\n"
    "  1  anything that is not listed here, such as a connection closed by the television\n"
    "  2  the command line is wrong\n"
    "  3  no television found, or the host is unknown or out of reach\n"
    "  4  the connection was refused\n"
    "  5  no connection or no answer in time (what a television has no route for, it meets with\n"
    "     silence)\n"
    "  6  what was received is not the protocol\n"
    "  7  the television answered that it failed (result -1, or a reply without a value)\n"
    "\n"
    "Examples:\n"
    "  tvlink-ctl discover --timeout 1\n"
    "  tvlink-ctl doctor\n"
    "  tvlink-ctl key ok\n"
    "  tvlink-ctl channel -3 --host 192.168.1.5\n"
    "  tvlink-ctl play http://192.168.1.9/film.mp4\n"
    "  tvlink-ctl guide --channel 3 --from 20:00\n"
    "  tvlink-ctl screenshot -o screen.png\n"
    "  tvlink-ctl watch --json\n"
    "  tvlink-ctl raw set 0x0101 u8:3\n";

constexpr char command_footer[] =
    "The options --host, --port, --timeout and --json may follow too; \"tvlink-ctl --help\" tells\n"
    "about them and about the exit status.\n";

constexpr char see_help[] =
    "\"tvlink-ctl --help\" lists the commands, \"tvlink-ctl COMMAND --help\" "
    "says what one of them takes";

/* In the order of --help. */
constexpr void (*families[])(CLI::App &, CommandLine &) = {
    ctl::add_discover_command, ctl::add_doctor_command,   ctl::add_identity_commands,
    ctl::add_order_command,    ctl::add_remote_commands,  ctl::add_rpc_command,
    ctl::add_player_commands,  ctl::add_video_commands,   ctl::add_list_commands,
    ctl::add_state_commands,   ctl::add_setting_commands, ctl::add_phone_commands,
    ctl::add_screen_commands,  ctl::add_watch_commands,   ctl::add_raw_commands,
};

void add_options(CLI::App &app, CommandLine &line)
{
    Settings &settings = line.settings;
    app.add_option("--host", settings.host, "The television's address or name")
        ->option_text("HOST");
    app.add_option("--port", settings.port, "Its TCP port (8801, or what its answer tells)")
        ->option_text("PORT")
        ->check(CLI::Range(1, 65535));
    app.add_option("--timeout", settings.timeout,
                   "Seconds to wait for a connection, an answer, the end of a search (3)")
        ->option_text("SECONDS")
        ->check(CLI::Range(0.001, 86400.0));
    app.add_flag("--json", settings.json, "One JSON object per line instead of text");
}

void complain(const std::string &message, const std::string &hint)
{
    fprintf(stderr, "tvlink-ctl: %s\n", message.c_str());
    if (!hint.empty()) {
        fprintf(stderr, "tvlink-ctl: hint: %s\n", hint.c_str());
    }
}

int run(int argc, char **argv)
{
    CLI::App app("Finds televisions on the network and drives them, as a phone does.",
                 "tvlink-ctl");
    CommandLine line;
    app.require_subcommand(0, 1);
    app.footer(command_footer); /* the commands inherit it */
    add_options(app, line);
    for (const auto add_commands : families) {
        add_commands(app, line);
    }
    app.footer(footer);
    try {
        app.parse(argc, argv);
        line.settings.timeout_given = app.get_option("--timeout")->count() > 0;
    } catch (const CLI::ParseError &error) {
        if (error.get_exit_code() == 0) {
            return app.exit(error); /* --help */
        }
        complain(error.what(), see_help);
        return ctl::STATUS_USAGE;
    }
    if (!line.action) {
        complain("a command is missing", see_help);
        return ctl::STATUS_USAGE;
    }
    line.action(line.settings);
    return line.status;
}

} // namespace

int main(int argc, char **argv)
{
    try {
        return run(argc, argv);
    } catch (const ctl::Failure &failure) {
        complain(failure.what(), failure.hint);
        return failure.status;
    } catch (const std::exception &error) {
        complain(error.what(), "");
        return ctl::STATUS_OTHER;
    }
}
