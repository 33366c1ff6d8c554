/* SPDX-License-Identifier: MIT */
/* Appends to a buffer. The first failure is kept and later writes do nothing, so that a builder
 * writes all its fields and then checks once. */
#ifndef CP_WRITER_H
#define CP_WRITER_H

#include "controlpoint.h"

struct CpWriter {
    CpBuffer *to;
    CpStatus status;
};

/* Begins with an empty buffer; a null one gives a writer that has failed. */
CpWriter cp_writer(CpBuffer *to);
void cp_put_u8(CpWriter *writer, uint8_t number);
void cp_put_u16(CpWriter *writer, uint16_t number);
void cp_put_u32(CpWriter *writer, uint32_t number);
void cp_put_bytes(CpWriter *writer, CpBytes bytes);
void cp_put_zeros(CpWriter *writer, size_t size);

/* Keeps `status` unless a failure is kept already. */
void cp_writer_fail(CpWriter *writer, CpStatus status);

/* Returns the status; after a failure the buffer is empty. */
CpStatus cp_writer_end(CpWriter *writer);

/* Reserves memory for `size` more bytes. CP_SYSTEM with ENOMEM, and the content unchanged, when
 * memory runs out. */
CpStatus cp_buffer_reserve(CpBuffer *buffer, size_t size);

#endif
