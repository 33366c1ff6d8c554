/* SPDX-License-Identifier: MIT */
/* A television's host that keeps to the letter of its contract and to nothing else: what every slot
 * returns and writes comes from the input. */
#pragma once

#include "support/fuzz_input.h"
#include "tvlink.h"

/* Registers a table that takes its answers from these bytes; zeros once they are used up. The slot
 * with the number `left_out` is null (none beyond 86). One host at a time. */
void nasty_host_register(const FuzzInput &answers, size_t left_out);

/* Takes the table away and releases what the host keeps. */
void nasty_host_withdraw();

/* The next answer, for harnesses that need more. */
uint8_t nasty_host_u8();

/* For tv_ippRpcFunSet. */
int nasty_host_rpc(char *answer, const char *request);

/* The block that was last returned for compression, as bytes; empty when it was none. */
const std::vector<uint8_t> &nasty_host_list();

/* The image that was last returned, as bytes. */
const std::vector<uint8_t> &nasty_host_image();
