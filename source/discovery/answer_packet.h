/* SPDX-License-Identifier: MIT */
/* The packet with the address of the television, which answers and announcements share. */
#pragma once

#include <netinet/in.h>
#include <stdint.h>

enum { ANSWER_SIZE = 12 };

void answer_packet_build(uint8_t packet[ANSWER_SIZE]);

/* An address (network byte order) with the port on which phones listen. */
struct sockaddr_in answer_destination(uint32_t address);
