/* The packet that tells a phone where the television is: answer and announcement are the same. */
#pragma once

#include <netinet/in.h>
#include <stdint.h>

enum { ANSWER_SIZE = 12 };

void answer_packet_build(uint8_t packet[ANSWER_SIZE]);

/* An address on the port on which phones listen. */
struct sockaddr_in answer_destination(uint32_t address);
