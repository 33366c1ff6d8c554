/* SPDX-License-Identifier: MIT */
/* Arbitrary payloads, read by each decoder of the control point. The bytes in a result lie within
 * the payload; after a failure the result is all zero.
 *
 * Input: which decoder, the bytes.
 *
 * Under test: tools/controlpoint/cp_replies.cpp tools/controlpoint/cp_values.cpp
 * tools/controlpoint/cp_lists.cpp tools/controlpoint/cp_entries.cpp
 * tools/controlpoint/cp_cursor.cpp */
#include "support/fuzz_input.h"

#include "controlpoint.h"
#include "controlpoint_lists.h"

#include <cstring>

static void must_lie_in(CpBytes whole, CpBytes part)
{
    if (part.size > 0) {
        must(part.data >= whole.data && part.data + part.size <= whole.data + whole.size,
             "what is given out lies in what was given");
    }
}

/* ---- Results of failed decoders: compared field by field, since padding has any value */

static bool is_zero(uint32_t number)
{
    return number == 0;
}

static bool is_zero(CpBytes bytes)
{
    return bytes.data == nullptr && bytes.size == 0;
}

template <typename... Fields> static bool are_zero(const Fields &...fields)
{
    return (is_zero(fields) && ...);
}

static bool is_zero(const CpValue &value)
{
    return are_zero(value.tag, value.number, value.point[0], value.point[1], value.point[2],
                    value.count, value.second_count, value.bytes);
}

static bool is_zero(const CpSetReply &reply)
{
    return are_zero(reply.code, reply.result);
}

static bool is_zero(const CpGetReply &reply)
{
    return are_zero(reply.code, reply.empty, reply.extra) && is_zero(reply.value);
}

static bool is_zero(const CpDeviceInfo &info)
{
    return are_zero(info.present, info.name, info.serial, info.registered, info.state,
                    info.host_text, info.value_2015, info.value_2016);
}

static bool is_zero(const CpRpcReply &reply)
{
    return are_zero(reply.code, reply.text, reply.extra);
}

static bool is_zero(const CpEvent &event)
{
    return are_zero(event.code, event.value, event.text, event.has_second_text, event.second_text,
                    event.data);
}

static bool is_zero(const CpTelevision &television)
{
    return are_zero(television.address, television.source, television.port, television.device_type);
}

static bool is_zero(const CpList &list)
{
    return are_zero(list.code, static_cast<uint32_t>(list.kind), list.empty, list.count,
                    list.second, list.packed);
}

static bool is_zero(const CpChannel &channel)
{
    return are_zero(channel.number, channel.name, channel.group, channel.guide_id, channel.address);
}

static bool is_zero(const CpGuideEntry &entry)
{
    return are_zero(entry.channel, entry.start, entry.duration, entry.title, entry.category,
                    entry.description);
}

static bool is_zero(const CpFilmStatus &status)
{
    return are_zero(status.state, status.position, status.duration, status.film, status.title,
                    status.address);
}

template <typename Result> static void must_be_zero(const Result &result)
{
    must(is_zero(result), "after a failure there is nothing");
}

template <typename Result>
static bool decoded(CpStatus (*decode)(CpBytes, Result *), CpBytes bytes, Result *result)
{
    *result = {};
    const CpStatus status = decode(bytes, result);
    must(status == CP_OK || status == CP_PROTOCOL || status == CP_BAD_ARGUMENT,
         "bytes are good or bad");
    if (status != CP_OK) {
        must_be_zero(*result);
    }
    return status == CP_OK;
}

/* ---- Replies */

static void read_get_reply(CpBytes bytes)
{
    CpGetReply reply;
    if (decoded(cp_decode_get_reply, bytes, &reply)) {
        must_lie_in(bytes, reply.value.bytes);
        must_lie_in(bytes, reply.extra);
    }
}

static void read_device_info(CpBytes bytes)
{
    CpDeviceInfo info;
    if (decoded(cp_decode_device_info, bytes, &info)) {
        must_lie_in(bytes, info.name);
        must_lie_in(bytes, info.serial);
        must_lie_in(bytes, info.host_text);
    }
}

