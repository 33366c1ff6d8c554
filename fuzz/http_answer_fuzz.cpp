/* SPDX-License-Identifier: MIT */
/* The body of an HTTP answer, from arbitrary bytes.
 *
 * Under test: source/http/http_answer.cpp */
#include "http/http_answer.h"
#include "support/fuzz_input.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <string>

static const std::string LENGTH_NAME = "Content-Length: ";
static const size_t MAX_VALUE_LENGTH = 9;

/* The answer up to the first zero byte. */
static std::string text_before_zero(const uint8_t *data, size_t size)
{
    const uint8_t *end = std::find(data, data + size, uint8_t{0});
    return std::string(data, end);
}

/* The announced length; 0 when there is none. */
static size_t announced(const std::string &answer)
{
    const size_t name = answer.find(LENGTH_NAME);
    if (name == std::string::npos) {
        return 0;
    }
    const size_t value = name + LENGTH_NAME.size();
    const size_t end = answer.find("\r\n", value);
    if (end == std::string::npos || end - value > MAX_VALUE_LENGTH) {
        return 0;
    }
    return static_cast<size_t>(std::max(atoi(answer.substr(value, end - value).c_str()), 0));
}

static HttpAnswer expected_result(const std::string &answer)
{
    if (announced(answer) == 0) {
        return HTTP_ANSWER_NO_LENGTH;
    }
    return answer.find("\r\n\r\n") == std::string::npos ? HTTP_ANSWER_NO_BODY : HTTP_ANSWER_WHOLE;
}

static std::string expected_body(const std::string &answer)
{
    const size_t blank = answer.find("\r\n\r\n");
    const size_t most = std::min<size_t>(announced(answer), HTTP_ANSWER_MAX);
    return blank == std::string::npos ? "" : answer.substr(blank + 4, most);
}

/* The body's buffer has the announced size, up to the limit, and one byte more; the bytes after the
 * text are zero. */
static void check_body(const std::string &answer, const char *body)
{
    const std::string text = expected_body(answer);
    const size_t size = std::min<size_t>(announced(answer), HTTP_ANSWER_MAX) + 1;
    must(text.size() < size, "the body is no longer than announced, and ends in zero");
    must(memcmp(body, text.data(), text.size()) == 0, "the body is what has arrived");
    const char *padding = body + text.size();
    const size_t rest = size - text.size();
    must(padding[0] == 0 && memcmp(padding, padding + 1, rest - 1) == 0,
         "behind the body there are zeros");
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const std::unique_ptr<uint8_t[]> bytes = fuzz_copy(data, size);
    char unset = 0;
    char *body = &unset;
    const HttpAnswer result = http_answer_body(reinterpret_cast<const char *>(bytes.get()),
                                               static_cast<uint32_t>(size), &body);
    const std::string answer = text_before_zero(data, size);
    must(result == expected_result(answer), "the answer is told by its length and its blank line");
    must((body == nullptr) == (result == HTTP_ANSWER_NO_LENGTH), "a length above 0 gives a text");
    if (body != nullptr) {
        check_body(answer, body);
    }
    free(body);
    return 0;
}
