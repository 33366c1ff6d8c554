/* SPDX-License-Identifier: MIT */
#include "cp_frames.h"

#include <cstdlib>
#include <cstring>

struct CpSplitter {
    CpBuffer buffer;
    size_t taken;        /* bytes at the buffer's start that were taken as frames */
    const char *problem; /* null while the stream is intact */
    uint32_t max_frame;
};

CpSplitter *cp_splitter_new(uint32_t max_frame)
{
    CpSplitter *splitter = static_cast<CpSplitter *>(calloc(1, sizeof *splitter));
    if (splitter != nullptr) {
        splitter->max_frame = max_frame == 0 ? uint32_t{CP_MAX_FRAME_DEFAULT} : max_frame;
    }
    return splitter;
}

void cp_splitter_free(CpSplitter *splitter)
{
    if (splitter != nullptr) {
        cp_buffer_free(&splitter->buffer);
        free(splitter);
    }
}

/* Moves the remaining bytes to the buffer's start. */
static void drop_taken(CpSplitter *splitter)
{
    if (splitter->taken == 0) {
        return;
    }
    CpBuffer *buffer = &splitter->buffer;
    buffer->size -= splitter->taken;
    memmove(buffer->data, buffer->data + splitter->taken, buffer->size);
    splitter->taken = 0;
}

CpStatus cp_splitter_feed(CpSplitter *splitter, const void *bytes, size_t size)
{
    if (splitter == nullptr || (bytes == nullptr && size > 0)) {
        return CP_BAD_ARGUMENT;
    }
    if (splitter->problem != nullptr) {
        return CP_PROTOCOL;
    }
    if (size == 0) {
        return CP_OK;
    }
    drop_taken(splitter);
    const CpStatus status = cp_buffer_reserve(&splitter->buffer, size);
    if (status == CP_OK) {
        memcpy(splitter->buffer.data + splitter->buffer.size, bytes, size);
        splitter->buffer.size += size;
    }
    return status;
}

size_t cp_splitter_pending(const CpSplitter *splitter)
{
    return splitter == nullptr ? 0 : splitter->buffer.size - splitter->taken;
}

const char *cp_splitter_problem(const CpSplitter *splitter)
{
    return splitter == nullptr || splitter->problem == nullptr ? "" : splitter->problem;
}

/* Marks the stream as broken: the start of the next frame is unknown. */
static CpStatus break_stream(CpSplitter *splitter, const char *problem)
{
    splitter->problem = problem;
    cp_buffer_free(&splitter->buffer);
    splitter->taken = 0;
    return CP_PROTOCOL;
}

CpStatus cp_splitter_next(CpSplitter *splitter, CpFrame *frame)
{
    if (splitter == nullptr || frame == nullptr) {
        return CP_BAD_ARGUMENT;
    }
    *frame = {};
    if (splitter->problem != nullptr) {
        return CP_PROTOCOL;
    }
    CpCursor cursor = cp_cursor({splitter->buffer.data, splitter->buffer.size});
    cp_take_bytes(&cursor, splitter->taken);
    const CpBytes rest = cp_take_rest(&cursor);

    uint32_t length = 0;
    const char *problem = cp_check_frame_head(rest, splitter->max_frame, &length);
    if (problem != nullptr) {
        return break_stream(splitter, problem);
    }
    if (length == 0 || rest.size < length) {
        return CP_MORE;
    }
    problem = cp_open_frame({rest.data, length}, frame);
    if (problem != nullptr) {
        *frame = {};
        return break_stream(splitter, problem);
    }
    splitter->taken += length;
    return CP_OK;
}
