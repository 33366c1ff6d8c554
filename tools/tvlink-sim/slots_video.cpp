/* Video on demand: a shelf of films, the state of the player, and typed values. */
#include "slots.h"

#include <cstring>

#include "host.h"
#include "printable.h"

namespace sim
{

namespace
{

constexpr size_t cell_size = 256;
constexpr size_t status_size = 280;
constexpr uint32_t no_array = 0xFFFFFFFF;

const std::vector<std::string> &films()
{
    static const std::vector<std::string> &titles =
        *new std::vector<std::string>{"The Lighthouse Keeper", "Harbour Lights", "A Day in March"};
    return titles;
}

char *film_title(const char *slot, const nlohmann::json &arguments, uint8_t selector)
{
    const std::string question = "film " + std::to_string(selector) + "? ";
    if (selector >= films().size()) {
        tell(slot, arguments, question + "none", nullptr);
        return nullptr;
    }
    tell(slot, arguments, question + quoted(films()[selector]), films()[selector]);
    return heap_text(films()[selector]);
}

char *get_tv_vodstr(uint8_t selector)
{
    return film_title("get_tv_vodstr", {{"selector", selector}}, selector);
}

char *get_tv_vodstr2(uint8_t selector, const char *text)
{
    return film_title("get_tv_vodstr2", {{"selector", selector}, {"text", text}}, selector);
}

/* Three integers, then the address of the stream: state, position, duration. */
int fill_status(const char *slot, const nlohmann::json &arguments, void *record)
{
    const Player player = look([](const Television &tv) { return tv.player; });
    const uint32_t numbers[] = {static_cast<uint32_t>(player.state),
                                player_position(player, seconds_now()), player.duration};
    memcpy(record, numbers, sizeof numbers);
    answer(static_cast<char *>(record) + sizeof numbers, status_size - sizeof numbers,
           player.address);
    tell(slot, arguments, std::string("video status? ") + play_state_name(player.state),
         numbers[0]);
    return 1;
}

int get_tv_vodstatus(void *record)
{
    return fill_status("get_tv_vodstatus", nlohmann::json::object(), record);
}

int get_tv_vodstatus2(const char *text, void *record)
{
    return fill_status("get_tv_vodstatus2", {{"text", text}}, record);
}

/* The lengths of the films in seconds. */
uint32_t *film_lengths(const char *slot, const nlohmann::json &arguments, uint32_t *count)
{
    const std::vector<uint32_t> lengths = {5400, 6120, 4980};
    void *array = heap_bytes(lengths.data(), lengths.size() * sizeof lengths[0]);
    *count = array == nullptr ? no_array : static_cast<uint32_t>(lengths.size());
    tell(slot, arguments, "film lengths? " + std::to_string(lengths.size()), lengths);
    return static_cast<uint32_t *>(array);
}

uint32_t *get_tv_vodintarray(uint32_t *count)
{
    return film_lengths("get_tv_vodintarray", nlohmann::json::object(), count);
}

uint32_t *get_tv_vodintarray2(uint32_t *count, const char *text)
{
    return film_lengths("get_tv_vodintarray2", {{"text", text}}, count);
}

void *film_titles(const char *slot, const nlohmann::json &arguments, uint32_t *count)
{
    std::vector<char> cells(films().size() * cell_size);
    for (size_t i = 0; i < films().size(); i++) {
        answer(&cells[i * cell_size], cell_size, films()[i]);
    }
    *count = static_cast<uint32_t>(films().size());
    tell(slot, arguments, "films? " + std::to_string(films().size()), films());
    return heap_bytes(cells.data(), cells.size());
}

void *get_tv_vodarraystring(uint32_t *count)
{
    return film_titles("get_tv_vodarraystring", nlohmann::json::object(), count);
}

void *get_tv_vodarraystring2(const char *text, uint32_t *count)
{
    return film_titles("get_tv_vodarraystring2", {{"text", text}}, count);
}

int player_state(const char *slot, const nlohmann::json &arguments)
{
    const PlayState state = look([](const Television &tv) { return tv.player.state; });
    tell(slot, arguments, std::string("video player? ") + play_state_name(state),
         static_cast<int>(state));
    return static_cast<int>(state);
}

int get_tv_vodplayer()
{
    return player_state("get_tv_vodplayer", nlohmann::json::object());
}

int get_tv_vodplayer_v2(const char *text)
{
    return player_state("get_tv_vodplayer_v2", {{"text", text}});
}

/* The first text is the stream's address. */
int get_startplayer(const char *text1, const char *text2, const char *text3)
{
    return perform("get_startplayer", {{"texts", {text1, text2, text3}}}, [=](Television &tv) {
        Outcome opened = open_stream(tv, text1);
        if (opened.status != 0) {
            return opened;
        }
        Outcome played = play(tv, seconds_now());
        played.words = opened.words + ": " + played.words;
        played.events.insert(played.events.begin(), opened.events.begin(), opened.events.end());
        return played;
    });
}

int tv_sendvoice(const void *, uint32_t length)
{
    tell("tv_sendvoice", {{"length", length}},
         "voice request of " + std::to_string(length) + " bytes", 0);
    return 0;
}

int set_tv_voddetails(const char *text1, uint32_t, const char *text2, uint32_t)
{
    tell("set_tv_voddetails", {{"texts", {text1, text2}}},
         "film details " + quoted(text1) + ", " + quoted(text2), 0);
    return 0;
}

/* A typed value is only shown. */
int told_value(const char *slot, unsigned selector, const nlohmann::json &value,
               const std::string &words)
{
    tell(slot, {{"selector", selector}, {"value", value}},
         "video value " + std::to_string(selector) + ": " + words, 0);
    return 0;
}

int set_tv_vod(uint8_t tag, uint32_t value, uint32_t low, uint32_t high, const char *text, uint32_t)
{
    if (text != nullptr) {
        return told_value("set_tv_vod", tag, text, quoted(text));
    }
    const uint64_t number = value | low | (static_cast<uint64_t>(high) << 32);
    return told_value("set_tv_vod", tag, number, std::to_string(number));
}

int set_tv_vod_vt_int(uint8_t selector, const char *text, uint32_t value)
{
    return told_value("set_tv_vod_vt_int", selector, {text, value},
                      quoted(text) + " = " + std::to_string(value));
}

int set_tv_vod_vt_str(uint8_t selector, const char *text1, const char *text2)
{
    return told_value("set_tv_vod_vt_str", selector, {text1, text2},
                      quoted(text1) + " = " + quoted(text2));
}

int set_tv_vod_vt_long(uint8_t selector, const char *text, int64_t value)
{
    return told_value("set_tv_vod_vt_long", selector, {text, value},
                      quoted(text) + " = " + std::to_string(value));
}

} // namespace

void fill_video_slots(TvMethodTable &table)
{
    table.get_tv_vodplayer = get_tv_vodplayer;
    table.get_tv_vodarraystring = get_tv_vodarraystring;
    table.get_tv_vodarraystring2 = get_tv_vodarraystring2;
    table.set_tv_voddetails = set_tv_voddetails;
    table.set_tv_vod_vt_int = set_tv_vod_vt_int;
    table.set_tv_vod_vt_str = set_tv_vod_vt_str;
    table.set_tv_vod_vt_long = set_tv_vod_vt_long;
    table.get_tv_vodstr = get_tv_vodstr;
    table.get_tv_vodstr2 = get_tv_vodstr2;
    table.get_tv_vodstatus = get_tv_vodstatus;
    table.get_tv_vodstatus2 = get_tv_vodstatus2;
    table.get_tv_vodintarray = get_tv_vodintarray;
    table.get_tv_vodintarray2 = get_tv_vodintarray2;
    table.set_tv_vod = set_tv_vod;
    table.get_startplayer = get_startplayer;
    table.tv_sendvoice = tv_sendvoice;
    table.get_tv_vodplayer_v2 = get_tv_vodplayer_v2;
}

} // namespace sim
