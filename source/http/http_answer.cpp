/* SPDX-License-Identifier: MIT */
#include "http/http_answer.h"

#include <stdlib.h>
#include <string.h>

namespace
{

/* A part of the answer, borrowed. */
struct Span {
    const char *bytes;
    size_t size;
};

} // namespace

static const size_t VALUE_MAX = 9; /* characters; a number of nine digits does not overflow */

/* The first occurrence of the text in the span; null when there is none. */
static const char *find(Span in, const char *text)
{
    return static_cast<const char *>(memmem(in.bytes, in.size, text, strlen(text)));
}

/* Stores what follows the first occurrence of the text. False when there is none. */
static bool skip_past(Span in, const char *text, Span *rest)
{
    const char *found = find(in, text);
    if (found == nullptr) {
        return false;
    }
    rest->bytes = found + strlen(text);
    rest->size = in.size - static_cast<size_t>(rest->bytes - in.bytes);
    return true;
}

/* The Content-Length; 0 when it is missing or unusable. */
static uint32_t announced_length(Span answer)
{
    Span rest = {};
    if (!skip_past(answer, "Content-Length: ", &rest)) {
        return 0;
    }
    const char *line_end = find(rest, "\r\n");
    if (line_end == nullptr || static_cast<size_t>(line_end - rest.bytes) > VALUE_MAX) {
        return 0;
    }
    char value[VALUE_MAX + 1] = {};
    memcpy(value, rest.bytes, static_cast<size_t>(line_end - rest.bytes));
    const int number = atoi(value);
    return number > 0 ? static_cast<uint32_t>(number) : 0;
}

HttpAnswer http_answer_body(const char *bytes, uint32_t length, char **body)
{
    const Span answer = {bytes, strnlen(bytes, length)};
    *body = nullptr;
    const uint32_t announced = announced_length(answer);
    if (announced == 0) {
        return HTTP_ANSWER_NO_LENGTH;
    }
    const size_t size = announced < HTTP_ANSWER_MAX ? announced : HTTP_ANSWER_MAX;
    *body = static_cast<char *>(calloc(1, size + 1));
    if (*body == nullptr) {
        return HTTP_ANSWER_NO_MEMORY;
    }
    Span arrived = {};
    if (!skip_past(answer, "\r\n\r\n", &arrived)) {
        return HTTP_ANSWER_NO_BODY;
    }
    memcpy(*body, arrived.bytes, arrived.size < size ? arrived.size : size);
    return HTTP_ANSWER_WHOLE;
}
