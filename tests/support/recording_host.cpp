#include "support/recording_host.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <type_traits>
#include <utility>

namespace
{

/* Who owns what a slot returns, and how it lies in memory. */
enum class Given { HEAP, SIZED_BLOCK, KEPT };

struct Slot {
    const char *name = nullptr;
    size_t lent = 0; /* size of the buffer or record that the slot is given */
    Given data = Given::HEAP;
};

RecordingHost *host = nullptr;

/* One call while its arguments are added. */
struct Recording {
    const Slot &slot;
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
    call.line += " " + lent_content(buffer, call.slot.lent);
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
    if (call.slot.lent > 0) {
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
    switch (call.slot.data) {
    case Given::KEPT:
        return host->keep(data);
    case Given::SIZED_BLOCK:
        return sized_block(data);
    case Given::HEAP:
        break;
    }
    return copy_of(data, data.size() + (is_text ? 1 : 0));
}

template <auto Member> struct Recorder;

template <typename Result, typename... Arguments, Result (*TvMethodTable::*Member)(Arguments...)>
struct Recorder<Member> {
    static inline Slot slot = {};

    static Result call(Arguments... arguments)
    {
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

template <auto Member> void record(TvMethodTable &table, const Slot &slot)
{
    Recorder<Member>::slot = slot;
    table.*Member = Recorder<Member>::call;
}

#define RECORD(name, ...) record<&TvMethodTable::name>(table, {#name, __VA_ARGS__})

void record_setters(TvMethodTable &table)
{
    RECORD(set_tv_code0115);
    RECORD(set_tv_code3001);
    RECORD(set_tv_code0116);
    RECORD(set_tv_code0117);
    RECORD(set_tv_mute);
    RECORD(set_tv_action2);
    RECORD(set_tv_action1);
    RECORD(set_tv_bind);
    RECORD(set_tv_searchchannel);
    RECORD(set_tv_showphone);
    RECORD(set_tv_voddetails);
    RECORD(set_tv_loginfromtv);
    RECORD(set_tv_mode);
    RECORD(set_tv_volume);
    RECORD(set_tv_powermode);
    RECORD(set_tv_key);
    RECORD(set_tv_touch);
    RECORD(set_tv_channel);
    RECORD(set_tv_mouse);
    RECORD(set_tv_textpair);
    RECORD(set_tv_order);
    RECORD(set_tv_int3);
    RECORD(set_tv_name);
    RECORD(set_tv_install_apklist);
    RECORD(set_tv_current_position);
    RECORD(set_tv_nick_name);
    RECORD(set_tv_setting_mtnadata, 2560);
    RECORD(set_tv_vod_vt_int);
    RECORD(set_tv_vod_vt_str);
    RECORD(set_tv_vod_vt_long);
    RECORD(set_tv_show_phone_connect);
    RECORD(set_tv_shut_down);
    RECORD(set_tv_vod);
    RECORD(set_tv_wifiinfo);
    RECORD(set_play_addr);
    RECORD(set_play_addr2);
    RECORD(set_play_volume);
    RECORD(set_play_start);
    RECORD(set_play_pause);
    RECORD(set_play_stop);
    RECORD(set_play_seek);
    RECORD(set_play_operation);
}

void record_getters(TvMethodTable &table)
{
    RECORD(get_screen_shot2, 0, Given::KEPT);
    RECORD(get_tv_epg, 0, Given::SIZED_BLOCK);
    RECORD(get_tv_epgweek, 0, Given::SIZED_BLOCK);
    RECORD(get_tv_code0105);
    RECORD(get_tv_vodplayer);
    RECORD(get_tv_text, 256);
    RECORD(get_tv_vodarraystring);
    RECORD(get_tv_vodarraystring2);
    RECORD(get_tv_order);
    RECORD(get_tv_code010e);
    RECORD(get_tv_code0001);
    RECORD(get_tv_code2005);
    RECORD(get_tv_vodstr);
    RECORD(get_tv_vodstr2);
    RECORD(get_tv_vodstatus, 280);
    RECORD(get_tv_vodstatus2, 280);
    RECORD(get_tv_vodintarray);
    RECORD(get_tv_vodintarray2);
    RECORD(get_tv_simpleepg, 0, Given::SIZED_BLOCK);
    RECORD(get_tv_channelcode, 0, Given::SIZED_BLOCK);
    RECORD(get_tv_channelcode2, 0, Given::SIZED_BLOCK);
    RECORD(get_tv_channelcode3, 0, Given::SIZED_BLOCK);
    RECORD(get_tv_searchsimpleepg, 0, Given::SIZED_BLOCK);
    RECORD(get_tv_metadata, 65535);
    RECORD(get_tv_installapklist, 65535);
    RECORD(get_tv_currentposition, 65535);
    RECORD(get_startplayer);
    RECORD(tv_sendvoice);
    RECORD(get_tv_vodplayer_v2);
    RECORD(get_europe_version, 32);
    RECORD(get_device_info, 256);
    RECORD(get_tv_code400b, 2560);
    RECORD(get_tv_code400c, 2560);
    RECORD(get_tv_code400d, 2560);
    RECORD(get_tv_code400a);
    RECORD(get_tv_code4015, 2560);
    RECORD(get_play_status);
    RECORD(get_play_position);
    RECORD(get_play_duration);
}

TvMethodTable full_table()
{
    TvMethodTable table = {};
    record_setters(table);
    record_getters(table);
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
