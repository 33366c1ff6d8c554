/* SPDX-License-Identifier: MIT */
#include "list_reader.h"

#include <cerrno>

namespace ctl
{
namespace
{

/* Bounds the memory: an entry takes many times the three bytes that it may have in the list. */
constexpr size_t max_entries = 1 << 20;

template <typename Entry>
CpStatus take_all(CpBytes block, CpStatus (*take)(CpBytes *, Entry *), std::vector<Entry> *entries)
{
    CpStatus status = CP_OK;
    while (status == CP_OK && block.size > 0) {
        Entry entry = {};
        status = entries->size() < max_entries ? take(&block, &entry) : CP_PROTOCOL;
        if (status == CP_OK) {
            entries->push_back(entry);
        }
    }
    return status;
}

CpStatus take_entries(const CpList &list, Entries *entries)
{
    const CpBytes block = {entries->block.data, entries->block.size};
    switch (list.kind) {
    case CP_LIST_GUIDE:
        return take_all(block, cp_take_guide_entry, &entries->programmes);
    case CP_LIST_CHANNELS:
        return take_all(block, cp_take_channel, &entries->channels);
    default:
        return take_all(block, cp_take_short_channel, &entries->channels);
    }
}

CpStatus fail(Entries *entries, CpStatus status, const char *problem)
{
    entries->problem = problem;
    return status;
}

} // namespace

Entries::~Entries()
{
    cp_buffer_free(&block);
}

CpStatus read_list(CpBytes payload, Entries *entries)
{
    CpList list = {};
    CpStatus status = cp_decode_list(payload, &list);
    if (status != CP_OK) {
        return fail(entries, status, "a value of the wrong kind");
    }
    entries->is_guide = list.kind == CP_LIST_GUIDE;
    if (list.empty) {
        return CP_OK;
    }
    status = cp_expand(list.packed, &entries->block, CP_EXPANDED_LIMIT);
    if (status != CP_OK) {
        return fail(entries, status, "a list that cannot be expanded");
    }
    status = take_entries(list, entries);
    if (status != CP_OK) {
        return fail(entries, status, "a list with a broken entry, or with too many");
    }
    if (!cp_list_has(&list, static_cast<uint32_t>(entries->count()))) {
        return fail(entries, CP_PROTOCOL, "a list that does not have as many entries as it tells");
    }
    return CP_OK;
}

void ask_list(const Session &session, const Request &request, const std::string &asked,
              Entries *entries)
{
    const CpFrame frame = ask_frame(session, CP_FRAME_GET, request, asked);
    const CpStatus status = read_list(frame.payload, entries);
    if (status == CP_SYSTEM) {
        throw Failure(STATUS_OTHER, system_text(errno), "");
    }
    if (status != CP_OK) {
        broke_protocol(session, std::string("answered with ") + entries->problem);
    }
}

} // namespace ctl
