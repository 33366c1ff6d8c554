/* SPDX-License-Identifier: MIT */
/* What the body of an answer is, for good and for hostile bytes. */
#include "http/http_answer.h"

#include "support/system_calls.h"
#include "unit/http/http_texts.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>

#include <malloc.h>

namespace
{

struct Found {
    HttpAnswer answer;
    std::unique_ptr<char, void (*)(void *)> body;
};

/* The bytes stand at the end of a block of their own, so that a sanitizer sees a step too far. */
Found look(const std::string &answer)
{
    const std::unique_ptr<char[]> bytes(new char[answer.size()]);
    memcpy(bytes.get(), answer.data(), answer.size());
    char *body = reinterpret_cast<char *>(0x1);
    const HttpAnswer found =
        http_answer_body(bytes.get(), static_cast<uint32_t>(answer.size()), &body);
    return {found, {body, std::free}};
}

/* The body with all of its `size` bytes and the zero behind them; sanitizers know the block's end.
 */
std::string whole(const Found &found, size_t size)
{
    return found.body == nullptr ? "null" : std::string(found.body.get(), size + 1);
}

std::string with_length(const std::string &value, const std::string &body = "{}")
{
    return "HTTP/1.0 200 OK\r\nContent-Length: " + value + "\r\n\r\n" + body;
}

const std::string COMPLETE = "HTTP/1.0 200 OK\r\nServer: s\r\nContent-Length: 9\r\n\r\n{\"ok\": 1}";

void expect_body(const std::string &answer, const std::string &body)
{
    const Found found = look(answer);
    EXPECT_EQ(found.answer, HTTP_ANSWER_WHOLE) << answer;
    EXPECT_EQ(whole(found, body.size()), body + zeros(1)) << answer;
}

void expect_nothing(const std::string &answer)
{
    const Found found = look(answer);
    EXPECT_EQ(found.answer, HTTP_ANSWER_NO_LENGTH) << answer;
    EXPECT_EQ(found.body, nullptr) << answer;
}

void expect_zeros(const std::string &answer, size_t size)
{
    const Found found = look(answer);
    EXPECT_EQ(found.answer, HTTP_ANSWER_NO_BODY) << answer;
    EXPECT_EQ(whole(found, size), zeros(size + 1)) << answer;
}

TEST(HttpAnswer, HasTheBodyThatItAnnounces)
{
    expect_body(COMPLETE, "{\"ok\": 1}");
    expect_body(with_length("2"), "{}");
    expect_body(with_length("2", "ok"), "ok");
    expect_body(with_length("1", "{"), "{");
}

TEST(HttpAnswer, MayHaveAnyStatusOrNone)
{
    expect_body("HTTP/1.1 404 Not Found\r\nContent-Length: 2\r\n\r\nno", "no");
    expect_body("HTTP/1.0 500 Oh\r\nContent-Length: 2\r\n\r\nno", "no");
    expect_body("Content-Length: 2\r\n\r\nno", "no");
}

TEST(HttpAnswer, KeepsZerosWhereTheBodyIsShorterThanAnnounced)
{
    expect_body(with_length("5", "{}"), "{}" + zeros(3));
    expect_body(with_length("5", ""), zeros(5));
}

TEST(HttpAnswer, IsCutWhereTheBodyIsLongerThanAnnounced)
{
    expect_body(with_length("2", "{}more"), "{}");
    expect_body(with_length("1", "{}\r\n\r\n"), "{");
}

TEST(HttpAnswer, IsReadAtEveryLengthOfAGoodOne)
{
    const size_t line_end = COMPLETE.find("9\r\n") + 3;
    const size_t body = COMPLETE.find('{');
    for (size_t size = 0; size <= COMPLETE.size(); size++) {
        const std::string part = COMPLETE.substr(0, size);
        if (size < line_end) {
            expect_nothing(part);
        } else if (size < body) {
            expect_zeros(part, 9);
        } else {
            expect_body(part, part.substr(body) + zeros(COMPLETE.size() - size));
        }
    }
}

TEST(HttpAnswer, IsNothingWithoutAContentLength)
{
    expect_nothing("");
    expect_nothing("HTTP/1.0 200 OK\r\n\r\n{}");
    expect_nothing("HTTP/1.0 200 OK\r\ncontent-length: 2\r\n\r\n{}");
    expect_nothing("HTTP/1.0 200 OK\r\nContent-Length:2\r\n\r\n{}");
    expect_nothing("HTTP/1.0 200 OK\r\nContent-Length\r\n: 2\r\n\r\n{}");
    expect_nothing("HTTP/1.0 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n2\r\n{}\r\n0\r\n\r\n");
}

TEST(HttpAnswer, IsNothingWhenTheLengthIsZeroOrLess)
{
    for (const char *value : {"0", "-1", "-0", "+0", "000", "-99999999", "0x10"}) {
        expect_nothing(with_length(value));
    }
}

TEST(HttpAnswer, IsNothingWhenTheLengthIsNoNumber)
{
    for (const char *value : {"", " ", "two", "x2", "+-2", "+ 2", "\"2\"", ",2", "\r", "\n"}) {
        expect_nothing(with_length(value));
    }
}

TEST(HttpAnswer, ReadsTheLengthAsFarAsItIsANumber)
{
    for (const char *value : {"2", "02", "+2", " 2", "\t2", "\n2", "\v\f\r2", "000000002",
                              "       +2", "2x", "2 3", "2, 2", "2.9", "2\r", "2\n", "2;"}) {
        expect_body(with_length(value), "{}");
    }
}

TEST(HttpAnswer, TakesNineCharactersOfLengthAndNoMore)
{
    expect_body(with_length("        2"), "{}");
    expect_body(with_length("2        "), "{}");
    expect_nothing(with_length("         2"));
    expect_nothing(with_length("2         "));
    expect_nothing(with_length("0000000002"));
    expect_nothing(with_length("4294967298"));
    expect_nothing(with_length("-4294967294"));
    expect_nothing(with_length(std::string(100000, '1')));
}

TEST(HttpAnswer, NeedsTheEndOfTheLinesLength)
{
    expect_nothing("Content-Length: 2");
    expect_nothing("Content-Length: 2\r");
    expect_nothing("Content-Length: 2\n\n{}");
    expect_nothing("Content-Length: 2\r\r{}");
    expect_nothing("Content-Length: ");
}

TEST(HttpAnswer, TakesTheFirstContentLengthWhereverItStands)
{
    expect_body("Content-Length: 1\r\nContent-Length: 2\r\n\r\nok", "o");
    expect_body("HTTP/1.0 200 OK\r\n\r\nContent-Length: 4\r\n", "Cont");
    expect_body("X-Content-Length: 2\r\n\r\nok", "ok");
    expect_nothing("Content-Length: 0\r\nContent-Length: 2\r\n\r\nok");
}

TEST(HttpAnswer, HasNoBodyWithoutABlankLine)
{
    expect_zeros("HTTP/1.0 200 OK\r\nContent-Length: 2\r\n{}", 2);
    expect_zeros("HTTP/1.0 200 OK\nContent-Length: 2\r\n\n{}\n\r\n\n", 2);
    expect_zeros("Content-Length: 30\r\n\r", 30);
}

TEST(HttpAnswer, IsNotSeenBehindAZeroByte)
{
    expect_nothing("HTTP/1.0 200 OK\r\n" + zeros(1) + "Content-Length: 2\r\n\r\n{}");
    expect_nothing("Content-Len" + zeros(1) + "gth: 2\r\n\r\n{}");
    expect_nothing("Content-Length: 2" + zeros(1) + "\r\n\r\n{}");
    expect_zeros("Content-Length: 2\r\n" + zeros(1) + "\r\n{}", 2);
    expect_zeros("Content-Length: 2\r\nX: " + zeros(1) + "\r\n\r\n{}", 2);
    expect_body(with_length("5", "{" + zeros(1) + "abc"), "{" + zeros(4));
    expect_body(with_length("3", zeros(1) + "{}"), zeros(3));
}

TEST(HttpAnswer, GivesNoMoreRoomThanAnAnswerCanFill)
{
    const std::string most(HTTP_ANSWER_MAX - 1, 'b');
    expect_body(with_length("1048575", most), most);
    expect_body(with_length("1048576", most), most + zeros(1));
    for (const char *announced : {"1048576", "1048577", "999999999"}) {
        const Found found = look(with_length(announced, most + "xyz"));
        EXPECT_EQ(whole(found, HTTP_ANSWER_MAX), most + "x" + zeros(1));
        EXPECT_LT(malloc_usable_size(found.body.get()), 2 * HTTP_ANSWER_MAX);
    }
    expect_body(with_length("999999999"), "{}" + zeros(HTTP_ANSWER_MAX - 2));
    expect_zeros("Content-Length: 999999999\r\n", HTTP_ANSWER_MAX);
}

TEST(HttpAnswer, IsNullWhenMemoryIsOut)
{
    WatchedCall blocks(system_calloc);
    for (const char *announced : {"2", "999999999"}) {
        blocks.fail(ENOMEM);
        const Found found = look(with_length(announced));
        EXPECT_EQ(found.answer, HTTP_ANSWER_NO_MEMORY);
        EXPECT_EQ(found.body, nullptr);
        EXPECT_EQ(blocks.calls(), 1);
    }
    blocks.fail(ENOMEM);
    expect_nothing(with_length("0"));
    EXPECT_EQ(blocks.calls(), 0);
}

TEST(HttpAnswer, KeepsBytesOfEveryValueButZero)
{
    std::string every;
    for (int byte = 1; byte < 256; byte++) {
        every.push_back(static_cast<char>(byte));
    }
    expect_body(with_length("255", every), every);
}

} // namespace
