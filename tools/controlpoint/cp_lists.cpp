/* SPDX-License-Identifier: MIT */
#include "controlpoint_lists.h"

#include "controlpoint_calls.h"
#include "cp_cursor.h"

/* The form of a list in its reply. */
struct ListForm {
    uint16_t code;
    uint8_t tag;
    bool wide_count; /* the two counts form one of 32 bits */
    CpListKind kind;
};

static const ListForm list_forms[] = {
    {CP_CODE_GUIDE, CP_TAG_LZW_LIST2, false, CP_LIST_GUIDE},
    {CP_CODE_GUIDE_NOW, CP_TAG_GUIDE_LIST, false, CP_LIST_GUIDE},
    {CP_CODE_GUIDE_WEEK, CP_TAG_LZW_LIST2, true, CP_LIST_GUIDE},
    {CP_CODE_GUIDE_SEARCH, CP_TAG_GUIDE_LIST, false, CP_LIST_GUIDE},
    {CP_CODE_CHANNELS, CP_TAG_LZW_LIST, false, CP_LIST_CHANNELS},
    {CP_CODE_CHANNELS_SHORT, CP_TAG_LZW_LIST, false, CP_LIST_SHORT_CHANNELS},
    {CP_CODE_CHANNELS_FILTERED, CP_TAG_LZW_LIST, false, CP_LIST_CHANNELS},
};

static const ListForm *find_list_form(uint16_t code)
{
    for (const ListForm &form : list_forms) {
        if (form.code == code) {
            return &form;
        }
    }
    return nullptr;
}

static void fill_list(CpList *list, const ListForm *form, const CpValue *value)
{
    list->count = value->count;
    list->packed = value->bytes;
    if (form->wide_count) {
        list->count |= uint32_t{value->second_count} << 16;
    } else {
        list->second = value->second_count;
    }
}

CpStatus cp_decode_list(CpBytes payload, CpList *list)
{
    if (list == nullptr) {
        return CP_BAD_ARGUMENT;
    }
    *list = {};
    CpGetReply reply = {};
    const CpStatus status = cp_decode_get_reply(payload, &reply);
    if (status != CP_OK) {
        return status;
    }
    const ListForm *form = find_list_form(reply.code);
    if (form == nullptr) {
        return CP_BAD_ARGUMENT;
    }
    if ((!reply.empty && reply.value.tag != form->tag) || reply.extra.size > 0) {
        return CP_PROTOCOL;
    }
    *list = {reply.code, form->kind, reply.empty, 0, 0, {nullptr, 0}};
    if (!reply.empty) {
        fill_list(list, form, &reply.value);
    }
    return CP_OK;
}

bool cp_list_has(const CpList *list, uint32_t entries)
{
    if (list == nullptr) {
        return false;
    }
    return list->count == (list->code == CP_CODE_GUIDE_WEEK ? entries : entries & 0xFFFF);
}
