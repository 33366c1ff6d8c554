/* SPDX-License-Identifier: MIT */
#include "tvlink/lzw.h"

#include "support/captured_lines.h"
#include "support/system_calls.h"
#include "unit/lzw/lzw_blocks.h"
#include "unit/lzw/lzw_model.h"
#include "unit/lzw/lzw_streams.h"

#include <gtest/gtest.h>

#include <cerrno>

namespace
{

using Texts = std::vector<std::string>;

/* Codes of nine bits, the last byte filled with zeros. */
Bytes nine_bits(const std::vector<uint32_t> &codes)
{
    CodeStream stream;
    for (const uint32_t code : codes) {
        stream.write(code, 9);
    }
    return stream.bytes();
}

void expect_content(const Bytes &stream, const Bytes &content)
{
    const CapturedLines lines;
    const Block out(lzw_decode(block_of(stream).get()));
    ASSERT_NE(out, nullptr);
    EXPECT_EQ(element_size(out.get()), 1u);
    EXPECT_EQ(hex(counted_bytes(out.get())), hex(content));
    EXPECT_EQ(lines.err(), Texts());
}

void expect_bad(const Bytes &stream, const std::string &line)
{
    const CapturedLines lines;
    EXPECT_EQ(lzw_decode(block_of(stream).get()), nullptr);
    EXPECT_EQ(lines.err(), Texts{line});
    EXPECT_EQ(lines.out(), Texts());
}

void expect_cut(const Bytes &stream, const Bytes &content)
{
    const CapturedLines lines;
    const Block out(lzw_decode(block_of(stream).get()));
    ASSERT_NE(out, nullptr);
    EXPECT_EQ(hex(counted_bytes(out.get())), hex(content));
    EXPECT_EQ(lines.err(), Texts{"Bits did not end in EOD\n"});
}

TEST(LzwDecode, ReadsWhatTheEncoderWrites)
{
    expect_content(bytes("20 C0 40"), text_bytes("A"));
    expect_content(bytes("20 90 A0 20"), text_bytes("AB"));
    expect_content(bytes("20 90 A0 50 48 08"), text_bytes("ABABABA"));
}

TEST(LzwDecode, ReadsACodeOfTheStringThatIsBeingMade)
{
    expect_content(nine_bits({'A', 258, 259, 257}), text_bytes("AAAAAA"));
    expect_content(nine_bits({'A', 'B', 258, 260, 257}), text_bytes("ABABABA"));
}

TEST(LzwDecode, NeedsNoClearCodeAndMindsNone)
{
    expect_content(nine_bits({256, 'A', 257}), text_bytes("A"));
    expect_content(nine_bits({256, 256, 'A', 256, 256, 'B', 257}), text_bytes("AB"));
}

TEST(LzwDecode, ForgetsItsStringsAtAClearCode)
{
    expect_bad(nine_bits({'A', 'B', 256, 258, 257}), "Bad sequence\n");
    expect_content(nine_bits({'A', 'B', 256, 'C', 258, 257}), text_bytes("ABCCC"));
}

TEST(LzwDecode, StopsAtTheEndCodeWhateverFollows)
{
    expect_content(nine_bits({'A', 257, 'B', 511, 257}), text_bytes("A"));
    expect_content(nine_bits({257}), {});
}

TEST(LzwDecode, RefusesACodeThatIsNotYetMade)
{
    expect_bad(nine_bits({300}), "Bad sequence\n");
    expect_bad(nine_bits({258}), "Bad sequence\n");
    expect_bad(nine_bits({'A', 259}), "Bad sequence\n");
    expect_bad(nine_bits({'A', 'B', 260}), "Bad sequence\n");
    expect_bad(nine_bits({511, 257}), "Bad sequence\n");
}

TEST(LzwDecode, GivesWhatAStreamHeldThatBreaksOff)
{
    expect_cut({}, {});
    expect_cut(bytes("80 00"), {});
    expect_cut(bytes("20 90"), text_bytes("A"));
    expect_cut(bytes("20 90 A0"), text_bytes("AB"));
    expect_cut(bytes("20 90 88 64 42 29 18 8E 48"), text_bytes("ABCDEFGH"));
}

TEST(LzwDecode, ReadsAByteThatIsLeftAsTheStartOfACodeThatEndsInZeros)
{
    expect_cut(bytes("20"), text_bytes("@"));
    expect_cut(bytes("20 90 88 64 42 29 18 8E 48 2A"), text_bytes("ABCDEFGHT"));
}

TEST(LzwDecode, GivesNothingForNoBlock)
{
    EXPECT_EQ(lzw_decode(nullptr), nullptr);
}

TEST(LzwDecode, TakesTheCountForTheLengthWhateverTheElementsAre)
{
    const CapturedLines lines;
    const Block in(mem_alloc(2, 3));
    memcpy(in.get(), "\x20\xC0\x40\xFF\xFF\xFF", 6);
    const Block out(lzw_decode(in.get()));
    EXPECT_EQ(hex(counted_bytes(out.get())), "41");
    EXPECT_EQ(memcmp(in.get(), "\x20\xC0\x40\xFF\xFF\xFF", 6), 0);
}

TEST(LzwDecode, RefusesWhatFollowsTheWrapOfTheCounter)
{
    CodeStream stream;
    for (int i = 0; i < 65278; i++) {
        stream.add('A');
    }
    EXPECT_EQ(stream.next(), 0u);
    CodeStream ended = stream;
    ended.add(257);
    expect_content(ended.bytes(), Bytes(65278, 'A'));
    CodeStream cleared = stream;
    cleared.add(256);
    cleared.add('B');
    cleared.add(257);
    expect_content(cleared.bytes(), joined({Bytes(65278, 'A'), text_bytes("B")}));
    for (const uint32_t code : {0u, 65u, 258u, 65535u}) {
        CodeStream more = stream;
        more.add(code);
        more.add(257);
        expect_bad(more.bytes(), "Bad sequence\n");
    }
}

/* Until the table is full but for the last code, with the input that makes it so. */
Bytes input_that_fills(uint32_t width)
{
    const size_t wanted = (size_t{1} << width) - 258;
    const Bytes input = random_bytes(wanted * 2, 1000 + width);
    size_t shortest = wanted;
    size_t longest = input.size();
    while (shortest < longest) {
        const size_t length = (shortest + longest) / 2;
        ModelEncoder model(16);
        model.encode(Bytes(input.begin(), input.begin() + static_cast<long>(length)));
        if (model.codes() < wanted) {
            shortest = length + 1;
        } else {
            longest = length;
        }
    }
    return Bytes(input.begin(), input.begin() + static_cast<long>(shortest));
}

TEST(LzwDecode, FindsTheNarrowEndBehindTheCodeThatFillsTheTable)
{
    for (uint32_t width = 9; width <= 15; width++) {
        const Bytes input = input_that_fills(width);
        for (const uint32_t max_bits : {width, width + 1}) {
            const Bytes stream = encoded(input, static_cast<int>(max_bits));
            EXPECT_NE(ModelDecoder(stream).strict().line, "") << "nothing is special " << width;
            expect_content(stream, input);
        }
    }
}

/* Single bytes until the codes are wider than this. */
CodeStream just_wider_than(uint32_t width, uint32_t clear_codes)
{
    CodeStream stream;
    for (uint32_t i = 0; i < clear_codes; i++) {
        stream.add(256);
    }
    while (stream.width() == width || stream.next() != 1u << width) {
        stream.add('A');
    }
    return stream;
}

/* The clear codes in front move the end to every place in a byte. */
TEST(LzwDecode, FindsTheNarrowEndWithUpToACodeOfBitsBehindIt)
{
    for (uint32_t width = 9; width <= 15; width++) {
        for (uint32_t clear_codes = 0; clear_codes < 8; clear_codes++) {
            CodeStream stream = just_wider_than(width, clear_codes);
            stream.write(257, width);
            const size_t end = stream.bits();
            Bytes whole = stream.bytes();
            for (; whole.size() * 8 - end <= width; whole.push_back(0)) {
                expect_content(whole, Bytes((1u << width) - 258, 'A'));
            }
            const CapturedLines lines;
            const Block out(lzw_decode(block_of(whole).get()));
            EXPECT_EQ(out == nullptr, width == 9);
            EXPECT_EQ(lines.err(),
                      Texts{width == 9 ? "Bad sequence\n" : "Bits did not end in EOD\n"});
        }
    }
}

TEST(LzwDecode, FindsNoNarrowEndBeforeTheLatestClearCode)
{
    CodeStream stream = just_wider_than(10, 7);
    stream.write(257, 10);
    stream.write(0, 1);        /* 514 with eleven bits, "AA" */
    stream.write(256 >> 3, 8); /* the clear code, with the zeros behind the end */
    ASSERT_EQ(stream.bits() % 8, 0u);
    expect_cut(stream.bytes(), Bytes(1024 - 258 + 2, 'A'));
}

TEST(LzwDecode, GivesNothingWhenMemoryIsOut)
{
    const Block in = block_of(model_encoded(random_bytes(5000, 7), 12));
    for (SystemFunction *function : SystemFunctions{&system_calloc, &system_realloc}) {
        const CapturedLines lines;
        WatchedCall memory(*function);
        const Block whole(lzw_decode(in.get()));
        ASSERT_NE(whole, nullptr);
        const long calls = memory.calls();
        ASSERT_GE(calls, 2);
        for (long failing = 1; failing <= calls; failing++) {
            memory.fail(ENOMEM, failing);
            EXPECT_EQ(lzw_decode(in.get()), nullptr) << failing;
        }
        EXPECT_EQ(lines.err(), Texts());
    }
}

} // namespace
