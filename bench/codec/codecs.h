/* SPDX-License-Identifier: MIT */
/* The codecs that are compared. */
#pragma once

#include "measure.h"

#include <cstdint>
#include <vector>

using Bytes = std::vector<uint8_t>;

struct Round {
    Cost encode;
    Cost decode;
    size_t compressed = 0;
};

struct Codec {
    const char *name;
    Round (*run)(const Bytes &content); /* compresses and expands it once */
};

/* libtiff's, to which the others are compared, is the first. */
std::vector<Codec> codecs();

/* Ends the program unless the content came back. */
void require_same(const void *expanded, size_t size, const Bytes &content);

/* Codecs of another kind, as marks of what is possible; not every build has them. */
Round run_zstd(const Bytes &content);
Round run_lz4(const Bytes &content);
