/* SPDX-License-Identifier: MIT */
#include "base/log.h"
#include "http/http_answer.h"
#include "tvlink/host/http_client.h"

#include <limits.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

namespace
{

/* The whole request, including the zero byte behind the body. */
struct Request {
    char *text; /* null: an argument is invalid, or memory is out */
    int length;
};

/* The header lines that differ between requests. */
struct RequestLines {
    char request[300];
    char host[100];
    char length[100];
};

enum Step { STEP_CONNECT, STEP_SEND, STEP_RECEIVE, NO_STEP };

/* The step that failed, and otherwise the result for the answer. */
struct Outcome {
    Step failed;
    HttpAnswer answer;
};

} // namespace

static const char CONSTANT_LINES[] = "Content-Type: application/json\r\nAccept: */*\r\n";

/* An int holds the size of a request. */
static const size_t BODY_MAX = INT_MAX - sizeof(RequestLines) - sizeof CONSTANT_LINES;

static bool fits(int length, size_t size)
{
    return length >= 0 && static_cast<size_t>(length) < size;
}

static bool write_lines(RequestLines *lines, const WebTcpClient *client, const char *path,
                        size_t length)
{
    const int request =
        snprintf(lines->request, sizeof lines->request, "POST %s HTTP/1.0\r\n", path);
    const int size = sizeof client->address; /* the host may have overwritten the terminator */
    const int host = snprintf(lines->host, sizeof lines->host, "HOST: %.*s:%d\r\n", size,
                              client->address, client->port);
    snprintf(lines->length, sizeof lines->length, "Content-Length: %d\r\n\r\n",
             static_cast<int>(length));
    return fits(request, sizeof lines->request) && fits(host, sizeof lines->host);
}

static Request make_request(const WebTcpClient *client, const char *path, const char *body)
{
    const Request none = {nullptr, 0};
    if (client == nullptr || path == nullptr || body == nullptr) {
        return none;
    }
    RequestLines lines = {};
    const size_t body_length = strlen(body);
    if (body_length > BODY_MAX || !write_lines(&lines, client, path, body_length)) {
        return none;
    }
    const size_t size = strlen(lines.request) + strlen(lines.host) + strlen(CONSTANT_LINES) +
                        strlen(lines.length) + body_length + 1;
    char *text = static_cast<char *>(malloc(size));
    if (text == nullptr) {
        return none;
    }
    snprintf(text, size, "%s%s%s%s%s", lines.request, lines.host, CONSTANT_LINES, lines.length,
             body);
    return {text, static_cast<int>(size)};
}

static Step send_request(WebTcpClient *client, const Request *request)
{
    if (web_tcpclient_conn(client) == -1) {
        return STEP_CONNECT;
    }
    return web_tcpclient_send(client, request->text, request->length) == -1 ? STEP_SEND : NO_STEP;
}

static Outcome receive_answer(WebTcpClient *client, char **body)
{
    char *bytes = nullptr;
    const int length = web_tcpclient_recv(client, &bytes, 0);
    Outcome outcome = {STEP_RECEIVE, HTTP_ANSWER_NO_LENGTH};
    if (length > 0) {
        outcome = {NO_STEP, http_answer_body(bytes, static_cast<uint32_t>(length), body)};
    }
    free(bytes);
    return outcome;
}

/* Frees the text of the request. */
static Outcome exchange(WebTcpClient *client, const Request *request, char **body)
{
    const Step failed = send_request(client, request);
    free(request->text);
    return failed == NO_STEP ? receive_answer(client, body)
                             : Outcome{failed, HTTP_ANSWER_NO_LENGTH};
}

static void print_failure(Step failed, const char *function)
{
    switch (failed) {
    case STEP_CONNECT:
        log_out("error:web_tcpclient_conn():%s-%d\n", function, 142);
        break;
    case STEP_SEND:
        log_out("error:web_tcpclient_send():%s-%d\n", function, 149);
        break;
    case STEP_RECEIVE:
        log_out("error:web_tcpclient_recv():%s-%d\n", function, 158);
        break;
    case NO_STEP:
        break;
    }
}

int http_post(WebTcpClient *client, const char *path, const char *body, char **out)
{
    if (out == nullptr) {
        return -1;
    }
    const Request request = make_request(client, path, body);
    if (request.text == nullptr) {
        return -1;
    }
    *out = nullptr;
    const Outcome outcome = exchange(client, &request, out);
    print_failure(outcome.failed, "http_post");
    int result = 0;
    if (outcome.answer != HTTP_ANSWER_WHOLE || **out != '{') {
        free(*out);
        *out = nullptr;
        result = -1;
    }
    log_trace("http_post", 217);
    return result;
}

int http_post_string(WebTcpClient *client, const char *path, const char *body, char **out)
{
    if (out == nullptr) {
        return -1;
    }
    *out = nullptr;
    const Request request = make_request(client, path, body);
    if (request.text == nullptr) {
        return -1;
    }
    if (exchange(client, &request, out).answer == HTTP_ANSWER_WHOLE) {
        return 1;
    }
    log_trace("http_post_string", 313);
    return -1;
}
