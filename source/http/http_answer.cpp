#include "http/http_answer.h"

#include <stdlib.h>
#include <string.h>

namespace
{

/* Part of an answer, borrowed. */
struct Span {
    const char *bytes;
    size_t size;
};

} // namespace

static const size_t VALUE_MOST = 9; /* characters; no number of so many overflows */

/* Where the text begins in the span; null when it does not. */
static const char *find(Span in, const char *text)
{
    return static_cast<const char *>(memmem(in.bytes, in.size, text, strlen(text)));
}

/* What follows the first such text. False when there is none. */
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

/* 0 when there is no length that can be used. */
static uint32_t announced_length(Span answer)
{
    Span rest = {};
    if (!skip_past(answer, "Content-Length: ", &rest)) {
        return 0;
    }
    const char *line_end = find(rest, "\r\n");
    if (line_end == nullptr || static_cast<size_t>(line_end - rest.bytes) > VALUE_MOST) {
        return 0;
    }
    char value[VALUE_MOST + 1] = {};
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
    const size_t most = announced < HTTP_ANSWER_MOST ? announced : HTTP_ANSWER_MOST;
    *body = static_cast<char *>(calloc(1, most + 1));
    if (*body == nullptr) {
        return HTTP_ANSWER_NO_MEMORY;
    }
    Span arrived = {};
    if (!skip_past(answer, "\r\n\r\n", &arrived)) {
        return HTTP_ANSWER_NO_BODY;
    }
    memcpy(*body, arrived.bytes, arrived.size < most ? arrived.size : most);
    return HTTP_ANSWER_WHOLE;
}
