/* SPDX-License-Identifier: MIT */
#include "cp_writer.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>

CpBytes cp_text(const char *text)
{
    return {reinterpret_cast<const uint8_t *>(text), text == nullptr ? 0 : strlen(text)};
}

void cp_buffer_free(CpBuffer *buffer)
{
    if (buffer != nullptr) {
        free(buffer->data);
        *buffer = {nullptr, 0, 0};
    }
}

CpStatus cp_buffer_reserve(CpBuffer *buffer, size_t size)
{
    if (size <= buffer->capacity - buffer->size) {
        return CP_OK;
    }
    if (size > SIZE_MAX - buffer->size) {
        errno = ENOMEM;
        return CP_SYSTEM;
    }
    /* At least doubled, so that appending takes amortised constant time. */
    const size_t twice = buffer->capacity > SIZE_MAX / 2 ? SIZE_MAX : buffer->capacity * 2;
    const size_t capacity = std::max({buffer->size + size, twice, size_t{64}});
    void *data = realloc(buffer->data, capacity);
    if (data == nullptr) {
        errno = ENOMEM;
        return CP_SYSTEM;
    }
    buffer->data = static_cast<uint8_t *>(data);
    buffer->capacity = capacity;
    return CP_OK;
}

CpWriter cp_writer(CpBuffer *to)
{
    if (to == nullptr) {
        return {nullptr, CP_BAD_ARGUMENT};
    }
    to->size = 0;
    return {to, CP_OK};
}

void cp_writer_fail(CpWriter *writer, CpStatus status)
{
    if (writer->status == CP_OK) {
        writer->status = status;
    }
}

void cp_put_bytes(CpWriter *writer, CpBytes bytes)
{
    if (writer->status != CP_OK || bytes.size == 0) {
        return;
    }
    if (bytes.data == nullptr) {
        writer->status = CP_BAD_ARGUMENT;
        return;
    }
    writer->status = cp_buffer_reserve(writer->to, bytes.size);
    if (writer->status == CP_OK) {
        memcpy(writer->to->data + writer->to->size, bytes.data, bytes.size);
        writer->to->size += bytes.size;
    }
}

/* A little-endian number of `width` bytes. */
static void put_number(CpWriter *writer, uint32_t number, size_t width)
{
    uint8_t bytes[4];
    for (size_t i = 0; i < width; i++) {
        bytes[i] = static_cast<uint8_t>(number >> (8 * i));
    }
    cp_put_bytes(writer, {bytes, width});
}

void cp_put_u8(CpWriter *writer, uint8_t number)
{
    put_number(writer, number, 1);
}

void cp_put_u16(CpWriter *writer, uint16_t number)
{
    put_number(writer, number, 2);
}

void cp_put_u32(CpWriter *writer, uint32_t number)
{
    put_number(writer, number, 4);
}

void cp_put_zeros(CpWriter *writer, size_t size)
{
    for (size_t i = 0; i < size; i++) {
        cp_put_u8(writer, 0);
    }
}

CpStatus cp_writer_end(CpWriter *writer)
{
    if (writer->status != CP_OK && writer->to != nullptr) {
        writer->to->size = 0;
    }
    return writer->status;
}
