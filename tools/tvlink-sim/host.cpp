/* SPDX-License-Identifier: MIT */
#include "host.h"

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <utility>

#include "narrate.h"
#include "printable.h"
#include "state_json.h"
#include "state_keeping.h"
#include "state_report.h"
#include "tvlink.h"
#include "utf8.h"

namespace sim
{

std::mutex &television_lock()
{
    static std::mutex &lock = *new std::mutex;
    return lock;
}

Television &television()
{
    static Television &tv = *new Television;
    return tv;
}

void set_television(Television tv)
{
    const std::lock_guard<std::mutex> guard(television_lock());
    television() = std::move(tv);
}

int run_operation(const char *slot, const nlohmann::json &arguments,
                  const std::function<Outcome(Television &)> &operation)
{
    Outcome outcome;
    {
        const std::lock_guard<std::mutex> guard(television_lock());
        outcome = operation(television());
    }
    narrate_call(slot, arguments, outcome.words, outcome.status);
    note_state_to_keep();
    for (const Event &event : outcome.events) {
        report(event);
    }
    return outcome.status;
}

void report(const Event &event)
{
    narrate_event(event);
    note_state_change();
    note_state_to_keep();
    ipp_report_dev_event(event.code, event.value, event.text.c_str(), event.data.data(),
                         static_cast<uint32_t>(event.data.size()));
}

nlohmann::json present_state()
{
    return read_state(
        [](const Television &tv) { return state_json(tv, time_now(), seconds_now()); });
}

uint32_t seconds_now()
{
    const auto passed = std::chrono::steady_clock::now().time_since_epoch();
    return static_cast<uint32_t>(std::chrono::duration_cast<std::chrono::seconds>(passed).count());
}

uint32_t time_now()
{
    const auto passed = std::chrono::system_clock::now().time_since_epoch();
    return static_cast<uint32_t>(std::chrono::duration_cast<std::chrono::seconds>(passed).count());
}

void answer(char *buffer, size_t size, const std::string &text)
{
    const std::string kept = cut_text(text, size - 1);
    memcpy(buffer, kept.data(), kept.size());
    buffer[kept.size()] = '\0';
}

void *heap_bytes(const void *bytes, size_t size)
{
    void *copy = malloc(std::max<size_t>(size, 1));
    if (copy != nullptr && size > 0) {
        memcpy(copy, bytes, size);
    }
    return copy;
}

int answer_json(const char *slot, const nlohmann::json &arguments, const std::string &words,
                const nlohmann::json &object, char *buffer)
{
    constexpr size_t long_answer_size = 65535;
    const std::string reply = object.is_null() ? "" : one_line(object);
    const bool fits = reply.size() < long_answer_size;
    if (reply.empty() || !fits) {
        narrate_call(slot, arguments, words + (fits ? "nothing" : "too much to tell"), -1);
        return -1;
    }
    answer(buffer, long_answer_size, reply);
    const std::string shown =
        object.is_array() ? std::to_string(object.size()) : quoted(object.value("title", ""));
    narrate_call(slot, arguments, words + shown, object);
    return 0;
}

char *heap_text(const std::string &text)
{
    return static_cast<char *>(heap_bytes(text.c_str(), text.size() + 1));
}

void *sized_block(const std::string &bytes)
{
    constexpr size_t header_size = 2 * sizeof(uint32_t);
    if (bytes.empty()) {
        return nullptr;
    }
    uint32_t *header = static_cast<uint32_t *>(malloc(header_size + bytes.size()));
    if (header == nullptr) {
        return nullptr;
    }
    header[0] = 1;
    header[1] = static_cast<uint32_t>(bytes.size());
    bytes.copy(reinterpret_cast<char *>(header + 2), bytes.size());
    return header + 2;
}

} // namespace sim
