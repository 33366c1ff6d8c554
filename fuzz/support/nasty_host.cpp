/* SPDX-License-Identifier: MIT */
#include "support/nasty_host.h"

#include "protocol/operations.h"

#include <algorithm>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <type_traits>

namespace
{

struct Host {
    FuzzInput answers;
    TvMethodTable table;
    std::vector<uint8_t> list;
    std::vector<uint8_t> image;
};

Host host;

/* Numbers at which something may break; others come from the input. */
const uint32_t EDGES[] = {0,          1,          0xFFFFFFFF, 0x7FFFFFFF, 0x80000000,
                          0x7FFFFFB7, 0x7FFFFFB3, 0x7FFFFFB8, 0x01000000, 0x40000000,
                          0x3FFFFFFF, 0xFFFF,     0x10000,    0x100,      0xFF};
const uint8_t EDGE_COUNT = sizeof EDGES / sizeof EDGES[0];

const size_t MOST_PATTERN = 512;   /* bytes */
const uint32_t MOST_BYTES = 70000; /* of a block or a text that is really there */

uint32_t number()
{
    const uint8_t choice = nasty_host_u8();
    return choice < EDGE_COUNT ? EDGES[choice] : fuzz_u32(&host.answers);
}

/* How much of something there really is: often nothing, seldom much. */
uint32_t real_size()
{
    const uint8_t choice = nasty_host_u8();
    return choice == 0xFF ? MOST_BYTES : choice >= 0xF0 ? fuzz_u16(&host.answers) : choice;
}

/* A pattern at first, and then all the same. */
void fill(void *to, size_t size)
{
    const uint8_t first = nasty_host_u8();
    uint8_t *bytes = static_cast<uint8_t *>(to);
    memset(bytes, first, size);
    for (size_t i = 0; i < std::min(size, MOST_PATTERN); i++) {
        bytes[i] = static_cast<uint8_t>(first + i % 7);
    }
}

/* ---- Arguments: all of them are read to their ends. */

struct Call {
    size_t lent; /* bytes of the buffer that the slot is lent; 0: a char * is its own from now on */
    const void *data = nullptr;
};

volatile size_t seen = 0; /* so that nothing is left out as useless */

void take(Call &, const char *text)
{
    seen = seen + (text == nullptr ? 0 : strlen(text));
}

/* All of it without a terminating zero, a part, or nothing. */
void write_buffer(void *buffer, size_t size)
{
    const uint8_t choice = nasty_host_u8();
    if (choice % 4 == 1) {
        memset(buffer, 'x', size);
    } else if (choice % 4 == 2) {
        fill(buffer, std::min<size_t>(choice, size));
    } else if (choice % 4 == 3) {
        fill(buffer, size);
    }
}

void take(Call &call, char *text)
{
    if (call.lent > 0) {
        write_buffer(text, call.lent);
    } else {
        take(call, static_cast<const char *>(text));
        free(text);
    }
}

void take(Call &call, void *record)
{
    write_buffer(record, call.lent);
}

void take(Call &call, const void *data)
{
    call.data = data;
}

template <typename Number> std::enable_if_t<std::is_integral_v<Number>> take(Call &, Number *out)
{
    *out = static_cast<Number>(number());
}

/* A number right behind data is its length. */
template <typename Number>
std::enable_if_t<std::is_integral_v<Number>> take(Call &call, Number value)
{
    if (call.data != nullptr) {
        const auto copy = fuzz_copy(call.data, static_cast<size_t>(value));
        seen = seen + (value > 0 ? copy[0] : 0U);
        call.data = nullptr;
    }
}

/* ---- Results */

void *heap_block(size_t size)
{
    void *block = malloc(size);
    fill(block, size);
    return block;
}

char *heap_text()
{
    if (nasty_host_u8() == 0) {
        return nullptr;
    }
    const uint32_t size = real_size();
    char *text = static_cast<char *>(heap_block(size + 1));
    text[size] = 0;
    return text;
}

/* Elements of one byte or of two; the length is the count in either case. */
void *sized_block()
{
    host.list.clear();
    const uint8_t choice = nasty_host_u8();
    if (choice == 0) {
        return nullptr;
    }
    const uint32_t element = 1U + choice % 2;
    const uint32_t count = real_size();
    uint32_t *header = static_cast<uint32_t *>(heap_block(2 * sizeof *header + count * element));
    header[0] = element;
    header[1] = count;
    const uint8_t *bytes = reinterpret_cast<uint8_t *>(header + 2);
    host.list.assign(bytes, bytes + count);
    return header + 2;
}

/* So many elements are never sent, whatever there is. */
bool fits_no_reply(uint32_t count, uint32_t element)
{
    return uint64_t{count} * element > INT32_MAX - 72;
}

/* An array and its count: both right, nothing with any count, or something with a count that no
 * reply can hold. */
void *array(uint32_t *count, uint32_t element)
{
    const uint8_t choice = nasty_host_u8();
    const uint32_t wild = number();
    if (choice % 4 == 0) {
        *count = wild;
        return nullptr;
    }
    *count = fits_no_reply(wild, element) ? wild : real_size() / element;
    return heap_block(fits_no_reply(wild, element) ? choice : size_t{*count} * element);
}

uint32_t *integers(uint32_t *count)
{
    return static_cast<uint32_t *>(array(count, 4));
}

uint32_t *integers_for(uint32_t *count, const char *text)
{
    seen = seen + strlen(text);
    return integers(count);
}

void *cells(uint32_t *count)
{
    return array(count, 256);
}

void *cells_for(const char *text, uint32_t *count)
{
    seen = seen + strlen(text);
    return cells(count);
}

/* Null is sent as zeros, so a null of gigabytes would be. */
void *order(uint16_t *count, uint32_t *size)
{
    *count = static_cast<uint16_t>(number());
    void *data = array(size, 1);
    if (data == nullptr && !fits_no_reply(*size, 1)) {
        *size %= MOST_BYTES;
    }
    return data;
}

/* An image, perhaps of no bytes, or one that is too long with its length in front of it. */
void *screen(int16_t, uint16_t, uint32_t *size)
{
    static uint8_t nothing = 0;
    const uint8_t choice = nasty_host_u8();
    host.image.assign(real_size(), choice);
    *size = choice == 1 ? 0xFFFFFFFD : static_cast<uint32_t>(host.image.size());
    if (choice == 0) {
        return nullptr;
    }
    return host.image.empty() ? &nothing : host.image.data();
}

/* ---- The table */

template <typename Result> Result result()
{
    if constexpr (std::is_same_v<Result, char *>) {
        return heap_text();
    } else if constexpr (std::is_same_v<Result, uint32_t *>) {
        return nullptr; /* arrays have slots of their own */
    } else if constexpr (std::is_same_v<Result, void *>) {
        return sized_block();
    } else {
        return static_cast<Result>(number());
    }
}

template <auto Member, size_t Lent> struct Nasty;

template <typename Result, typename... Arguments, Result (*TvMethodTable::*Member)(Arguments...),
          size_t Lent>
struct Nasty<Member, Lent> {
    static Result call(Arguments... arguments)
    {
        [[maybe_unused]] Call call = {Lent};
        (take(call, arguments), ...);
        return result<Result>();
    }
};

TvMethodTable full_table()
{
    TvMethodTable table = {};
#define OPERATION(family, kind, first, last, slot, name, ...)                                      \
    table.name = Nasty<&TvMethodTable::name, protocol::OPERATIONS.name.lends.size>::call;
#include "protocol/operations.def"
    table.get_tv_vodintarray = integers;
    table.get_tv_vodintarray2 = integers_for;
    table.get_tv_vodarraystring = cells;
    table.get_tv_vodarraystring2 = cells_for;
    table.get_tv_order = order;
    table.get_screen_shot2 = screen;
    return table;
}

using AnySlot = void (*)();

} // namespace

void nasty_host_register(const FuzzInput &answers, size_t left_out)
{
    static const TvMethodTable full = full_table();
    host.answers = answers;
    host.table = full;
    if (left_out < sizeof full / sizeof(AnySlot)) {
        memset(reinterpret_cast<char *>(&host.table) + left_out * sizeof(AnySlot), 0,
               sizeof(AnySlot));
    }
    register_tv_method(&host.table);
}

void nasty_host_withdraw()
{
    register_tv_method(nullptr);
    host = {};
}

uint8_t nasty_host_u8()
{
    return fuzz_u8(&host.answers);
}

int nasty_host_rpc(char *answer, const char *request)
{
    seen = seen + strlen(request);
    write_buffer(answer, IPP_RPC_ANSWER_SIZE);
    return static_cast<int>(number());
}

const std::vector<uint8_t> &nasty_host_list()
{
    return host.list;
}

const std::vector<uint8_t> &nasty_host_image()
{
    return host.image;
}
