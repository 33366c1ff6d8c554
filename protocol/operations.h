/* SPDX-License-Identifier: MIT */
/* The list of operations as constants of C++, for whatever looks at its columns. */
#pragma once

#include "protocol/tags.h"

#include <stddef.h>
#include <stdint.h>

namespace protocol
{

enum Kind : uint16_t { KIND_GET, KIND_SET, KIND_STRING, KIND_INFO, KIND_DIRECT };

/* ---- Arguments */

enum ArgumentType {
    ARGUMENT_COUNT,        /* number of arguments, 1 byte: not looked at */
    ARGUMENT_ANY_TAG,      /* value tag: not looked at */
    ARGUMENT_SPARE,        /* 1 byte of no meaning: not looked at */
    ARGUMENT_CHECKED_TAG,  /* value tag that is asserted */
    ARGUMENT_CHECKED_KIND, /* the call kind in front of the method code is asserted; 0 bytes */
    ARGUMENT_U8,
    ARGUMENT_U16,
    ARGUMENT_I16,
    ARGUMENT_U32,
    ARGUMENT_I32,
    ARGUMENT_I64,
    ARGUMENT_F32,
    ARGUMENT_TEXT,     /* 2-byte length, bytes */
    ARGUMENT_DATA16,   /* the same, not a text */
    ARGUMENT_DATA32,   /* 4-byte length, bytes */
    ARGUMENT_LENGTH16, /* 2-byte length of the bytes with this name, which follow later */
    ARGUMENT_BYTES,    /* as many as their length said */
    ARGUMENT_TYPED,    /* 1-byte type, 1 byte that is not looked at, value in the type's form */
};

struct Argument {
    ArgumentType type;
    const char *name;
    uint32_t limit; /* of a text in bytes */
    uint8_t tag;    /* of a checked tag */
};

struct ArgumentList {
    Argument items[12];
    size_t count;
};

/* ---- Replies */

enum ReplyForm {
#define REPLY_FORM(name, frame_type, payload) REPLY_##name,
#include "protocol/operations.def"
};

enum : uint16_t {
    ECHOED = 0,       /* the reply has the request's method code */
    OWN_CODE = 0xFFFF /* the reply has the operation's method code, whatever was requested */
};

struct Reply {
    ReplyForm form;
    uint16_t code;         /* ECHOED, OWN_CODE or a number */
    uint16_t success_code; /* not 0: the code of a reply that is no refusal */
    uint8_t tag;           /* of a value */
    uint8_t empty_tag;     /* of an empty list */
    uint8_t count_size;    /* bytes in front of a list's data */
    uint8_t max_bits;      /* of a code of a list's compression */
};

enum Refusal : uint16_t {
    REFUSED_FF,         /* method code, FF */
    REFUSED_ZERO,       /* method code, 00, as in success */
    REFUSED_EMPTY,      /* 01, method code */
    REFUSED_EMPTY_LIST, /* 01, method code, tag, length 0 */
    REFUSED_PORT_0,     /* 01, method code, tag, port 0 */
    REFUSED_SILENTLY,
    REFUSED_NOT, /* served without the slot */
};

/* ---- Slots */

enum SlotMemory {
    SLOT_NOTHING,      /* takes and returns plain values and borrowed texts */
    SLOT_BUFFER,       /* is lent a zeroed buffer for a text, or a record */
    SLOT_HEAP_DATA,    /* returns data from malloc, which the library frees */
    SLOT_SIZED_BLOCK,  /* returns a sized block, which the library frees */
    SLOT_KEPT_BY_HOST, /* returns data that stays the host's */
};

struct Lends {
    SlotMemory memory;
    uint32_t size; /* of a buffer */
};

const int16_t NO_SLOT_NUMBER = -1;

/* ---- The list */

struct Operation {
    const char *family;
    Kind kind;
    uint16_t first_code; /* 0: no method code */
    uint16_t last_code;
    int16_t slot; /* or NO_SLOT_NUMBER */
    const char *name;
    Lends lends;
    ArgumentList arguments;
    Reply reply;
    Refusal refusal;
    Refusal without_slot;
    const char *summary;
};

/* The method code that replies begin with; 0: the request's. */
constexpr uint16_t reply_code(const Operation &operation)
{
    return operation.reply.code == OWN_CODE ? operation.first_code : operation.reply.code;
}

constexpr bool has_slot(const Operation &operation)
{
    return operation.slot != NO_SLOT_NUMBER;
}

/* What the columns are written with. */
namespace column
{

template <typename... Arguments> constexpr ArgumentList arguments(Arguments... all)
{
    return {{all...}, sizeof...(all)};
}

constexpr Argument count()
{
    return {ARGUMENT_COUNT, "count", 0, 0};
}
constexpr Argument tag()
{
    return {ARGUMENT_ANY_TAG, "tag", 0, 0};
}
constexpr Argument spare()
{
    return {ARGUMENT_SPARE, "spare", 0, 0};
}
constexpr Argument checked(uint8_t tag)
{
    return {ARGUMENT_CHECKED_TAG, "tag", 0, tag};
}
constexpr Argument checked_kind()
{
    return {ARGUMENT_CHECKED_KIND, "kind", 0, 1};
}
constexpr Argument text(const char *name, uint32_t limit)
{
    return {ARGUMENT_TEXT, name, limit, 0};
}

/* Arguments that have nothing but a type and a name. */
constexpr Argument u8(const char *name)
{
    return {ARGUMENT_U8, name, 0, 0};
}
constexpr Argument u16(const char *name)
{
    return {ARGUMENT_U16, name, 0, 0};
}
constexpr Argument i16(const char *name)
{
    return {ARGUMENT_I16, name, 0, 0};
}
constexpr Argument u32(const char *name)
{
    return {ARGUMENT_U32, name, 0, 0};
}
constexpr Argument i32(const char *name)
{
    return {ARGUMENT_I32, name, 0, 0};
}
constexpr Argument i64(const char *name)
{
    return {ARGUMENT_I64, name, 0, 0};
}
constexpr Argument f32(const char *name)
{
    return {ARGUMENT_F32, name, 0, 0};
}
constexpr Argument data16(const char *name)
{
    return {ARGUMENT_DATA16, name, 0, 0};
}
constexpr Argument data32(const char *name)
{
    return {ARGUMENT_DATA32, name, 0, 0};
}
constexpr Argument length16(const char *name)
{
    return {ARGUMENT_LENGTH16, name, 0, 0};
}
constexpr Argument bytes(const char *name)
{
    return {ARGUMENT_BYTES, name, 0, 0};
}
constexpr Argument typed(const char *name)
{
    return {ARGUMENT_TYPED, name, 0, 0};
}

constexpr Lends nothing()
{
    return {SLOT_NOTHING, 0};
}
constexpr Lends buffer(uint32_t size)
{
    return {SLOT_BUFFER, size};
}
constexpr Lends record(uint32_t size)
{
    return {SLOT_BUFFER, size};
}
constexpr Lends heap_data()
{
    return {SLOT_HEAP_DATA, 0};
}
constexpr Lends sized_block()
{
    return {SLOT_SIZED_BLOCK, 0};
}
constexpr Lends kept_by_host()
{
    return {SLOT_KEPT_BY_HOST, 0};
}

constexpr Reply result_as(uint16_t code)
{
    return {REPLY_RESULT, code, 0, 0, 0, 0, 0};
}
constexpr Reply result()
{
    return result_as(ECHOED);
}
constexpr Reply zero()
{
    return {REPLY_ZERO, ECHOED, 0, 0, 0, 0, 0};
}
constexpr Reply value(uint8_t tag, uint16_t code = ECHOED, uint16_t success_code = 0)
{
    return {REPLY_VALUE, code, success_code, tag, 0, 0, 0};
}
constexpr Reply list(uint8_t tag, uint8_t empty_tag, uint8_t count_size, uint8_t max_bits)
{
    return {REPLY_VALUE, OWN_CODE, 0, tag, empty_tag, count_size, max_bits};
}
constexpr Reply attributes()
{
    return {REPLY_ATTRIBUTES, ECHOED, 0, 0, 0, 0, 0};
}
constexpr Reply answer()
{
    return {REPLY_ANSWER, OWN_CODE, 0, 0, 0, 0, 0};
}
constexpr Reply silence_as(uint16_t code)
{
    return {REPLY_SILENCE, code, 0, 0, 0, 0, 0};
}
constexpr Reply silence()
{
    return silence_as(ECHOED);
}

/* Every operation by its name. */
struct Table {
#define OPERATION(family, kind, first, last, slot, name, ...) Operation name;
#define SLOTLESS(family, kind, first, last, name, ...) Operation name;
#include "protocol/operations.def"
};

#define ARGUMENTS(...) arguments(__VA_ARGS__)
#define OPERATION(family, kind, first, last, slot, name, ...)                                      \
    {#family, KIND_##kind, first, last, slot, #name, __VA_ARGS__},
#define SLOTLESS(family, kind, first, last, name, arguments, reply, refusal, summary)              \
    {#family,   KIND_##kind, first, last,    NO_SLOT_NUMBER, #name,                                \
     nothing(), arguments,   reply, refusal, REFUSED_NOT,    summary},
constexpr Table TABLE = {
#include "protocol/operations.def"
};

} // namespace column

constexpr column::Table OPERATIONS = column::TABLE;

/* Every operation in the order of the list. */
constexpr Operation ALL_OPERATIONS[] = {
#define OPERATION(family, kind, first, last, slot, name, ...) column::TABLE.name,
#define SLOTLESS(family, kind, first, last, name, ...) column::TABLE.name,
#include "protocol/operations.def"
};
#undef ARGUMENTS

/* An operation without a method code cannot reply with its own. */
constexpr bool own_codes_exist()
{
    for (const Operation &operation : ALL_OPERATIONS) {
        if (operation.reply.code == OWN_CODE && operation.first_code == 0) {
            return false;
        }
    }
    return true;
}
static_assert(own_codes_exist(), "OWN_CODE needs a method code");

} // namespace protocol
