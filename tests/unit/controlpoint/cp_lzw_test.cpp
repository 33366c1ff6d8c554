/* SPDX-License-Identifier: MIT */
#include "controlpoint_lists.h"
#include "cp_test_bytes.h"
#include "support/system_calls.h"
#include "tvlink/host/sized_block.h"
#include "tvlink/lzw.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <gtest/gtest.h>
#include <random>

namespace
{

using namespace cp_test;

constexpr unsigned CLEAR = 256;
constexpr unsigned END = 257;

/* Codes, most significant bit first, the last byte filled with zeros. */
class Codes
{
public:
    Codes &put(unsigned code, unsigned width)
    {
        for (unsigned bit = width; bit > 0; bit--) {
            if (bits_ % 8 == 0) {
                bytes_.push_back(0);
            }
            const unsigned value = code >> (bit - 1) & 1;
            bytes_.back() = static_cast<uint8_t>(bytes_.back() | value << (7 - bits_ % 8));
            bits_++;
        }
        return *this;
    }

    /* The end code and what the television's encoder leaves behind it: the bits that did not fill a
     * byte once more, as a code. */
    Codes &end(unsigned width)
    {
        put(END, width);
        const auto open = static_cast<unsigned>(bits_ % 8);
        if (open > 0) {
            put(END & ((1U << open) - 1), width);
            bytes_.resize(bits_ / 8);
            bits_ = bytes_.size() * 8;
        }
        return *this;
    }

    const Bytes &bytes() const
    {
        return bytes_;
    }

private:
    Bytes bytes_;
    size_t bits_ = 0;
};

/* A stream of single bytes, which fill the table all the same; codes widen as they must. */
struct Literals {
    Codes codes;
    Bytes plain;
    unsigned next = 258;
    unsigned width = 9;
    unsigned last_width = 9; /* that of the last code */

    void put_one()
    {
        const auto byte = static_cast<uint8_t>(plain.size() * 7);
        codes.put(byte, width);
        plain.push_back(byte);
        last_width = width;
        next++;
        if (next == 1U << width && width < 16) {
            width++;
        }
    }

