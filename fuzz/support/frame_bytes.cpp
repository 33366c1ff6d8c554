/* SPDX-License-Identifier: MIT */
#include "support/frame_bytes.h"

#include "support/fuzz_input.h"

Bytes bytes_of(CpBytes bytes)
{
    return bytes.size == 0 ? Bytes() : Bytes(bytes.data, bytes.data + bytes.size);
}

Bytes take_buffer(CpBuffer *buffer)
{
    const Bytes bytes = bytes_of({buffer->data, buffer->size});
    cp_buffer_free(buffer);
    return bytes;
}

Bytes build_frame(uint8_t type, const Bytes &payload)
{
    CpBuffer frame = {};
    must(cp_build_frame(&frame, type, payload.data(), payload.size()) == CP_OK,
         "there is memory for a frame");
    return take_buffer(&frame);
}

void append(Bytes *to, const Bytes &bytes)
{
    to->insert(to->end(), bytes.begin(), bytes.end());
}

uint32_t load_length(const Bytes &stream)
{
    return static_cast<uint32_t>(stream[3]) | static_cast<uint32_t>(stream[4]) << 8 |
           static_cast<uint32_t>(stream[5]) << 16 | static_cast<uint32_t>(stream[6]) << 24;
}
