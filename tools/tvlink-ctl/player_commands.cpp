/* The television's media player. */
#include "arguments.h"
#include "commands.h"
#include "exchange.h"
#include "output.h"
#include "player_state.h"

namespace ctl
{
namespace
{

/* For operations that have no values. */
void play_order(const Settings &settings, uint16_t code, const std::string &asked)
{
    Request request;
    require_built(cp_build_set(&request.buffer, code, CP_LAYOUT_SINGLE, nullptr, 0), "");
    carry_out(settings, request, asked);
}

void require_success(const Settings &settings, int8_t result, const std::string &asked)
{
    if (result == -1) {
        print_facts(settings, {{"result", int64_t{result}}});
        television_failed(asked);
    }
}

} // namespace

void play_address(const Settings &settings, const std::string &address)
{
    if (address.find_first_of(":/.") == std::string::npos) { /* a word that is misspelt, rather */
        misunderstood(address, "an address is needed here, such as http://192.168.1.9/film.mp4, or "
                               "one of the words that \"tvlink-ctl play --help\" lists");
    }
    Request address_request;
    require_built(cp_build_play_address(&address_request.buffer, bytes_of(address)), text_hint);
    Request start_request;
    require_built(
        cp_build_set(&start_request.buffer, CP_CODE_PLAY_START, CP_LAYOUT_SINGLE, nullptr, 0), "");
    const Session session(settings);
    require_success(settings, order(session, address_request, "the address to play"),
                    "the address to play");
    const int8_t result = order(session, start_request, "play start");
    require_success(settings, result, "play start");
    print_facts(settings, {{"result", int64_t{result}}});
}

void play_start(const Settings &settings)
{
    play_order(settings, CP_CODE_PLAY_START, "play start");
}

void play_pause(const Settings &settings)
{
    play_order(settings, CP_CODE_PLAY_PAUSE, "play pause");
}

void play_stop(const Settings &settings)
{
    play_order(settings, CP_CODE_PLAY_STOP, "play stop");
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

} // namespace ctl
