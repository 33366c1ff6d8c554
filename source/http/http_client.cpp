/* SPDX-License-Identifier: MIT */
#include "tvlink/host/http_client.h"

#include "base/log.h"
#include "http/http_answer.h"
#include "tvlink/host/socket.h"

#include <arpa/inet.h>
#include <stddef.h>
#include <stdint.h>
#include <stdlib.h>
#include <string.h>
#include <sys/socket.h>
#include <unistd.h>

static_assert(offsetof(WebTcpClient, fd) == 0, "");
static_assert(offsetof(WebTcpClient, port) == 4, "");
static_assert(offsetof(WebTcpClient, address) == 8, "");
static_assert(offsetof(WebTcpClient, server) == 24, "");
static_assert(offsetof(WebTcpClient, connected) == 40, "");
static_assert(sizeof(WebTcpClient) == 44, "");

static const int SEND_SECONDS = 1;
static const int RECEIVE_SECONDS = 10;
static const int ATTEMPTS = 3;
static const useconds_t CONNECT_PAUSE_US = 1000000;
static const useconds_t RECEIVE_PAUSE_US = 1000;

/* Written into the padding of the socket address once the descriptor is closed. */
static const char CLOSED[] = "closed";

static void mark_closed(WebTcpClient *client)
{
    static_assert(sizeof CLOSED <= sizeof client->server.sin_zero, "");
    memcpy(client->server.sin_zero, CLOSED, sizeof CLOSED);
}

/* -1, on which every call fails, once the descriptor is closed: its number may be in use again. */
static int descriptor_of(const WebTcpClient *client)
{
    return memcmp(client->server.sin_zero, CLOSED, sizeof CLOSED) == 0 ? -1 : client->fd;
}

/* False when the address is null or too long. */
static bool set_server(WebTcpClient *client, const char *address, int port)
{
    const size_t size = address == nullptr ? 0 : strlen(address) + 1;
    if (size == 0 || size > sizeof client->address) {
        return false;
    }
    client->port = port;
    memcpy(client->address, address, size);
    client->server.sin_family = AF_INET;
    client->server.sin_port = htons(static_cast<uint16_t>(port));
    client->server.sin_addr.s_addr = inet_addr(address);
    return true;
}

int web_tcpclient_create(WebTcpClient *client, const char *address, int port)
{
    if (client == nullptr) {
        return -1;
    }
    WebTcpClient fresh = {};
    fresh.fd = -1;
    const bool valid = set_server(&fresh, address, port);
    *client = fresh; /* last: the address may point into the record */
    if (!valid) {
        return -1;
    }
    client->fd = soc_create(AF_INET, SOCK_STREAM, 0, SEND_SECONDS, RECEIVE_SECONDS);
    if (client->fd == -1) {
        return -3;
    }
    soc_setNoBlock(client->fd, 0);
    return 0;
}

static bool connect_with_retries(const WebTcpClient *client)
{
    const struct sockaddr *server = reinterpret_cast<const struct sockaddr *>(&client->server);
    bool connected = false;
    for (int attempt = 0; attempt < ATTEMPTS && !connected; attempt++) {
        connected = connect(descriptor_of(client), server, sizeof client->server) == 0;
        usleep(CONNECT_PAUSE_US);
    }
    return connected;
}

int web_tcpclient_conn(WebTcpClient *client)
{
    if (client == nullptr) {
        return -1;
    }
    if (client->connected != 0) {
        return 1;
    }
    if (!connect_with_retries(client)) {
        log_trace("web_tcpclient_conn", 52);
        close(descriptor_of(client));
        mark_closed(client);
        return -1;
    }
    client->connected = 1;
    return 0;
}

int web_tcpclient_send(WebTcpClient *client, const void *data, int length)
{
    if (client == nullptr || (data == nullptr && length > 0)) {
        return -1;
    }
    const char *bytes = static_cast<const char *>(data);
    int sent = 0;
    while (sent < length) {
        const ssize_t taken = send(descriptor_of(client), bytes + sent,
                                   static_cast<size_t>(length - sent), MSG_NOSIGNAL);
        if (taken == -1) {
            return -1;
        }
        sent += static_cast<int>(taken);
    }
    return sent;
}

static uint32_t receive_all(int fd, char *buffer)
{
    uint32_t used = 0;
    while (used < HTTP_ANSWER_MAX) {
        const ssize_t arrived = recv(fd, buffer + used, HTTP_ANSWER_MAX - used, 0);
        if (arrived < 1) {
            break;
        }
        used += static_cast<uint32_t>(arrived);
        usleep(RECEIVE_PAUSE_US);
    }
    return used;
}

int web_tcpclient_recv(WebTcpClient *client, char **out, int)
{
    if (out == nullptr) {
        return -1;
    }
    *out = nullptr;
    if (client == nullptr) {
        return -1;
    }
    char *buffer = static_cast<char *>(malloc(HTTP_ANSWER_MAX + 1));
    if (buffer == nullptr) {
        return 0;
    }
    const uint32_t arrived = receive_all(descriptor_of(client), buffer);
    buffer[arrived] = '\0';
    log_trace("web_tcpclient_recv", 75);
    close(descriptor_of(client));
    mark_closed(client);
    *out = buffer;
    return static_cast<int>(arrived);
}

int web_tcpclient_close(WebTcpClient *client)
{
    if (client == nullptr) {
        return -1;
    }
    log_trace("web_tcpclient_close", 104);
    soc_close(descriptor_of(client));
    mark_closed(client);
    client->connected = 0;
    return 0;
}
