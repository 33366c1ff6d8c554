/* SPDX-License-Identifier: MIT */
/* Video on demand: a shelf of films, the state of the player, typed values and metadata. */
#include "slots.h"

#include "films.h"
#include "host.h"
#include "narrate.h"
#include "printable.h"
#include "state_json.h"
#include "voice.h"

namespace sim
{

namespace
{

constexpr uint32_t no_array = 0xFFFFFFFF;

/* The selector counts the films from 0. */
char *film_title(const char *slot, const nlohmann::json &arguments, uint8_t selector,
                 const std::vector<Film> &shelf)
{
    const std::string question = "film " + std::to_string(selector) + "? ";
    if (selector >= shelf.size()) {
        narrate_call(slot, arguments, question + "none", nullptr);
        return nullptr;
    }
    narrate_call(slot, arguments, question + quoted(shelf[selector].title), shelf[selector].title);
    return heap_text(shelf[selector].title);
}

int fill_status(const char *slot, const nlohmann::json &arguments, void *record)
{
    const Player player = read_state([](const Television &tv) { return tv.player; });
    const std::string status = video_status(player, seconds_now());
    status.copy(static_cast<char *>(record), video_status_size);
    narrate_call(slot, arguments, std::string("video status? ") + play_state_name(player.state),
                 static_cast<int>(player.state));
    return 1;
}

/* The lengths of the films in seconds. */
uint32_t *film_lengths(const char *slot, const nlohmann::json &arguments,
                       const std::vector<Film> &shelf, uint32_t *count)
{
    std::vector<uint32_t> lengths;
    lengths.reserve(shelf.size());
    for (const Film &film : shelf) {
        lengths.push_back(film.seconds);
    }
    void *array = heap_bytes(lengths.data(), lengths.size() * sizeof(uint32_t));
    *count = array == nullptr ? no_array : static_cast<uint32_t>(lengths.size());
    narrate_call(slot, arguments, "film lengths? " + std::to_string(lengths.size()), lengths);
    return static_cast<uint32_t *>(array);
}

void *film_titles(const char *slot, const nlohmann::json &arguments, const std::vector<Film> &shelf,
                  uint32_t *count)
{
    const std::string cells = film_cells(shelf);
    *count = static_cast<uint32_t>(shelf.size());
    narrate_call(slot, arguments, "films? " + std::to_string(shelf.size()), shelf.size());
    return heap_bytes(cells.data(), cells.size());
}

int player_state(const char *slot, const nlohmann::json &arguments)
{
    const PlayState state = read_state([](const Television &tv) { return tv.player.state; });
    narrate_call(slot, arguments, std::string("video player? ") + play_state_name(state),
                 static_cast<int>(state));
    return static_cast<int>(state);
}

} // namespace

char *get_tv_vodstr(uint8_t selector)
{
    return film_title("get_tv_vodstr", {{"selector", selector}}, selector, films());
}

char *get_tv_vodstr2(uint8_t selector, const char *text)
{
    return film_title("get_tv_vodstr2", {{"selector", selector}, {"text", text}}, selector,
                      films_holding(text));
}

int get_tv_vodstatus(void *record)
{
    return fill_status("get_tv_vodstatus", nlohmann::json::object(), record);
}

int get_tv_vodstatus2(const char *text, void *record)
{
    return fill_status("get_tv_vodstatus2", {{"text", text}}, record);
}

uint32_t *get_tv_vodintarray(uint32_t *count)
{
    return film_lengths("get_tv_vodintarray", nlohmann::json::object(), films(), count);
}

uint32_t *get_tv_vodintarray2(uint32_t *count, const char *text)
{
    return film_lengths("get_tv_vodintarray2", {{"text", text}}, films_holding(text), count);
}

void *get_tv_vodarraystring(uint32_t *count)
{
    return film_titles("get_tv_vodarraystring", nlohmann::json::object(), films(), count);
}

void *get_tv_vodarraystring2(const char *text, uint32_t *count)
{
    return film_titles("get_tv_vodarraystring2", {{"text", text}}, films_holding(text), count);
}

int get_tv_vodplayer()
{
    return player_state("get_tv_vodplayer", nlohmann::json::object());
}

int get_tv_vodplayer_v2(const char *text)
{
    return player_state("get_tv_vodplayer_v2", {{"text", text}});
}

/* The title of a film or an address, the title to show, and where to begin. */
int get_startplayer(const char *text1, const char *text2, const char *text3)
{
    return run_operation(
        "get_startplayer", {{"texts", {text1, text2, text3}}},
        [=](Television &tv) { return start_player(tv, text1, text2, text3, seconds_now()); });
}

/* The first text is a title. Selector 0 means the programme that is on, 1 a film. */
int get_tv_metadata(const char *text1, const char *text2, uint8_t selector, char *buffer)
{
    const nlohmann::json object = read_state([=](const Television &tv) -> nlohmann::json {
        switch (selector) {
        case 0:
            return programme_json(tv, text1, time_now());
        case 1:
            return film_json(tv, text1);
        default:
            return nullptr;
        }
    });
    return answer_json(
        "get_tv_metadata", {{"text1", text1}, {"text2", text2}, {"selector", selector}},
        "metadata of " + quoted(text1) + ", " + quoted(text2) + "? ", object, buffer);
}

int set_tv_voddetails(const char *text1, uint32_t, const char *text2, uint32_t)
{
    return run_operation("set_tv_voddetails", {{"texts", {text1, text2}}},
                         [=](Television &tv) { return keep_video_value(tv, text1, text2); });
}

/* Values that come without a name are kept under their tag. */
int set_tv_vod(uint8_t tag, uint32_t value, uint32_t low, uint32_t high, const char *text, uint32_t)
{
    const uint64_t number = value | low | (static_cast<uint64_t>(high) << 32);
    const VideoValue kept =
        text != nullptr ? VideoValue(std::string(text)) : VideoValue(static_cast<int64_t>(number));
    return run_operation("set_tv_vod", {{"tag", tag}}, [=](Television &tv) {
        return keep_video_value(tv, "tag " + std::to_string(tag), kept);
    });
}

int set_tv_vod_vt_int(uint8_t selector, const char *text, uint32_t value)
{
    return run_operation(
        "set_tv_vod_vt_int", {{"selector", selector}, {"text", text}, {"value", value}},
        [=](Television &tv) { return keep_video_value(tv, text, int64_t{value}); });
}

int set_tv_vod_vt_str(uint8_t selector, const char *text1, const char *text2)
{
    return run_operation("set_tv_vod_vt_str", {{"selector", selector}, {"texts", {text1, text2}}},
                         [=](Television &tv) { return keep_video_value(tv, text1, text2); });
}

int set_tv_vod_vt_long(uint8_t selector, const char *text, int64_t value)
{
    return run_operation("set_tv_vod_vt_long",
                         {{"selector", selector}, {"text", text}, {"value", value}},
                         [=](Television &tv) { return keep_video_value(tv, text, value); });
}

} // namespace sim
