/* SPDX-License-Identifier: MIT */
/* The fields of a list's records, and how tests read them. */
#pragma once

#include "list_blocks.h"
#include "support/wire.h"

/* A text as it stands in a field of this size. */
inline Bytes field(const std::string &text, size_t size)
{
    Bytes result(text.begin(), text.end());
    result.resize(size);
    return result;
}

inline std::string hexed(const std::string &text)
{
    return hex(text.data(), text.size());
}

inline std::string hexed(const sim::ListBlock &block)
{
    return hex(block.bytes.data(), block.bytes.size());
}
