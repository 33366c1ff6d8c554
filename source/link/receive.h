/* Receiving for a caller that knows how much there is. */
#pragma once

#include "tvlink/receive.h"

/* How many bytes wait on the socket; 0 also when it cannot be asked. */
uint32_t bytes_arriving(int fd);

/* receive_ctrlpoint_packet for that many bytes, at least 1. */
void receive_arriving(CtrlPoint *record, uint32_t arriving);
