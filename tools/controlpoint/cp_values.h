/* SPDX-License-Identifier: MIT */
/* Encodes and decodes tagged values. */
#ifndef CP_VALUES_H
#define CP_VALUES_H

#include "cp_cursor.h"
#include "cp_writer.h"

/* A string's length is 2 bytes in requests and replies and 4 bytes in events. */
enum CpStringLength { CP_STRING_LENGTH_2, CP_STRING_LENGTH_4 };

/* Reads a tag and its value. An unknown tag fails the cursor, since the length is unknown, too. */
CpValue cp_take_value(CpCursor *cursor, CpStringLength string_length);

/* True for the four kinds of lists. */
bool cp_is_list(const CpValue *value);

/* Writes a request's argument. */
void cp_put_value(CpWriter *writer, const CpValue *value);

#endif