static void read_rpc_reply(CpBytes bytes)
{
    CpRpcReply reply;
    if (decoded(cp_decode_rpc_reply, bytes, &reply)) {
        must_lie_in(bytes, reply.text);
        must_lie_in(bytes, reply.extra);
    }
}

static void read_event(CpBytes bytes)
{
    CpEvent event;
    if (decoded(cp_decode_event, bytes, &event)) {
        must_lie_in(bytes, event.text);
        must_lie_in(bytes, event.second_text);
        must_lie_in(bytes, event.data);
    }
}

static void read_short_replies(CpBytes bytes)
{
    CpSetReply reply;
    must(decoded(cp_decode_set_reply, bytes, &reply) == (bytes.size == 3),
         "a set reply has 3 bytes");
    const bool heart = bytes.size == 5 && memcmp(bytes.data, "HEART", 5) == 0;
    must((cp_decode_heartbeat(bytes) == CP_OK) == heart, "a heartbeat says so");
    CpTelevision television;
    if (decoded(cp_decode_answer, bytes, &television)) {
        must(bytes.size >= CP_ANSWER_SIZE && television.port != 0, "a television has a port");
    }
}

/* ---- Lists */

template <typename Entry>
static void take_all(CpStatus (*take)(CpBytes *, Entry *), CpBytes block,
                     void (*check)(CpBytes, const Entry &, size_t taken))
{
    const CpBytes whole = block;
    Entry entry;
    for (;;) {
        const CpBytes before = block;
        entry = {};
        if (take(&block, &entry) != CP_OK) {
            must(block.data == before.data && block.size == before.size,
                 "the block stays as it was");
            must_be_zero(entry);
            return;
        }
        must(block.size < before.size, "an entry takes something off");
        must_lie_in(whole, block);
        check(whole, entry, before.size - block.size);
    }
}

static void check_channel(CpBytes whole, const CpChannel &channel, size_t taken)
{
    must(taken > 2 + channel.name.size, "number and name have been taken off");
    must_lie_in(whole, channel.name);
    must_lie_in(whole, channel.group);
    must_lie_in(whole, channel.guide_id);
    must_lie_in(whole, channel.address);
}

static void check_guide_entry(CpBytes whole, const CpGuideEntry &entry, size_t taken)
{
    must(taken >= 18 + entry.title.size + entry.category.size + entry.description.size,
         "all fields have been taken off");
    must_lie_in(whole, entry.title);
    must_lie_in(whole, entry.category);
    must_lie_in(whole, entry.description);
}

static void check_text(CpBytes whole, const CpBytes &text, size_t taken)
{
    must(taken == 256 && text.size < taken, "a cell has been taken off");
    must_lie_in(whole, text);
}

static void check_number(CpBytes, const uint32_t &, size_t taken)
{
    must(taken == 4, "a number has been taken off");
}

static void read_channels(CpBytes bytes)
{
    take_all(cp_take_channel, bytes, check_channel);
}

static void read_short_channels(CpBytes bytes)
{
    take_all(cp_take_short_channel, bytes, check_channel);
}

static void read_guide(CpBytes bytes)
{
    take_all(cp_take_guide_entry, bytes, check_guide_entry);
}

static void read_cells(CpBytes bytes)
{
    take_all(cp_take_text_cell, bytes, check_text);
    take_all(cp_take_number, bytes, check_number);
}

static void read_film_status(CpBytes bytes)
{
    CpFilmStatus status;
    if (decoded(cp_decode_film_status, bytes, &status)) {
        must_lie_in(bytes, status.title);
        must_lie_in(bytes, status.address);
    }
}

static void read_list(CpBytes bytes)
{
    CpList list;
    if (decoded(cp_decode_list, bytes, &list)) {
        must_lie_in(bytes, list.packed);
    }
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    static void (*const READERS[])(CpBytes) = {
        read_get_reply,     read_device_info, read_rpc_reply,   read_event,
        read_short_replies, read_list,        read_channels,    read_short_channels,
        read_guide,         read_cells,       read_film_status,
    };
    FuzzInput input = {data, size};
    const uint8_t choice = fuzz_u8(&input);
    const std::unique_ptr<uint8_t[]> bytes = fuzz_copy(input);
    READERS[choice % (sizeof READERS / sizeof READERS[0])]({bytes.get(), input.left});
    return 0;
}
