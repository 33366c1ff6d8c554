/* SPDX-License-Identifier: MIT */
/* Extracts the body from the bytes of an HTTP answer. Pure: no socket, no lines, no state. Any
 * input is valid; a zero byte ends it. */
#pragma once

#include <stdint.h>

/* The most bytes of an answer that are received; no body is longer. */
const uint32_t HTTP_ANSWER_MAX = 1048576;

enum HttpAnswer {
    HTTP_ANSWER_WHOLE,
    HTTP_ANSWER_NO_LENGTH, /* no Content-Length above 0 */
    HTTP_ANSWER_NO_MEMORY,
    HTTP_ANSWER_NO_BODY /* no blank line */
};

/* Stores the body as a text that the caller frees. Its size is the Content-Length, at most
 * HTTP_ANSWER_MAX; bytes that have not arrived are zero, without a blank line (HTTP_ANSWER_NO_BODY)
 * all of them. For HTTP_ANSWER_NO_LENGTH and HTTP_ANSWER_NO_MEMORY the body is null. The first
 * Content-Length counts wherever it stands, even behind the blank line; one of more than nine
 * characters counts as none. The status is ignored. */
HttpAnswer http_answer_body(const char *bytes, uint32_t length, char **body);
