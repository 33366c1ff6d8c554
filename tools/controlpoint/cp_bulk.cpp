/* SPDX-License-Identifier: MIT */
/* A bulk transfer has a connection of its own: a 4-byte length, then that many bytes. */
#include "controlpoint_calls.h"

#include "cp_clock.h"
#include "cp_connection.h"
#include "cp_socket.h"
#include "cp_writer.h"

#include <algorithm>
#include <arpa/inet.h>
#include <cerrno>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

enum { LENGTH_SIZE = 4, CHUNK_SIZE = 65536 };

struct Transfer {
    CpConnection *connection; /* for cp_problem */
    int descriptor;
    int64_t deadline;
    CpBuffer *data;
};

/* Reads once, at most `size` bytes. CP_OK also after a spurious wake-up. */
static CpStatus read_once(Transfer *transfer, size_t size)
{
    CpBuffer *data = transfer->data;
    const CpStatus status = cp_buffer_reserve(data, size);
    if (status != CP_OK) {
        return status;
    }
    const ssize_t got = recv(transfer->descriptor, data->data + data->size, size, 0);
    if (got > 0) {
        data->size += static_cast<size_t>(got);
        return CP_OK;
    }
    if (got == 0) {
        return cp_connection_fail(transfer->connection, CP_CLOSED,
                                  "it closed before all that it announced had arrived");
    }
    if (cp_socket_transient(errno)) {
        return CP_OK;
    }
    const char *problem = "";
    const CpStatus failure = cp_socket_failure(&problem);
    return cp_connection_fail(transfer->connection, failure, problem);
}

/* Reads until there are `whole` bytes. */
static CpStatus read_until(Transfer *transfer, size_t whole, const CpBulk *bulk)
{
    const CpBuffer *data = transfer->data;
    while (data->size < whole) {
        const int ready = cp_wait_ready(transfer->descriptor, POLLIN, transfer->deadline);
        if (ready <= 0) {
            return ready == 0 ? CP_TIMED_OUT : CP_SYSTEM;
        }
        const size_t missing = whole - data->size;
        const CpStatus status = read_once(transfer, std::min<size_t>(missing, CHUNK_SIZE));
        if (status != CP_OK) {
            return status;
        }
        if (bulk->progress != nullptr) {
            bulk->progress(data->size, whole, bulk->context);
        }
        /* Bytes that keep arriving one by one must not prolong the wait. */
        if (data->size < whole && cp_time_left(transfer->deadline) == 0) {
            return CP_TIMED_OUT;
        }
    }
    return CP_OK;
}

static CpStatus read_all(Transfer *transfer, const CpBulk *bulk)
{
    const CpBulk silent = {bulk->port, bulk->limit, nullptr, nullptr};
    const CpStatus status = read_until(transfer, LENGTH_SIZE, &silent);
    if (status != CP_OK) {
        return status;
    }
    CpCursor cursor = cp_cursor({transfer->data->data, transfer->data->size});
    const uint32_t length = cp_take_u32(&cursor);
    if (length > bulk->limit) {
        return cp_connection_fail(transfer->connection, CP_PROTOCOL,
                                  "more bytes are announced than are accepted");
    }
    transfer->data->size = 0;
    return read_until(transfer, length, bulk);
}

static CpStatus fetch(CpConnection *connection, const CpBulk *bulk, CpBuffer *data,
                      int64_t deadline)
{
    sockaddr_in address = {};
    socklen_t size = sizeof address;
    if (getpeername(cp_descriptor(connection), reinterpret_cast<sockaddr *>(&address), &size) !=
        0) {
        return errno == ENOTCONN ? CP_CLOSED : CP_SYSTEM;
    }
    address.sin_port = htons(bulk->port);
    Transfer transfer = {connection, -1, deadline, data};
    CpStatus status = cp_socket_connect(&transfer.descriptor, &address, deadline);
    if (status == CP_OK) {
        status = read_all(&transfer, bulk);
        const int error = errno;
        close(transfer.descriptor);
        errno = error;
    }
    return status;
}

CpStatus cp_fetch_bulk(CpConnection *connection, const CpBulk *bulk, CpBuffer *data,
                       uint32_t timeout_ms)
{
    if (connection == nullptr || bulk == nullptr || data == nullptr) {
        return CP_BAD_ARGUMENT;
    }
    data->size = 0;
    if (bulk->port == 0) {
        return CP_BAD_ARGUMENT;
    }
    cp_connection_begin(connection);
    const CpStatus status = fetch(connection, bulk, data, cp_deadline(timeout_ms));
    if (status != CP_OK) {
        data->size = 0;
    }
    return status;
}
