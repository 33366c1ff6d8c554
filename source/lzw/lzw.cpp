/* SPDX-License-Identifier: MIT */
#include "tvlink/lzw.h"

uint8_t lzw[512] = {0};
