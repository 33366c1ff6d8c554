/* The command lines of the player, the films, the guide and the settings. */
#include "command_line.h"

namespace ctl
{

void add_play_commands(CLI::App &app, CommandLine &line)
{
    const Settings &settings = line.settings;
    CLI::App *play = add_group(app, "play", "Play a stream, or drive the player");
    play->add_option("URL", line.first,
                     "Address to play; one of the words below drives the player");
    play->callback([play, &line] {
        if (play->get_option("URL")->count() == 0) {
            return;
        }
        if (!play->get_subcommands().empty()) {
            throw CLI::ValidationError("either an address is played or a word is obeyed");
        }
        line.action = [&line] { play_address(line.settings, line.first); };
    });
    add_command(*play, line, "start", "Start, or go on", [&] { play_start(settings); });
    add_command(*play, line, "pause", "Pause", [&] { play_pause(settings); });
    add_command(*play, line, "stop", "Stop", [&] { play_stop(settings); });
    add_command(*play, line, "status", "Show state, position and duration",
                [&] { show_play_status(settings); });
    add_command(*play, line, "seek", "Go to a position", [&] { play_seek(settings, line.second); })
        ->add_option("POSITION", line.second, "Seconds, M:SS or H:MM:SS")
        ->required();
    add_command(*play, line, "volume", "Set the player's volume",
                [&] { play_volume(settings, line.second); })
        ->add_option("VOLUME", line.second, "0 to 255")
        ->required();
    CLI::App *operation =
        add_command(*play, line, "operation", "One of the television's own operations",
                    [&] { play_operation(settings, line.second, line.third); });
    operation->add_option("NUMBER", line.second, "0 to 6")->required();
    operation->add_option("VALUE", line.third, "Its value, a signed number")->required();
}

/* The text that makes a question about films one about some of them. */
static void add_filter(CLI::App *command, FilmOptions &film)
{
    command->add_option("--of", film.what, "Ask about this text alone")
        ->option_text("TEXT")
        ->each([&film](const std::string &) { film.of = true; });
}

void add_film_commands(CLI::App &app, CommandLine &line)
{
    const Settings &settings = line.settings;
    FilmOptions &film = line.film;
    CLI::App *vod = add_group(app, "vod", "Video on demand");
    add_filter(
        add_command(*vod, line, "list", "List the films", [&] { list_films(settings, film); }),
        film);
    add_filter(add_command(*vod, line, "status", "Show what plays, and where it is",
                           [&] { show_film_status(settings, film); }),
               film);
    add_filter(add_command(*vod, line, "player", "Show the state of the player",
                           [&] { show_film_player(settings, film); }),
               film);
    CLI::App *title = add_command(*vod, line, "title", "Show a film's title",
                                  [&] { show_film_title(settings, line.first, film); });
    title->add_option("FILM", line.first, "Its number")->required();
    add_filter(title, film);
    CLI::App *start = add_command(*vod, line, "start", "Play a film or a stream",
                                  [&] { start_film(settings, film); });
    start->add_option("FILM", film.what, "Title of a film, or an address")->required();
    start->add_option("--title", film.title, "Title to show meanwhile")->option_text("TEXT");
    start->add_option("--at", film.at, "Where to begin: seconds, M:SS or H:MM:SS")
        ->option_text("POSITION");
}

void add_guide_commands(CLI::App &app, CommandLine &line)
{
    const Settings &settings = line.settings;
    GuideOptions &options = line.guide;
    CLI::App *guide = add_command(app, line, "guide", "Show what is on now and next",
                                  [&] { show_guide(settings, options); });
    CLI::Option *week = guide->add_flag("--week", options.week, "Seven days from today on");
    CLI::Option *all = guide->add_flag("--all", options.all, "All that the television knows");
    CLI::Option *search = guide->add_option("--search", options.search,
                                            "What has this text in its title or category");
    search->option_text("TEXT")->each(
        [&options](const std::string &) { options.search_given = true; });
    CLI::Option *channel = guide->add_option("--channel", options.channel, "One channel alone");
    channel->option_text("NUMBER");
    CLI::Option *from = guide->add_option(
        "--from", options.from, "What ends after that: now, 20:15, 2026-11-21, both, or @SECONDS");
    from->option_text("TIME");
    guide->add_flag("--descriptions", options.descriptions,
                    "A line of description below each programme, where there is one");
    search->excludes(week, all, channel, from);
    week->excludes(all, from);
    ChannelOptions &channel_options = line.channels;
    CLI::App *channels = add_command(app, line, "channels", "List the channels",
                                     [&] { show_channels(settings, channel_options); });
    CLI::Option *short_form =
        channels->add_flag("--short", channel_options.short_form, "Their numbers and names alone");
    channels
        ->add_option("--filter", channel_options.filter,
                     "Those that have this text in name or group")
        ->option_text("TEXT")
        ->each([&channel_options](const std::string &) { channel_options.filter_given = true; })
        ->excludes(short_form);
}

static void add_screenshot(CLI::App &app, CommandLine &line)
{
    CaptureOptions &options = line.capture;
    CLI::App *screenshot = add_command(app, line, "screenshot", "Save an image of the screen",
                                       [&] { save_screenshot(line.settings, options); });
    screenshot->add_option("-o,--output", options.file, "Where to; what is there is replaced")
        ->option_text("FILE")
        ->required();
    screenshot->add_option("--width", options.width, "Its width in pixels (as it is)")
        ->option_text("N");
    screenshot->add_option("--height", options.height, "Its height in pixels (as it is)")
        ->option_text("N");
}

static void add_state_commands(CLI::App &app, CommandLine &line)
{
    const Settings &settings = line.settings;
    add_command(app, line, "state", "Show power, sound, picture and channel", [&] {
        show_state(settings, line.flag);
    })->add_flag("--all", line.flag, "All that the television tells of its state");
    add_command(app, line, "version", "Show the version of its software", [&] {
        show_version(settings, line.flag);
    })->add_flag("--all", line.flag, "The versions of its parts");
    add_command(app, line, "place", "Show where the television stands",
                [&] { show_place(settings); });
    add_command(app, line, "apps", "List the applications", [&] { show_applications(settings); });
    CLI::App *metadata =
        add_command(app, line, "metadata", "Show what is known about a programme or a film",
                    [&] { show_metadata(settings, line.flag, line.first); });
    metadata->add_option("TITLE", line.first, "Its title (what is on now)");
    metadata->add_flag("--film", line.flag, "It is a film");
}

void add_setting_commands(CLI::App &app, CommandLine &line)
{
    const Settings &settings = line.settings;
    add_state_commands(app, line);
    CLI::App *command = add_command(app, line, "settings", "Show the settings, or change one", [&] {
        if (line.flag) {
            count_settings(settings, line.first);
        } else if (line.second.empty()) {
            show_settings(settings, line.first);
        } else {
            change_setting(settings, line.first, line.second);
        }
    });
    command->add_option("NAME", line.first, "The one to show (all)");
    CLI::Option *value = command->add_option("VALUE", line.second, "What it is to become");
    command->add_flag("--count", line.flag, "Count those whose names begin with NAME")
        ->excludes(value);
    add_command(app, line, "voice", "Say something to the television",
                [&] { speak(settings, line.first); })
        ->add_option("TEXT", line.first, "What is said, such as \"channel 3\"")
        ->required();
    add_screenshot(app, line);
}

} // namespace ctl
