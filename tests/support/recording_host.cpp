/* SPDX-License-Identifier: MIT */
#include "support/recording_host.h"

#include "protocol/operations.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <type_traits>
#include <utility>

namespace
{

RecordingHost *host = nullptr;

/* One call while its arguments are added. */
struct Recording {
    const protocol::Operation &slot;
    HostAnswers answers;
    std::string line;
    size_t outs_used;
    const void *data; /* an argument whose length is the next one */
};

std::string lent_content(const void *buffer, size_t size)
{
    const uint8_t *first = static_cast<const uint8_t *>(buffer);
    const bool zero = std::all_of(first, first + size, [](uint8_t byte) { return byte == 0; });
    return "[" + (zero ? std::to_string(size) : hex(buffer, size)) + "]";
}

void add_lent(Recording &call, void *buffer)
{
    call.line += " " + lent_content(buffer, call.slot.lends.size);
    std::copy(call.answers.text.begin(), call.answers.text.end(), static_cast<char *>(buffer));
    if (call.answers.terminated) {
        static_cast<char *>(buffer)[call.answers.text.size()] = '\0';
    }
}

template <typename Number>
std::enable_if_t<std::is_integral_v<Number>> add(Recording &call, Number value)
{
    if (call.data != nullptr) {
        call.line += " " + quoted(call.data, static_cast<size_t>(value));
        call.data = nullptr;
    }
    call.line += " " + std::to_string(value);
}

void add(Recording &call, const char *text)
{
    call.line += text == nullptr ? " null" : " " + quoted(text, std::strlen(text));
}

/* A buffer to write into, or a text that is the slot's own from now on. */
void add(Recording &call, char *text)
{
    if (call.slot.lends.size > 0) {
        add_lent(call, text);
    } else {
        add(call, static_cast<const char *>(text));
        std::free(text);
    }
}

void add(Recording &call, void *record)
{
    add_lent(call, record);
}

void add(Recording &call, const void *data)
{
    call.data = data;
}

template <typename Number>
std::enable_if_t<std::is_integral_v<Number>> add(Recording &call, Number *out)
{
    call.line += " *" + std::to_string(*out);
    if (call.outs_used < call.answers.outs.size()) {
        *out = static_cast<Number>(call.answers.outs[call.outs_used++]);
    }
}

void *copy_of(const Bytes &data, size_t size)
{
    uint8_t *copy = static_cast<uint8_t *>(std::malloc(size));
    std::fill(std::copy(data.begin(), data.end(), copy), copy + size, uint8_t{0});
    return copy;
}

/* Two words, element size and count, and behind them the data, whose address counts. */
void *sized_block(const Bytes &data)
{
    uint32_t *header = static_cast<uint32_t *>(std::malloc(2 * sizeof(uint32_t) + data.size()));
    header[0] = 1;
    header[1] = static_cast<uint32_t>(data.size());
    std::copy(data.begin(), data.end(), reinterpret_cast<uint8_t *>(header + 2));
    return header + 2;
}

void *given_data(const Recording &call, bool is_text)
{
    if (call.answers.null_data) {
        return nullptr;
    }
    const Bytes &data = call.answers.data;
    switch (call.slot.lends.memory) {
    case protocol::SLOT_KEPT_BY_HOST:
        return host->keep(data);
    case protocol::SLOT_SIZED_BLOCK:
        return sized_block(data);
    default:
        return copy_of(data, data.size() + (is_text ? 1 : 0));
    }
}

template <auto Member, protocol::Operation protocol::column::Table::*Slot> struct Recorder;

template <typename Result, typename... Arguments, Result (*TvMethodTable::*Member)(Arguments...),
          protocol::Operation protocol::column::Table::*Slot>
struct Recorder<Member, Slot> {
    static Result call(Arguments... arguments)
    {
        const protocol::Operation &slot = protocol::OPERATIONS.*Slot;
        Recording recording = {slot, host->answers(), slot.name, 0, nullptr};
        (add(recording, arguments), ...);
        host->add_call(recording.line);
        if constexpr (std::is_pointer_v<Result>) {
            return static_cast<Result>(given_data(recording, std::is_same_v<Result, char *>));
        } else {
            return static_cast<Result>(recording.answers.result);
        }
    }
};

TvMethodTable full_table()
{
    TvMethodTable table = {};
#define OPERATION(family, kind, first, last, slot, name, ...)                                      \
    table.name = Recorder<&TvMethodTable::name, &protocol::column::Table::name>::call;
#include "protocol/operations.def"
    return table;
}

/* The bytes of one slot in a table, whatever its type. */
using AnySlot = void (*)();

void copy_slot(TvMethodTable &to, const TvMethodTable &from, size_t number)
{
    const size_t at = number * sizeof(AnySlot);
    std::memcpy(reinterpret_cast<char *>(&to) + at, reinterpret_cast<const char *>(&from) + at,
                sizeof(AnySlot));
}

} // namespace

RecordingHost::RecordingHost() : table_(full_table())
{
    host = this;
    come_back();
}

RecordingHost::~RecordingHost()
{
    withdraw();
    host = nullptr;
}

void RecordingHost::leave_out(size_t slot)
{
    copy_slot(table_, TvMethodTable{}, slot);
}

void RecordingHost::put_in(size_t slot)
{
    copy_slot(table_, full_table(), slot);
}

void RecordingHost::withdraw()
{
    register_tv_method(nullptr);
}

void RecordingHost::come_back()
{
    register_tv_method(&table_);
}

void RecordingHost::answer(const HostAnswers &answers)
{
    const std::lock_guard<std::mutex> guard(lock_);
    answers_ = answers;
}

HostAnswers RecordingHost::answers()
{
    const std::lock_guard<std::mutex> guard(lock_);
    return answers_;
}

void RecordingHost::in_slots(std::function<void()> also)
{
    const std::lock_guard<std::mutex> guard(lock_);
    in_slots_ = std::move(also);
}

std::vector<std::string> RecordingHost::calls()
{
    const std::lock_guard<std::mutex> guard(lock_);
    return std::exchange(calls_, {});
}

void RecordingHost::add_call(const std::string &line)
{
    std::function<void()> also;
    {
        const std::lock_guard<std::mutex> guard(lock_);
        calls_.push_back(line);
        also = in_slots_;
    }
    if (also) {
        also();
    }
}

void *RecordingHost::keep(const Bytes &data)
{
    const std::lock_guard<std::mutex> guard(lock_);
    kept_ = data;
    return kept_.data();
}

std::string quoted(const void *data, size_t size)
{
    std::string text = "\"";
    for (size_t i = 0; i < size; i++) {
        const uint8_t byte = static_cast<const uint8_t *>(data)[i];
        if (byte >= ' ' && byte <= '~' && byte != '"' && byte != '\\') {
            text += static_cast<char>(byte);
        } else {
            char escape[5];
            std::snprintf(escape, sizeof escape, "\\x%02X", byte);
            text += escape;
        }
    }
    return text + "\"";
}
