/* SPDX-License-Identifier: MIT */
/* Receiving for a caller that knows the number of bytes. */
#pragma once

#include "tvlink/receive.h"

/* The number of bytes that can be read from the socket; 0 also when the query fails. */
uint32_t bytes_arriving(int fd);

/* receive_ctrlpoint_packet for that many bytes, at least 1. */
void receive_arriving(CtrlPoint *record, uint32_t arriving);
