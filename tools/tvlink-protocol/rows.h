/* SPDX-License-Identifier: MIT */
/* The rows of the list that are no operations, as tables. */
#ifndef TVLINK_PROTOCOL_ROWS_H
#define TVLINK_PROTOCOL_ROWS_H

#include "protocol/operations.h"

struct FrameTypeRow {
    unsigned value;
    const char *name;
    const char *direction;
    const char *meaning;
    const char *answer;
};

struct ValueTagRow {
    unsigned value;
    const char *name;
    const char *form;
};

struct ReplyFormRow {
    const char *name;
    unsigned frame_type; /* 0: nothing is sent */
    const char *payload;
};

struct EventRow {
    const char *name;
    unsigned third_byte;
    const char *values;
};

struct AttributeRow {
    unsigned id;
    unsigned tag;
    const char *value;
};

struct FamilyRow {
    const char *name;
    const char *title;
};

constexpr FrameTypeRow frame_type_rows[] = {
#define FRAME_TYPE(value, name, direction, meaning, answer)                                        \
    {value, #name, direction, meaning, answer},
#include "protocol/operations.def"
};

constexpr ValueTagRow value_tag_rows[] = {
#define VALUE_TAG(value, name, form) {value, #name, form},
#include "protocol/operations.def"
};

constexpr ReplyFormRow reply_form_rows[] = {
#define REPLY_FORM(name, frame_type, payload) {#name, frame_type, payload},
#include "protocol/operations.def"
};

constexpr EventRow event_rows[] = {
#define EVENT(name, third_byte, values) {#name, third_byte, values},
#include "protocol/operations.def"
};

constexpr AttributeRow attribute_rows[] = {
#define ATTRIBUTE(id, tag, value) {id, TAG_##tag, value},
#include "protocol/operations.def"
};

constexpr FamilyRow family_rows[] = {
#define FAMILY(name, title) {#name, title},
#include "protocol/operations.def"
};

constexpr unsigned reserved_slots[] = {
#define RESERVED(slot) slot,
#include "protocol/operations.def"
};

#endif
