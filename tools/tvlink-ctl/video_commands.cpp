/* SPDX-License-Identifier: MIT */
/* Video on demand. */
#include "arguments.h"
#include "command_line.h"
#include "controlpoint_lists.h"
#include "exchange.h"
#include "output.h"
#include "player_state.h"

namespace ctl
{
namespace
{

struct FilmOptions {
    std::string what;   /* a film, an address, or a text for the television's host */
    bool of = false;    /* `what` was given, even empty */
    std::string number; /* of a film */
    std::string title;  /* to show while it plays */
    std::string at;     /* the position to start at */
};

constexpr uint32_t max_films = 256; /* that have a number of one byte */

/* The codes of a question: in general, and about a text. */
struct FilmQuestion {
    uint16_t code;
    uint16_t code_of;
};

constexpr FilmQuestion titles_question = {CP_CODE_FILM_TITLES, CP_CODE_FILM_TITLES_OF};
constexpr FilmQuestion lengths_question = {CP_CODE_FILM_LENGTHS, CP_CODE_FILM_LENGTHS_OF};
constexpr FilmQuestion state_question = {CP_CODE_FILM_STATE, CP_CODE_FILM_STATE_OF};
constexpr FilmQuestion status_question = {CP_CODE_FILM_STATUS, CP_CODE_FILM_STATUS_OF};

CpValue ask_about(const Session &session, const FilmOptions &options, const FilmQuestion &question,
                  uint8_t tag, const std::string &asked)
{
    Request request;
    const CpStatus status =
        options.of ? cp_build_text_get(&request.buffer, question.code_of, bytes_of(options.what))
                   : cp_build_get(&request.buffer, question.code, nullptr, 0);
    require_built(status, text_hint);
    return ask(session, request, tag, asked);
}

/* Copies of the titles: the next answer overwrites the buffer. */
std::vector<std::string> ask_titles(const Session &session, const FilmOptions &options)
{
    CpBytes block = ask_about(session, options, titles_question, CP_TAG_BLOB, "its films").bytes;
    std::vector<std::string> titles;
    while (block.size > 0) {
        CpBytes title = {};
        if (cp_take_text_cell(&block, &title) != CP_OK) {
            broke_protocol(session, "answered with a broken list of films");
        }
        titles.emplace_back(title.data, title.data + title.size);
    }
    return titles;
}

std::vector<uint32_t> ask_lengths(const Session &session, const FilmOptions &options)
{
    CpBytes block =
        ask_about(session, options, lengths_question, CP_TAG_BLOB, "the films' lengths").bytes;
    std::vector<uint32_t> lengths;
    while (block.size > 0) {
        uint32_t length = 0;
        if (cp_take_number(&block, &length) != CP_OK) {
            broke_protocol(session, "answered with a broken list of films' lengths");
        }
        lengths.push_back(length);
    }
    return lengths;
}

void list_films(const Settings &settings, const FilmOptions &options)
{
    const Session session(settings);
    const std::vector<std::string> titles = ask_titles(session, options);
    const std::vector<uint32_t> lengths = ask_lengths(session, options);
    if (titles.size() != lengths.size()) {
        broke_protocol(session, "answered with " + std::to_string(titles.size()) + " films and " +
                                    std::to_string(lengths.size()) + " lengths");
    }
    Table table = {{{"NO", true}, {"TITLE"}, {"LENGTH", true}}, {}, {}};
    std::vector<Facts> films;
    for (size_t i = 0; i < titles.size(); i++) {
        table.rows.push_back(
            {std::to_string(i + 1), printable(titles[i]), duration_text(lengths[i])});
        Facts film = {{"number", static_cast<int64_t>(i + 1)}};
        add_text(film, "title", bytes_of(titles[i]));
        add_number(film, "length", lengths[i]);
        films.push_back(film);
    }
    print_list(settings, table, "films", films);
}

void show_film_status(const Settings &settings, const FilmOptions &options)
{
    const Session session(settings);
    const CpBytes record =
        ask_about(session, options, status_question, CP_TAG_RECORD, "the film's status").bytes;
    CpFilmStatus status = {};
    if (cp_decode_film_status(record, &status) != CP_OK) {
        broke_protocol(session, "answered with a broken status record");
    }
    Facts facts;
    add_player_state(facts, settings, status.state);
    add_duration(facts, settings, "position", status.position);
    add_duration(facts, settings, "duration", status.duration);
    add_number(facts, "film", status.film);
    add_text(facts, "title", status.title);
    add_text(facts, "address", status.address);
    print_facts(settings, facts);
}

void show_film_player(const Settings &settings, const FilmOptions &options)
{
    const Session session(settings);
    const uint32_t state =
        ask_about(session, options, state_question, CP_TAG_U32, "the film player's state").number;
    Facts facts;
    add_player_state(facts, settings, state);
    print_facts(settings, facts);
}

void show_film_title(const Settings &settings, const FilmOptions &options)
{
    Request request;
    const uint32_t number = parse_number(options.number, max_films);
    if (number == 0) {
        misunderstood(options.number,
                      "films are numbered from 1; \"tvlink-ctl vod list\" lists them");
    }
    const auto selector = static_cast<uint8_t>(number - 1); /* from 0 */
    const CpStatus status =
        options.of ? cp_build_film_title_of(&request.buffer, selector, bytes_of(options.what))
                   : cp_build_film_title(&request.buffer, selector);
    require_built(status, text_hint);
    show_text(settings, request, "title", "film " + options.number);
}

void start_film(const Settings &settings, const FilmOptions &options)
{
    const std::string seconds =
        options.at.empty() ? "" : std::to_string(parse_duration(options.at));
    Request request;
    require_built(cp_build_start_film(&request.buffer, bytes_of(options.what),
                                      bytes_of(options.title), bytes_of(seconds)),
                  text_hint);
    const Session session(settings);
    const uint32_t result =
        ask(session, request, CP_TAG_U32, "the film \"" + printable(options.what) + "\"").number;
    print_facts(settings, {{"result", int64_t{static_cast<int32_t>(result)}}});
}

/* Adds a command for a question that may be about a text. */
CLI::App *add_question(CLI::App &vod, CommandLine &line, FilmOptions &options, const char *name,
                       const char *help, void (*ask)(const Settings &, const FilmOptions &))
{
    CLI::App *command =
        add_command(vod, line, name, help,
                    [&options, ask](const Settings &settings) { ask(settings, options); });
    command->add_option("--of", options.what, "Ask about this text alone")
        ->option_text("TEXT")
        ->each([&options](const std::string &) { options.of = true; });
    return command;
}

} // namespace

void add_video_commands(CLI::App &app, CommandLine &line)
{
    FilmOptions &options = new_options<FilmOptions>(line);
    CLI::App *vod = add_group(app, "vod", "Video on demand");
    add_question(*vod, line, options, "list", "List the films", list_films);
    add_question(*vod, line, options, "status", "Show what plays, and where it is",
                 show_film_status);
    add_question(*vod, line, options, "player", "Show the state of the player", show_film_player);
    add_question(*vod, line, options, "title", "Show a film's title", show_film_title)
        ->add_option("FILM", options.number, "Its number")
        ->required();
    CLI::App *start = add_command(*vod, line, "start", "Play a film or a stream",
                                  [&](const Settings &settings) { start_film(settings, options); });
    start->add_option("FILM", options.what, "Title of a film, or an address")->required();
    start->add_option("--title", options.title, "Title to show meanwhile")->option_text("TEXT");
    start->add_option("--at", options.at, "Where to begin: seconds, M:SS or H:MM:SS")
        ->option_text("POSITION");
}

} // namespace ctl
