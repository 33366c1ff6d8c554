/* The installed applications, and what is known about programmes and films. */
#include "slots.h"

#include "host.h"
#include "narrate.h"
#include "printable.h"
#include "state_json.h"

namespace sim
{

namespace
{

constexpr size_t answer_size = 65535;

/* Prints the question and answers with the object; -1 when there is nothing to say, or too much. */
int answer_object(const char *slot, const nlohmann::json &arguments, const std::string &words,
                  const nlohmann::json &object, char *buffer)
{
    const std::string reply = object.is_null() ? "" : one_line(object);
    const bool fits = reply.size() < answer_size;
    if (reply.empty() || !fits) {
        narrate_call(slot, arguments, words + (fits ? "nothing" : "too much to tell"), -1);
        return -1;
    }
    answer(buffer, answer_size, reply);
    const std::string shown =
        object.is_array() ? std::to_string(object.size()) : quoted(object.value("title", ""));
    narrate_call(slot, arguments, words + shown, object);
    return 0;
}

int set_tv_install_apklist(const char *text, uint32_t number)
{
    return run_operation("set_tv_install_apklist", {{"text", text}, {"number", number}},
                         [=](Television &tv) { return install_application(tv, text); });
}

int get_tv_installapklist(uint32_t value, char *buffer)
{
    const nlohmann::json list =
        read_state([](const Television &tv) { return applications_json(tv.applications); });
    return answer_object("get_tv_installapklist", {{"value", value}}, "applications? ", list,
                         buffer);
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
    return answer_object(
        "get_tv_metadata", {{"text1", text1}, {"text2", text2}, {"selector", selector}},
        "metadata of " + quoted(text1) + ", " + quoted(text2) + "? ", object, buffer);
}

} // namespace

void fill_application_slots(TvMethodTable &table)
{
    table.set_tv_install_apklist = set_tv_install_apklist;
    table.get_tv_installapklist = get_tv_installapklist;
    table.get_tv_metadata = get_tv_metadata;
}

} // namespace sim
