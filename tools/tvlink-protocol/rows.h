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

constexpr FrameTypeRow FRAME_TYPE_ROWS[] = {
#define FRAME_TYPE(value, name, direction, meaning, answer)                                        \
    {value, #name, direction, meaning, answer},
#include "protocol/operations.def"
};

constexpr ValueTagRow VALUE_TAG_ROWS[] = {
#define VALUE_TAG(value, name, form) {value, #name, form},
#include "protocol/operations.def"
};

constexpr ReplyFormRow REPLY_FORM_ROWS[] = {
#define REPLY_FORM(name, frame_type, payload) {#name, frame_type, payload},
#include "protocol/operations.def"
};

constexpr EventRow EVENT_ROWS[] = {
#define EVENT(name, third_byte, values) {#name, third_byte, values},
#include "protocol/operations.def"
};

constexpr AttributeRow ATTRIBUTE_ROWS[] = {
#define ATTRIBUTE(id, tag, value) {id, TAG_##tag, value},
#include "protocol/operations.def"
};

constexpr FamilyRow FAMILY_ROWS[] = {
#define FAMILY(name, title) {#name, title},
#include "protocol/operations.def"
};

constexpr unsigned RESERVED_SLOTS[] = {
#define RESERVED(slot) slot,
#include "protocol/operations.def"
};

#endif
