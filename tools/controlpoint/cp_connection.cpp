/* SPDX-License-Identifier: MIT */
#include "cp_connection.h"

#include "cp_address.h"
#include "cp_clock.h"
#include "cp_socket.h"

#include <cerrno>
#include <cstdlib>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

struct CpConnection {
    int descriptor;
    bool cut_off; /* only part of a frame was sent: no other frame can follow */
    CpSplitter *splitter;
    CpBuffer sending; /* reused, to save allocations */
    const char *problem;
    CpFrameHandler on_other_frame;
    void *context;
};

static CpConnection *make_connection()
{
    CpConnection *connection = static_cast<CpConnection *>(calloc(1, sizeof *connection));
    if (connection == nullptr) {
        return nullptr;
    }
    connection->problem = "";
    connection->descriptor = -1;
    connection->splitter = cp_splitter_new(0);
    if (connection->splitter == nullptr) {
        cp_disconnect(connection);
        return nullptr;
    }
    return connection;
}

CpStatus cp_connect(CpConnection **connection, const char *host, uint16_t port, uint32_t timeout_ms)
{
    if (connection == nullptr) {
        return CP_BAD_ARGUMENT;
    }
    *connection = nullptr;
    sockaddr_in address = {};
    CpStatus status = cp_resolve(host, port, &address);
    if (status != CP_OK) {
        return status;
    }
    CpConnection *made = make_connection();
    if (made == nullptr) {
        return CP_SYSTEM;
    }
    status = cp_socket_connect(&made->descriptor, &address, cp_deadline(timeout_ms));
    if (status != CP_OK) {
        cp_disconnect(made);
        return status;
    }
    *connection = made;
    return CP_OK;
}

void cp_disconnect(CpConnection *connection)
{
    if (connection == nullptr) {
        return;
    }
    const int error = errno; /* the cause of a failed cp_connect is preserved */
    if (connection->descriptor >= 0) {
        close(connection->descriptor);
    }
    cp_splitter_free(connection->splitter);
    cp_buffer_free(&connection->sending);
    free(connection);
    errno = error;
}

int cp_descriptor(const CpConnection *connection)
{
    return connection == nullptr ? -1 : connection->descriptor;
}

const char *cp_problem(const CpConnection *connection)
{
    return connection == nullptr ? "" : connection->problem;
}

void cp_on_other_frame(CpConnection *connection, CpFrameHandler handler, void *context)
{
    if (connection != nullptr) {
        connection->on_other_frame = handler;
        connection->context = context;
    }
}

void cp_hand_over(CpConnection *connection, const CpFrame *frame)
{
    if (connection->on_other_frame != nullptr) {
        connection->on_other_frame(frame, connection->context);
    }
}

void cp_connection_begin(CpConnection *connection)
{
    connection->problem = "";
}

CpStatus cp_connection_fail(CpConnection *connection, CpStatus status, const char *problem)
{
    connection->problem = problem;
    return status;
}

/* The status of a failed send or receive. */
static CpStatus transfer_failed(CpConnection *connection)
{
    const char *problem = "";
    const CpStatus status = cp_socket_failure(&problem);
    return status == CP_SYSTEM ? status : cp_connection_fail(connection, status, problem);
}

static CpStatus send_bytes(CpConnection *connection, CpCursor *rest, int64_t deadline)
{
    while (rest->at < rest->bytes.size) {
        const int ready = cp_wait_ready(connection->descriptor, POLLOUT, deadline);
        if (ready <= 0) {
            return ready == 0 ? CP_TIMED_OUT : CP_SYSTEM;
        }
        CpCursor ahead = *rest;
        const CpBytes bytes = cp_take_rest(&ahead);
        const ssize_t sent = send(connection->descriptor, bytes.data, bytes.size, MSG_NOSIGNAL);
        if (sent > 0) {
            cp_take_bytes(rest, static_cast<size_t>(sent));
        } else if (sent < 0 && !cp_socket_transient(errno)) {
            return transfer_failed(connection);
        }
    }
    return CP_OK;
}

CpStatus cp_send_until(CpConnection *connection, uint8_t type, CpBytes payload, int64_t deadline)
{
    if (connection->cut_off) {
        return cp_connection_fail(connection, CP_CLOSED, "an earlier frame was cut off");
    }
    CpStatus status = cp_build_frame(&connection->sending, type, payload.data, payload.size);
    if (status != CP_OK) {
        return status;
    }
    CpCursor rest = cp_cursor({connection->sending.data, connection->sending.size});
    status = send_bytes(connection, &rest, deadline);
    connection->cut_off = status != CP_OK && rest.at > 0;
    return status;
}

CpStatus cp_send(CpConnection *connection, uint8_t type, const void *payload, size_t size,
                 uint32_t timeout_ms)
{
    if (connection == nullptr) {
        return CP_BAD_ARGUMENT;
    }
    cp_connection_begin(connection);
    const CpBytes bytes = {static_cast<const uint8_t *>(payload), size};
    return cp_send_until(connection, type, bytes, cp_deadline(timeout_ms));
}

static CpStatus status_of_end(CpConnection *connection)
{
    const bool in_frame = cp_splitter_pending(connection->splitter) > 0;
    return cp_connection_fail(connection, CP_CLOSED,
                              in_frame ? "it closed in the middle of a frame" : "");
}

/* Reads once. CP_OK also after a spurious wake-up. Sets `drained` unless more bytes may have
 * arrived already. */
static CpStatus read_some(CpConnection *connection, bool *drained)
{
    uint8_t bytes[16384];
    const ssize_t got = recv(connection->descriptor, bytes, sizeof bytes, 0);
    *drained = got < static_cast<ssize_t>(sizeof bytes);
    if (got > 0) {
        return cp_splitter_feed(connection->splitter, bytes, static_cast<size_t>(got));
    }
    if (got == 0) {
        return status_of_end(connection);
    }
    return cp_socket_transient(errno) ? CP_OK : transfer_failed(connection);
}

static CpStatus next_frame(CpConnection *connection, CpFrame *frame)
{
    const CpStatus status = cp_splitter_next(connection->splitter, frame);
    if (status == CP_PROTOCOL) {
        connection->problem = cp_splitter_problem(connection->splitter);
    }
    return status;
}

CpStatus cp_receive_until(CpConnection *connection, CpFrame *frame, int64_t deadline)
{
    CpStatus status = next_frame(connection, frame);
    /* After the deadline bytes that have arrived are still read, but bytes that keep arriving one
     * by one must not prolong the wait. */
    bool last = false;
    while (status == CP_MORE && !last) {
        const bool late = cp_time_left(deadline) == 0;
        const int ready = cp_wait_ready(connection->descriptor, POLLIN, deadline);
        if (ready <= 0) {
            return ready == 0 ? CP_TIMED_OUT : CP_SYSTEM;
        }
        bool drained = false;
        status = read_some(connection, &drained);
        if (status == CP_OK) {
            status = next_frame(connection, frame);
        }
        last = late && drained;
    }
    return status == CP_MORE ? CP_TIMED_OUT : status;
}

CpStatus cp_receive(CpConnection *connection, CpFrame *frame, uint32_t timeout_ms)
{
    if (connection == nullptr || frame == nullptr) {
        return CP_BAD_ARGUMENT;
    }
    cp_connection_begin(connection);
    return cp_receive_until(connection, frame, cp_deadline(timeout_ms));
}
