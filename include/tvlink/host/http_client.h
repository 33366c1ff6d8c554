/* SPDX-License-Identifier: MIT */
/* A small HTTP/1.0 client: posts a JSON text to a server and returns the body of the answer.
 *
 * One post is one connection and one record:
 *
 *     WebTcpClient client;
 *     char *answer = NULL;
 *     if (web_tcpclient_create(&client, "192.0.2.10", 8080) == 0) {
 *         if (http_post(&client, "/api/state", "{\"on\": true}", &answer) == 0) {
 *             puts(answer);
 *         }
 *         free(answer);
 *         web_tcpclient_close(&client);
 *     }
 *
 * For the next post the record is created again. A record is owned by the caller, is used by one
 * thread at a time and is not copied while in use; different records share nothing, so any number
 * of threads may post at once. Every call but web_tcpclient_create and web_tcpclient_close blocks.
 * Lines about what happened go to standard output or the log sink. */
#ifndef TVLINK_HOST_HTTP_CLIENT_H
#define TVLINK_HOST_HTTP_CLIENT_H

#include "tvlink/api.h"

#include <netinet/in.h>

TVLINK_BEGIN

/* Filled by web_tcpclient_create. A client whose descriptor has been closed (after an answer was
 * received, after a failed connect, by web_tcpclient_close) keeps the number but never uses it
 * again, because the system may have reused it: every call fails as on a closed descriptor. */
typedef struct WebTcpClient {
    int fd;                    /* of the socket; see above */
    int port;                  /* that is connected to */
    char address[16];          /* dotted IPv4 text */
    struct sockaddr_in server; /* its padding is reserved for the library */
    int connected;             /* 1 after a successful connect, 0 after web_tcpclient_close */
} WebTcpClient;

/* Makes a record for a server and the socket to reach it: blocking, close-on-exec, time-outs of 1 s
 * for sending and 10 s for each receive.
 *
 * address  dotted IPv4 text of at most 15 characters, copied: it may stand in the record itself.
 *          Names are not resolved.
 * port     its low 16 bits are connected to
 *
 * 0; -1 without a record or an address, or when the address is too long; -3 when no socket could be
 * made. After a failure nothing needs to be closed. The record is overwritten without being
 * closed: close a client in use first. Does not block. */
TVLINK_API int web_tcpclient_create(WebTcpClient *client, const char *address, int port);

/* Connects. Tries three times and sleeps a second after each attempt, the successful one too; one
 * attempt may last a second itself. 0; 1 when it was connected already; -1 without a record, or
 * after a line when all attempts failed: the socket is closed and the record must be created
 * again. */
TVLINK_API int web_tcpclient_conn(WebTcpClient *client);

/* Sends all bytes. Returns their number, or -1 at the first failure, which may come after a part of
 * them: when nothing can be sent for a second, or the server has closed (no signal is raised). */
TVLINK_API int web_tcpclient_send(WebTcpClient *client, const void *data, int length);

/* Receives until the server closes the connection, nothing came for 10 seconds, the connection
 * failed or 1 MiB has arrived; then prints a line and closes the socket. The connected flag stays
 * as it is.
 *
 * out     gets a block, never shorter than what arrived and one zero byte behind it, that the
 *         caller frees, also when nothing arrived; null when memory is out
 * unused  ignored
 *
 * Returns the number of bytes; 0 when none came, or when memory is out: then nothing was read and
 * the socket is still open. -1 without a record or without out. */
TVLINK_API int web_tcpclient_recv(WebTcpClient *client, char **out, int unused);

/* Closes the socket, unless it is closed, and clears the connected flag, after a line. 0; -1
 * without a record. Does not block. */
TVLINK_API int web_tcpclient_close(WebTcpClient *client);

/* Posts a JSON text and returns the JSON object that the server answers. Connects first when the
 * record is not connected.
 *
 * path, body  borrowed texts. The path is sent as it is; with it the request line may have 299
 *             characters, so it has at most 283.
 * out         gets the body of the answer, a text that the caller frees; null after a failure
 *
 * 0; -1 when an argument is missing or too long or memory is out (out keeps its value when this
 * is found before anything was sent); when the server cannot be reached, does not take the request
 * or does not answer, after a line; when the answer announces no length above 0 (Content-Length,
 * written like this, of at most nine characters), has no blank line, or has a body that does not
 * begin with "{". Its status is ignored: a 404 with an object is a success. A body that is
 * shorter than announced is accepted, a longer one is cut, and a zero byte ends it. More than
 * 1 MiB of an answer is not read.
 *
 * Blocks for 1 to 6 seconds to connect, and then until the server closes the connection or has been
 * silent for 10 seconds. The request ends with a zero byte behind the body. The record is not
 * closed, but nothing more can be received through it. */
TVLINK_API int http_post(WebTcpClient *client, const char *path, const char *body, char **out);

/* As http_post, for an answer of any text: 1 for success. `out` is null from the beginning. Prints
 * no line about a server that cannot be reached or does not answer. An answer without a blank line
 * is a failure, too, but leaves a text of zeros in out, which the caller frees. */
TVLINK_API int http_post_string(WebTcpClient *client, const char *path, const char *body,
                                char **out);

TVLINK_END

#endif
