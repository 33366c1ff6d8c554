/* The command lines of the remote control, the texts and whatever looks at the wire. */
#include "command_line.h"

namespace ctl
{

static constexpr char raw_footer[] =
    "CODE is decimal or hexadecimal (0x0112). Each ARG is one of\n"
    "  u8:5  u16:7  port:8801  u32:0x10  i32:-3    numbers, decimal or hexadecimal\n"
    "  f32:1.5                                     a float: its four bytes, tagged as a u32\n"
    "  str:text                                    a text with a 2-byte length\n"
    "  blob:0a0b                                   bytes with a 4-byte length\n"
    "  point:1,2,3                                 three 2-byte numbers\n"
    "  hex:aabb                                    bytes as they are: no tag, no length\n"
    "get sends the number of arguments before them, rpc does not. set does when there is not\n"
    "exactly one; --single and --list choose by hand.";

static constexpr char doctor_footer[] =
    "Looks at this machine's interfaces, its route for multicast, groups and ports, searches and\n"
    "connects; with --host it also asks that television alone. It takes twice the time-out at "
    "most\n"
    "and ends with what is wrong first, and what to try next.\n"
    "\n"
    "Exit status:\n"
    "  0  a television can be found and driven\n"
    "  1  this machine or the television on it is set up wrongly\n"
    "  3  no television is found, or it tells an address that cannot be reached\n"
    "  4  the connection was refused\n"
    "  5  no connection or no answer in time\n"
    "  6  what answers there is no television";

/* Adds a command that is done by `run`. */
CLI::App *add_command(CLI::App &app, CommandLine &line, const char *name, const char *help,
                      std::function<void()> run)
{
    CLI::App *command = app.add_subcommand(name, help);
    command->fallthrough();
    command->callback([&line, run = std::move(run)] { line.action = run; });
    return command;
}

CLI::App *add_group(CLI::App &app, const char *name, const char *help)
{
    CLI::App *group = app.add_subcommand(name, help);
    group->fallthrough();
    group->require_subcommand(0, 1); /* at most; a text may be named like a command */
    return group;
}

void add_finding_commands(CLI::App &app, CommandLine &line)
{
    const Settings &settings = line.settings;
    CLI::App *discover =
        add_command(app, line, "discover", "List the televisions that answer a search", [&] {
            if (line.second_flag) {
                listen_for_televisions(settings);
            } else {
                ctl::discover(settings, line.flag);
            }
        });
    CLI::Option *both = discover->add_flag("--announcements", line.flag,
                                           "Also list those that announce themselves meanwhile");
    discover
        ->add_flag("--listen", line.second_flag,
                   "Do not search; show announcements as they arrive, until --timeout or Ctrl-C")
        ->excludes(both);
    CLI::App *doctor = add_command(app, line, "doctor", "Find out why a television cannot be found",
                                   [&] { line.status = examine_network(settings); });
    doctor->footer(doctor_footer);
}

void add_show_commands(CLI::App &app, CommandLine &line)
{
    const Settings &settings = line.settings;
    add_command(app, line, "info", "Show the device information", [&] { show_info(settings); });
    add_command(app, line, "name", "Show the television's name", [&] { show_name(settings); });
    add_command(app, line, "order", "Show the order of the channels",
                [&] { show_order(settings); });
}

void add_set_commands(CLI::App &app, CommandLine &line)
{
    const Settings &settings = line.settings;
    CLI::App *key = add_command(app, line, "key", "Press a key of the remote control", [&] {
        if (line.flag) {
            list_keys(settings);
        } else {
            press_key(settings, line.first, line.second.empty() ? "0" : line.second);
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
                                    [&] { step_channel(settings, line.first); });
    channel->add_option("STEP", line.first, "+1 to +255 up, -1 to -255 down")->required();
    CLI::App *volume = add_command(app, line, "volume", "Step the volume: +N or -N",
                                   [&] { step_volume(settings, line.first); });
    volume->add_option("STEP", line.first, "+1 to +255 up, -1 to -255 down")->required();
}

void add_text_commands(CLI::App &app, CommandLine &line)
{
    const Settings &settings = line.settings;
    CLI::App *text = add_group(app, "text", "Read the television's text, or give it two texts");
    add_command(*text, line, "get", "Show the text", [&] { show_text(settings); });
    CLI::App *set = add_command(*text, line, "set", "Send a pair of texts",
                                [&] { set_texts(settings, line.first, line.second); });
    set->add_option("FIRST", line.first, "At most 255 bytes are taken")->required();
    set->add_option("SECOND", line.second, "At most 31 bytes are taken")->required();
    CLI::App *rpc = add_command(app, line, "rpc", "Ask with a text, show the answer",
                                [&] { ask_text(settings, line.first); });
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
                [&] { send_heartbeat(settings); });
}

static CLI::App *add_raw(CLI::App &raw, CommandLine &line, const char *name, const char *help,
                         void (*run)(const Settings &, const RawRequest &))
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
    CLI::App *raw = add_group(app, "raw", "Send any request, show the reply byte for byte");
    raw->footer(raw_footer);
    add_raw(*raw, line, "get", "Ask for a value", raw_get);
    add_raw(*raw, line, "rpc", "Call a remote procedure", raw_rpc);
    CLI::App *set = add_raw(*raw, line, "set", "Have something done", raw_set);
    CLI::Option *single = set->add_flag("--single", line.raw.single, "Send no count of arguments");
    set->add_flag("--list", line.raw.list, "Send the count, even of one argument")
        ->excludes(single);
}

} // namespace ctl
