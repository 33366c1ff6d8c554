/* SPDX-License-Identifier: MIT */
/* Value tags: the byte in front of a value that names its form. */
#pragma once

enum ValueTag {
#define VALUE_TAG(value, name, form) TAG_##name = (value),
#include "protocol/operations.def"
};