    void put_until_next_is(unsigned wanted)
    {
        while (next < wanted) {
            put_one();
        }
    }
};

struct Expanded {
    CpStatus status;
    Bytes bytes;
};

Expanded expand(const Bytes &packed, size_t limit = CP_EXPANDED_LIMIT)
{
    const Bytes exact = packed; /* a read beyond the end is noticed */
    Built to;
    const CpStatus status = cp_expand(view(exact), &to.buffer, limit);
    return {status, to.bytes()};
}

void expect_expands(const Bytes &packed, const Bytes &plain)
{
    const Expanded result = expand(packed);
    EXPECT_EQ(result.status, CP_OK);
    EXPECT_EQ(result.bytes, plain);
}

void expect_refused(const Bytes &packed)
{
    const Expanded result = expand(packed);
    EXPECT_EQ(result.status, CP_PROTOCOL);
    EXPECT_EQ(result.bytes, Bytes{});
}

TEST(ControlPointLzw, ExpandsShortTexts)
{
    expect_expands({0x20, 0xC0, 0x40}, text_bytes("A"));
    expect_expands({0x20, 0x90, 0xA0, 0x20}, text_bytes("AB"));
    expect_expands(Codes().end(9).bytes(), {});
}

TEST(ControlPointLzw, ExpandsStringsOfTwoAndMoreBytes)
{
    const Codes codes = Codes().put('A', 9).put('B', 9).put(258, 9).put(259, 9).put(260, 9).end(9);
    expect_expands(codes.bytes(), text_bytes("ABABBAABB"));
}

TEST(ControlPointLzw, ExpandsACodeThatRefersToTheStringItCompletes)
{
    expect_expands(Codes().put('A', 9).put(258, 9).end(9).bytes(), text_bytes("AAA"));
    expect_expands(Codes().put('A', 9).put(258, 9).put(259, 9).end(9).bytes(),
                   text_bytes("AAAAAA"));
    expect_expands(Codes().put('A', 9).put('B', 9).put(258, 9).put(260, 9).end(9).bytes(),
                   text_bytes("ABABABA"));
}

TEST(ControlPointLzw, StopsAtTheEndCode)
{
    expect_expands(Codes().put('A', 9).put(END, 9).put(300, 9).put('B', 9).bytes(),
                   text_bytes("A"));
}

TEST(ControlPointLzw, ForgetsItsStringsAtAClearCode)
{
    expect_expands(
        Codes().put(CLEAR, 9).put('A', 9).put('B', 9).put(CLEAR, 9).put('C', 9).end(9).bytes(),
        text_bytes("ABC"));
    expect_refused(Codes().put('A', 9).put('B', 9).put(CLEAR, 9).put(258, 9).end(9).bytes());
    expect_refused(
        Codes().put('A', 9).put('B', 9).put(CLEAR, 9).put('C', 9).put(259, 9).end(9).bytes());
}

TEST(ControlPointLzw, ReadsTheClearCodeOfAFullTableOneBitWider)
{
    for (unsigned width = 9; width < 16; width++) {
        Literals stream;
        stream.put_until_next_is(1U << width);
        EXPECT_EQ(stream.width, width + 1);
        stream.codes.put(CLEAR, width + 1).put('x', 9).put(258, 9).end(9);
        expect_expands(stream.codes.bytes(), stream.plain + text_bytes("xxx"));
    }
}

TEST(ControlPointLzw, WidensItsCodesUpToSixteenBits)
{
    for (const unsigned next : {511U, 513U, 1023U, 1025U, 4095U, 4097U, 32767U, 32769U, 65535U}) {
        Literals stream;
        stream.put_until_next_is(next);
        stream.codes.end(stream.width);
        expect_expands(stream.codes.bytes(), stream.plain);
    }
}

TEST(ControlPointLzw, FindsTheEndCodeThatIsNotYetWideWhenTheLastStringFillsTheTable)
{
    for (unsigned width = 9; width < 16; width++) {
        Literals stream;
        stream.put_until_next_is(1U << width);
        EXPECT_EQ(stream.last_width, width);
        stream.codes.end(width);
        expect_expands(stream.codes.bytes(), stream.plain);
    }
}

TEST(ControlPointLzw, TakesNoEndCodeThatIsNotYetWideWhenMoreFollowsThanIsLeftBehind)
{
    for (unsigned width = 9; width < 16; width++) {
        Literals stream;
        stream.put_until_next_is(1U << width);
        stream.codes.end(width);
        expect_refused(stream.codes.bytes() + zeros(2));
    }
}

TEST(ControlPointLzw, TakesNothingButEndOrClearOnceThereAreNoMoreCodes)
{
    Literals full;
    full.put_until_next_is(65536);
    expect_expands(Codes(full.codes).end(16).bytes(), full.plain);
    expect_expands(Codes(full.codes).put(CLEAR, 16).put('x', 9).end(9).bytes(),
                   full.plain + text_bytes("x"));
    expect_refused(Codes(full.codes).put('x', 16).end(16).bytes());
}

TEST(ControlPointLzw, RefusesCodesThatStandForNothing)
{
    expect_refused(Codes().put(300, 9).end(9).bytes());
    expect_refused(Codes().put(258, 9).end(9).bytes());
    expect_refused(Codes().put('A', 9).put(259, 9).end(9).bytes());
    expect_refused(Codes().put('A', 9).put('B', 9).put(511, 9).end(9).bytes());
}

TEST(ControlPointLzw, RefusesEveryTruncation)
{
    Literals stream;
    stream.put_until_next_is(600);
    stream.codes.put(END, stream.width);
    const Bytes whole = stream.codes.bytes();
    expect_expands(whole, stream.plain);
    for (size_t size = 0; size < whole.size(); size++) {
        expect_refused(front_of(whole, size));
    }
}

TEST(ControlPointLzw, WritesNoMoreThanItsLimit)
{
    Codes bomb;
    bomb.put('A', 9);
    for (unsigned code = 258; code < 511; code++) {
        bomb.put(code, 9);
    }
    bomb.put(END, 10);
    const size_t size = 254 * 255 / 2;
    const Expanded whole = expand(bomb.bytes(), size);
    EXPECT_EQ(whole.status, CP_OK);
    EXPECT_EQ(whole.bytes, Bytes(size, 'A'));
    EXPECT_EQ(expand(bomb.bytes(), size - 1).status, CP_PROTOCOL);
    EXPECT_EQ(expand(bomb.bytes(), 0).status, CP_PROTOCOL);
}

TEST(ControlPointLzw, RefusesBadArguments)
{
    Built to;
    EXPECT_EQ(cp_expand({nullptr, 0}, nullptr, 1), CP_BAD_ARGUMENT);
    EXPECT_EQ(cp_expand({nullptr, 1}, &to.buffer, 1), CP_BAD_ARGUMENT);
    EXPECT_EQ(cp_expand({nullptr, 0}, &to.buffer, 1), CP_PROTOCOL);
}

/* Every call of the function fails in turn. Returns how many there are. */
long expand_without(SystemFunction &function, const Literals &stream)
{
    for (long call = 1;; call++) {
        WatchedCall memory(function);
        memory.fail(ENOMEM, call);
        Built to;
        errno = 0;
        const CpStatus status =
            cp_expand(view(stream.codes.bytes()), &to.buffer, CP_EXPANDED_LIMIT);
        const bool failed = memory.calls() >= call;
        EXPECT_EQ(status, failed ? CP_SYSTEM : CP_OK) << call;
        EXPECT_EQ(errno, failed ? ENOMEM : 0) << call;
        EXPECT_EQ(to.bytes(), failed ? Bytes{} : stream.plain) << call;
        if (!failed) {
            return call - 1;
        }
    }
}

TEST(ControlPointLzw, SaysWhenMemoryIsOut)
{
    Literals stream;
    stream.put_until_next_is(2000);
    stream.codes.end(stream.width);
    /* Strings, which grow twice, and 64 to 2,048 bytes of text. A compiler may well take the first
     * block by malloc. */
    EXPECT_EQ(expand_without(system_realloc, stream) + expand_without(system_malloc, stream),
              1 + 2 + 6);
}

TEST(ControlPointLzw, SurvivesWhateverBytesArrive)
{
    std::mt19937 random(1);
    constexpr size_t limit = 5000;
    for (int round = 0; round < 3000; round++) {
        Bytes bytes(random() % 300);
        /* Small first halves of codes let streams live longer. */
        const unsigned mask = round % 2 == 0 ? 0xFF : 0x7F;
        std::generate(bytes.begin(), bytes.end(),
                      [&] { return static_cast<uint8_t>(random() & mask); });
        const Expanded result = expand(bytes, limit);
        ASSERT_TRUE(result.status == CP_OK || result.status == CP_PROTOCOL);
        ASSERT_LE(result.bytes.size(), limit);
    }
}

TEST(ControlPointLzw, SurvivesDamageToAStream)
{
    Literals stream;
    stream.put_until_next_is(1200);
    stream.codes.end(stream.width);
    std::mt19937 random(2);
    for (int round = 0; round < 1000; round++) {
        Bytes damaged = stream.codes.bytes();
        const size_t at = random() % damaged.size();
        damaged[at] = static_cast<uint8_t>(damaged[at] ^ (1U << random() % 8));
        const Expanded result = expand(damaged, 100000);
        ASSERT_TRUE(result.status == CP_OK || result.status == CP_PROTOCOL);
        ASSERT_NE(result.bytes, stream.plain);
    }
}

/* As the television compresses. */
Bytes encoded(const Bytes &plain, int max_bits)
{
    void *block = mem_alloc(1, static_cast<uint32_t>(plain.size()));
    memcpy(block, plain.data(), plain.size());
    auto *packed = static_cast<uint32_t *>(lzw_encode(block, max_bits));
    const auto *content = reinterpret_cast<const uint8_t *>(packed);
    const Bytes result(content, content + packed[-1]);
    free(packed - 2);
    free(static_cast<uint32_t *>(block) - 2);
    return result;
}

/* Of few different bytes, so that long strings come up, or of many. */
Bytes random_text(std::mt19937 &random, size_t size, unsigned variety)
{
    Bytes text(size);
    std::generate(text.begin(), text.end(),
                  [&] { return static_cast<uint8_t>(random() % variety); });
    return text;
}

TEST(ControlPointLzw, ExpandsWhatTheTelevisionCompresses)
{
    std::mt19937 random(3);
    for (int max_bits = 9; max_bits < 16; max_bits++) {
        for (const unsigned variety : {1U, 2U, 20U, 256U}) {
            const Bytes text = random_text(random, 60000, variety);
            const Expanded result = expand(encoded(text, max_bits));
            EXPECT_EQ(result.status, CP_OK) << max_bits << " " << variety;
            EXPECT_TRUE(result.bytes == text) << max_bits << " " << variety;
        }
    }
}

TEST(ControlPointLzw, ExpandsWhatTheTelevisionCompressesWhateverItsLength)
{
    std::mt19937 random(4);
    const Bytes text = random_text(random, 1400, 256); /* fills tables of 9 and of 10 bits */
    for (size_t size = 1; size <= text.size(); size++) {
        for (const int max_bits : {9, 10, 12}) {
            const Bytes part = front_of(text, size);
            const Expanded result = expand(encoded(part, max_bits));
            ASSERT_EQ(result.status, CP_OK) << max_bits << " " << size;
            ASSERT_TRUE(result.bytes == part) << max_bits << " " << size;
        }
    }
}

} // namespace
