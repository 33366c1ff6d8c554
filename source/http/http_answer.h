/* The body in the bytes of an HTTP answer. No socket, no lines, nothing kept: any bytes have an
 * answer. What stands behind a zero byte is not seen. */
#pragma once

#include <stdint.h>

/* No more of an answer is received, so no body is longer. */
const uint32_t HTTP_ANSWER_MOST = 1048576;

enum HttpAnswer {
    HTTP_ANSWER_WHOLE,
    HTTP_ANSWER_NO_LENGTH, /* no Content-Length above 0 */
    HTTP_ANSWER_NO_MEMORY,
    HTTP_ANSWER_NO_BODY /* no blank line */
};

/* Writes the body as a text that the caller frees: as much as arrived of what Content-Length
 * announces, and zeros up to its end. Without a blank line there are only zeros; in the other two
 * cases the body is null. The first Content-Length counts wherever it stands, even behind the blank
 * line; one of more than nine characters counts as none. The status is not looked at. */
HttpAnswer http_answer_body(const char *bytes, uint32_t length, char **body);
