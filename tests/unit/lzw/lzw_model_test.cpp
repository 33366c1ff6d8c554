/* SPDX-License-Identifier: MIT */
/* The codec against a slow model of it, over inputs long enough for many clear codes. */
#include "support/captured_lines.h"
#include "unit/lzw/lzw_blocks.h"
#include "unit/lzw/lzw_model.h"
#include "unit/lzw/lzw_streams.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace
{

struct Input {
    const char *name;
    Bytes content;
};

Bytes like_text(size_t length)
{
    const char *const words[] = {"the ",    "news ",  "at ",       "eight ",   "film ",  "of ",
                                 "weather", ", ",     "tomorrow",  "football", ". ",     "series ",
                                 "a ",      "town ",  "detective", " in ",     "sports", "\n",
                                 "19:30 ",  "Live: ", "repeat "};
    Random random(42);
    std::string text;
    while (text.size() < length) {
        text += words[random.below(sizeof words / sizeof *words)];
    }
    return text_bytes(text.substr(0, length));
}

/* Mostly zeros between few letters, as in a list of fixed cells. */
Bytes like_cells(size_t length)
{
    Random random(43);
    Bytes cells(length, 0);
    for (size_t cell = 0; cell + 256 <= length; cell += 256) {
        cells[cell] = static_cast<uint8_t>(cell / 256);
        const size_t letters = 5 + random.below(20);
        for (size_t i = 0; i < letters; i++) {
            cells[cell + 4 + i] = static_cast<uint8_t>('a' + random.below(26));
            cells[cell + 132 + i] = static_cast<uint8_t>('0' + random.below(10));
        }
    }
    return cells;
}

/* Runs whose lengths grow, so that nearly every code is of the string that is being made. */
Bytes growing_runs(size_t length)
{
    Bytes runs;
    for (size_t run = 1; runs.size() < length; run++) {
        runs.insert(runs.end(), run, static_cast<uint8_t>(run * 37));
    }
    runs.resize(length);
    return runs;
}

/* Every pair of bytes once before any comes again: no string is ever found. */
Bytes all_pairs(size_t length)
{
    Bytes pairs;
    for (uint32_t i = 0; pairs.size() < length; i++) {
        pairs.push_back(static_cast<uint8_t>(i));
        pairs.push_back(static_cast<uint8_t>(i >> 8 ^ i * 3));
    }
    pairs.resize(length);
    return pairs;
}

std::vector<Input> inputs(size_t length)
{
    return {{"random", random_bytes(length, 1)},
            {"two letters", random_bytes(length, 2, 2)},
            {"sixteen letters", random_bytes(length, 3, 16)},
            {"text", like_text(length)},
            {"cells", like_cells(length)},
            {"zeros", Bytes(length, 0)},
            {"ones", Bytes(length, 0xFF)},
            {"growing runs", growing_runs(length)},
            {"all pairs", all_pairs(length)}};
}

Decoded decoded(const Bytes &stream)
{
    const CapturedLines lines;
    const Block out(lzw_decode(block_of(stream).get()));
    const std::vector<std::string> printed = lines.err();
    EXPECT_LE(printed.size(), 1u);
    return {out == nullptr, out == nullptr ? Bytes() : counted_bytes(out.get()),
            printed.empty() ? "" : printed[0]};
}

/* Long enough for three clear codes after random bytes, and for one after text. */
size_t enough_for(int max_bits)
{
    return (size_t{1} << max_bits) * 5;
}

class LzwWidths : public testing::TestWithParam<int>
{
};

TEST_P(LzwWidths, AgreeWithTheModelInBothDirections)
{
    const int max_bits = GetParam();
    for (const Input &input : inputs(enough_for(max_bits))) {
        const Bytes stream = model_encoded(input.content, max_bits);
        ASSERT_TRUE(encoded(input.content, max_bits) == stream) << input.name;
        const Decoded expected = ModelDecoder(stream).decode();
        EXPECT_TRUE(decoded(stream) == expected) << input.name;
        EXPECT_TRUE(max_bits == 16 || (expected.line.empty() && expected.content == input.content))
            << input.name;
    }
}

TEST_P(LzwWidths, AgreeWithTheModelOnEveryShortLength)
{
    const int max_bits = GetParam();
    const Bytes whole = random_bytes(600, 4, 7);
    for (size_t length = 1; length <= whole.size(); length++) {
        const Bytes input(whole.begin(), whole.begin() + static_cast<long>(length));
        const Bytes stream = model_encoded(input, max_bits);
        ASSERT_EQ(hex(encoded(input, max_bits)), hex(stream)) << length;
        ASSERT_TRUE(decoded(stream) == (Decoded{false, input, ""})) << length;
    }
}

INSTANTIATE_TEST_SUITE_P(Lzw, LzwWidths, testing::Values(9, 10, 11, 12, 13, 14, 15, 16));

TEST(LzwModel, AgreesBeyondTheWrapOfTheCodeCounter)
{
    for (const Input &input : {Input{"random", random_bytes(400000, 5)},
                               Input{"sixteen letters", random_bytes(700000, 6, 16)},
                               Input{"all pairs", all_pairs(400000)}}) {
        ModelEncoder model(16);
        const Bytes stream = model.encode(input.content);
        ASSERT_TRUE(encoded(input.content, 16) == stream) << input.name;
        ASSERT_GT(model.codes(), 2 * 65536u) << input.name;
        const Decoded expected = ModelDecoder(stream).decode();
        EXPECT_EQ(expected.line, "Bad sequence\n");
        EXPECT_TRUE(expected.null);
        EXPECT_TRUE(decoded(stream) == expected) << input.name;
    }
}

TEST(LzwModel, AgreesOnEveryPlaceWhereAStreamMayBreakOff)
{
    const Bytes stream = model_encoded(random_bytes(2500, 8, 40), 9);
    for (size_t length = 0; length <= stream.size(); length++) {
        const Bytes part(stream.begin(), stream.begin() + static_cast<long>(length));
        ASSERT_TRUE(decoded(part) == ModelDecoder(part).decode()) << length;
    }
}

TEST(LzwModel, AgreesOnRandomBytes)
{
    Random random(9);
    for (uint32_t round = 0; round < 3000; round++) {
        const Bytes stream = random_bytes(random.below(40), round);
        ASSERT_TRUE(decoded(stream) == ModelDecoder(stream).decode()) << hex(stream);
    }
}

TEST(LzwModel, AgreesOnStreamsWithBitsTurned)
{
    const Bytes stream = model_encoded(like_text(6000), 10);
    Random random(10);
    for (uint32_t round = 0; round < 300; round++) {
        Bytes turned = stream;
        turned[random.below(static_cast<uint32_t>(turned.size()))] ^=
            static_cast<uint8_t>(1u << random.below(8));
        ASSERT_TRUE(decoded(turned) == ModelDecoder(turned).decode()) << round;
    }
}

/* Mostly codes that a decoder accepts: single bytes, any string, the one just made, and rarely
 * those that clear, end or stand for nothing. */
uint32_t some_code(Random *random, uint32_t next, uint32_t width, uint32_t oddness)
{
    const uint32_t choice = random->below(oddness);
    switch (choice) {
    case 0:
        return 256;
    case 1:
        return random->below(1u << width);
    case 2:
        return next;
    default:
        return choice % 3 == 0 || next <= 258 ? random->below(256)
               : choice % 3 == 1              ? next - 1 - random->below(std::min(3u, next - 258))
                                              : 258 + random->below(next - 258);
    }
}

TEST(LzwModel, AgreesOnStreamsOfOddCodes)
{
    Random random(11);
    for (uint32_t round = 0; round < 400; round++) {
        CodeStream stream;
        const uint32_t codes = random.below(900);
        const uint32_t oddness = 40U << random.below(6);
        for (uint32_t i = 0; i < codes; i++) {
            stream.add(some_code(&random, stream.next(), stream.width(), oddness));
        }
        if (random.below(2) == 0) {
            stream.add(257);
        }
        ASSERT_TRUE(decoded(stream.bytes()) == ModelDecoder(stream.bytes()).decode()) << round;
    }
}

TEST(LzwModel, AgreesOnAValidStreamThroughEveryWidthAndTheWrap)
{
    Random random(12);
    CodeStream stream;
    while (stream.next() != 0) {
        const uint32_t made = stream.next() - 258;
        stream.add(random.below(2) == 0 || made == 0 ? random.below(256)
                                                     : 258 + random.below(made));
    }
    CodeStream ended = stream;
    ended.add(257);
    const Decoded content = ModelDecoder(ended.bytes()).decode();
    EXPECT_EQ(content.line, "");
    EXPECT_TRUE(decoded(ended.bytes()) == content);
    stream.add('A');
    EXPECT_EQ(ModelDecoder(stream.bytes()).decode().line, "Bad sequence\n");
    EXPECT_TRUE(decoded(stream.bytes()) == ModelDecoder(stream.bytes()).decode());
}

} // namespace
