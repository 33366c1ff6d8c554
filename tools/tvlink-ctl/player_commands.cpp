/* SPDX-License-Identifier: MIT */
/* The media player. */
#include "arguments.h"
#include "command_line.h"
#include "exchange.h"
#include "output.h"
#include "player_state.h"

namespace ctl
{
namespace
{

struct PlayerOptions {
    std::string address;
    std::string operation;
    std::string value; /* the position, the volume or the value of the operation */
};

void play_address(const Settings &settings, const std::string &address)
{
    if (address.find_first_of(":/.") == std::string::npos) { /* rather a misspelt command */
        misunderstood(address, "an address is needed here, such as http://192.168.1.9/film.mp4, or "
                               "one of the words that \"tvlink-ctl play --help\" lists");
    }
    Request address_request;
    require_built(cp_build_play_address(&address_request.buffer, bytes_of(address)), text_hint);
    Request start_request;
    require_built(
        cp_build_set(&start_request.buffer, CP_CODE_PLAY_START, CP_LAYOUT_SINGLE, nullptr, 0), "");
    const Session session(settings);
    const int8_t result = order(session, address_request, "the address to play");
    if (result == -1) {
        report_result(settings, result, "the address to play");
    }
    report_result(settings, order(session, start_request, "play start"), "play start");
}

void play_seek(const Settings &settings, const std::string &position)
{
    Request request;
    const auto seconds = static_cast<int32_t>(parse_duration(position));
    require_built(cp_build_play_seek(&request.buffer, seconds), "");
    carry_out(settings, request, "play seek " + position);
}

void play_volume(const Settings &settings, const std::string &volume)
{
    Request request;
    const auto level = static_cast<uint8_t>(parse_number(volume, UINT8_MAX));
    require_built(cp_build_play_volume(&request.buffer, level), "");
    carry_out(settings, request, "play volume " + volume);
}

void play_operation(const Settings &settings, const std::string &operation,
                    const std::string &value)
{
    Request request;
    const auto number = parse_signed(value);
    require_built(cp_build_play_operation(&request.buffer, parse_number(operation, 6), number), "");
    carry_out(settings, request, "play operation " + operation);
}

void show_play_status(const Settings &settings)
{
    const Session session(settings);
    const uint32_t state =
        ask_code(session, CP_CODE_PLAY_STATE, CP_TAG_U8, "the player's state").number;
    const uint32_t position =
        ask_code(session, CP_CODE_PLAY_POSITION, CP_TAG_U32, "the player's position").number;
    const uint32_t duration =
        ask_code(session, CP_CODE_PLAY_DURATION, CP_TAG_U32, "the player's duration").number;
    Facts facts;
    add_player_state(facts, settings, state);
    add_duration(facts, settings, "position", position);
    add_duration(facts, settings, "duration", duration);
    print_facts(settings, facts);
}

void add_order(CLI::App &play, CommandLine &line, const char *name, const char *help, uint16_t code)
{
    add_command(play, line, name, help, [=](const Settings &settings) {
        Request request;
        require_built(cp_build_set(&request.buffer, code, CP_LAYOUT_SINGLE, nullptr, 0), "");
        carry_out(settings, request, std::string("play ") + name);
    });
}

/* "play" with an address is a command, with a word a group of commands. */
CLI::App *add_play(CLI::App &app, CommandLine &line, PlayerOptions &options)
{
    CLI::App *play = add_group(app, "play", "Play a stream, or drive the player");
    play->add_option("URL", options.address,
                     "Address to play; one of the words below drives the player");
    play->callback([play, &line, &options] {
        if (play->get_option("URL")->count() == 0) {
            return;
        }
        if (!play->get_subcommands().empty()) {
            throw CLI::ValidationError("either an address is played or a word is obeyed");
        }
        line.action = [&](const Settings &settings) { play_address(settings, options.address); };
    });
    return play;
}

} // namespace

void add_player_commands(CLI::App &app, CommandLine &line)
{
    PlayerOptions &options = new_options<PlayerOptions>(line);
    CLI::App &play = *add_play(app, line, options);
    add_order(play, line, "start", "Start, or go on", CP_CODE_PLAY_START);
    add_order(play, line, "pause", "Pause", CP_CODE_PLAY_PAUSE);
    add_order(play, line, "stop", "Stop", CP_CODE_PLAY_STOP);
    add_command(play, line, "status", "Show state, position and duration", show_play_status);
    add_command(play, line, "seek", "Go to a position",
                [&](const Settings &settings) { play_seek(settings, options.value); })
        ->add_option("POSITION", options.value, "Seconds, M:SS or H:MM:SS")
        ->required();
    add_command(play, line, "volume", "Set the player's volume",
                [&](const Settings &settings) { play_volume(settings, options.value); })
        ->add_option("VOLUME", options.value, "0 to 255")
        ->required();
    CLI::App *operation =
        add_command(play, line, "operation", "One of the television's own operations",
                    [&](const Settings &settings) {
                        play_operation(settings, options.operation, options.value);
                    });
    operation->add_option("NUMBER", options.operation, "0 to 6")->required();
    operation->add_option("VALUE", options.value, "Its value, a signed number")->required();
}

} // namespace ctl
