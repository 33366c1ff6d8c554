/* tvlink-ctl: a control point for the terminal. */
#include "arguments.h"
#include "commands.h"
#include "failure.h"

#include <CLI/CLI.hpp>
#include <cstdio>
#include <functional>

namespace
{

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
    "  tvlink-ctl key ok\n"
    "  tvlink-ctl channel -3 --host 192.168.1.5\n"
    "  tvlink-ctl watch --json\n"
    "  tvlink-ctl raw set 0x0101 u8:3\n";

constexpr char command_footer[] =
    "The options --host, --port, --timeout and --json may follow too; \"tvlink-ctl --help\" tells\n"
    "about them and about the exit status.\n";

constexpr char raw_footer[] =
    "CODE is decimal or hexadecimal (0x0112). Each ARG is one of\n"
    "  u8:5  u16:7  port:8801  u32:0x10  i32:-3    numbers, decimal or hexadecimal\n"
    "  f32:1.5                                     a float: its four bytes, tagged as a u32\n"
    "  str:text                                    a text with a 2-byte length\n"
    "  blob:0a0b                                   bytes with a 4-byte length\n"
    "  point:1,2,3                                 three 2-byte numbers\n"
    "  hex:aabb                                    bytes as they are: no tag, no length\n"
    "get sends the number of arguments before them, rpc does not. set does when there is not\n"
    "exactly one; --single and --list choose by hand.";

constexpr char see_help[] =
    "\"tvlink-ctl --help\" lists the commands, \"tvlink-ctl COMMAND --help\" "
    "says what one of them takes";

/* What is on the command line. A command's parser leaves in `action` what is to be done. */
struct CommandLine {
    Settings settings;
    std::function<void()> action;
    std::string first, second;
    bool flag = false;
    ctl::WatchOptions watch;
    ctl::RawRequest raw;
};

/* Adds a command that is done by `run`. */
CLI::App *add_command(CLI::App &app, CommandLine &line, const char *name, const char *help,
                      std::function<void()> run)
{
    CLI::App *command = app.add_subcommand(name, help);
    command->fallthrough();
    command->callback([&line, run = std::move(run)] { line.action = run; });
    return command;
}

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

void add_show_commands(CLI::App &app, CommandLine &line)
{
    const Settings &settings = line.settings;
    CLI::App *discover =
        add_command(app, line, "discover", "List the televisions that answer a search",
                    [&] { ctl::discover(settings, line.flag); });
    discover->add_flag("--announcements", line.flag,
                       "Also list those that announce themselves meanwhile");
    add_command(app, line, "info", "Show the device information",
                [&] { ctl::show_info(settings); });
    add_command(app, line, "name", "Show the television's name", [&] { ctl::show_name(settings); });
    add_command(app, line, "order", "Show the order of the channels",
                [&] { ctl::show_order(settings); });
}

void add_set_commands(CLI::App &app, CommandLine &line)
{
    const Settings &settings = line.settings;
    CLI::App *key = add_command(app, line, "key", "Press a key of the remote control", [&] {
        if (line.flag) {
            ctl::list_keys(settings);
        } else {
            ctl::press_key(settings, line.first, line.second.empty() ? "0" : line.second);
        }
    });
    CLI::Option *list = key->add_flag("--list", line.flag, "List the names of keys and stop");
    key->add_option("KEY", line.first,
                    "Name or number. A single digit is a digit key; 0x5 is number 5");
    key->add_option("SECOND", line.second, "Second number of the request (0)");
    key->parse_complete_callback([key, list] {
        if (list->count() == 0 && key->get_option("KEY")->count() == 0) {
            throw CLI::RequiredError("KEY");
        }
    });
    CLI::App *channel = add_command(app, line, "channel", "Step through the channels: +N or -N",
                                    [&] { ctl::step_channel(settings, line.first); });
    channel->add_option("STEP", line.first, "+1 to +255 up, -1 to -255 down")->required();
    CLI::App *volume = add_command(app, line, "volume", "Step the volume: +N or -N",
                                   [&] { ctl::step_volume(settings, line.first); });
    volume->add_option("STEP", line.first, "+1 to +255 up, -1 to -255 down")->required();
}

void add_text_commands(CLI::App &app, CommandLine &line)
{
    const Settings &settings = line.settings;
    CLI::App *text = app.add_subcommand("text", "Read the television's text, or give it two texts");
    text->fallthrough();
    text->require_subcommand(0, 1); /* at most; a text may be named like a command */
    add_command(*text, line, "get", "Show the text", [&] { ctl::show_text(settings); });
    CLI::App *set = add_command(*text, line, "set", "Send a pair of texts",
                                [&] { ctl::set_texts(settings, line.first, line.second); });
    set->add_option("FIRST", line.first, "At most 255 bytes are taken")->required();
    set->add_option("SECOND", line.second, "At most 31 bytes are taken")->required();
    CLI::App *rpc = add_command(app, line, "rpc", "Ask with a text, show the answer",
                                [&] { ctl::ask_text(settings, line.first); });
    rpc->add_option("TEXT", line.first, "What the television's host is asked")->required();
}

void add_watch_commands(CLI::App &app, CommandLine &line)
{
    const Settings &settings = line.settings;
    CLI::App *watch = add_command(app, line, "watch",
                                  "Show events until interrupted, keeping the connection alive",
                                  [&] { ctl::watch(settings, line.watch); });
    watch->add_option("--interval", line.watch.interval, "Seconds between heartbeats (10)")
        ->option_text("SECONDS")
        ->check(CLI::Range(0.01, 86400.0));
    watch->add_option("--count", line.watch.events, "End after that many events")->option_text("N");
    watch
        ->add_option("--heartbeats", line.watch.heartbeats,
                     "End after that many answers to heartbeats")
        ->option_text("N");
    add_command(app, line, "heartbeat", "Send one heartbeat, wait for its answer",
                [&] { ctl::send_heartbeat(settings); });
}

CLI::App *add_raw(CLI::App &raw, CommandLine &line, const char *name, const char *help,
                  void (*run)(const Settings &, const ctl::RawRequest &))
{
    CLI::App *command =
        add_command(raw, line, name, help, [&line, run] { run(line.settings, line.raw); });
    command->add_option("CODE", line.raw.code, "Method code")->required();
    command->add_option("ARG", line.raw.arguments, "Typed arguments");
    command->footer(raw_footer);
    return command;
}

void add_raw_commands(CLI::App &app, CommandLine &line)
{
    CLI::App *raw = app.add_subcommand("raw", "Send any request, show the reply byte for byte");
    raw->fallthrough();
    raw->require_subcommand(0, 1);
    raw->footer(raw_footer);
    add_raw(*raw, line, "get", "Ask for a value", ctl::raw_get);
    add_raw(*raw, line, "rpc", "Call a remote procedure", ctl::raw_rpc);
    CLI::App *set = add_raw(*raw, line, "set", "Have something done", ctl::raw_set);
    CLI::Option *single = set->add_flag("--single", line.raw.single, "Send no count of arguments");
    set->add_flag("--list", line.raw.list, "Send the count, even of one argument")
        ->excludes(single);
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
    app.footer(command_footer); /* the commands take it over */
    add_options(app, line);
    add_show_commands(app, line);
    add_set_commands(app, line);
    add_text_commands(app, line);
    add_watch_commands(app, line);
    add_raw_commands(app, line);
    app.footer(footer);
    try {
        app.parse(argc, argv);
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
    line.action();
    return ctl::STATUS_DONE;
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
