/* SPDX-License-Identifier: MIT */
#include "discovery/answer_packet.h"

#include "base/flags.h"
#include "tvlink.h"
#include "tvlink/local_address.h"
#include "wire/frame.h"

#include <string.h>

void answer_packet_build(uint8_t packet[ANSWER_SIZE])
{
    uint32_t address = 0;
    get_local_ip(&address);
    packet[0] = 0xA5;
    packet[1] = 0xA5;
    store_u16(packet + 2, ANSWER_SIZE);
    memcpy(packet + 4, &address, sizeof address); /* network byte order */
    store_u16(packet + 8, IPP_CONTROL_PORT);
    store_u16(packet + 10, flags_device_type());
}

struct sockaddr_in answer_destination(uint32_t address)
{
    struct sockaddr_in destination = {};
    destination.sin_family = AF_INET;
    destination.sin_port = htons(IPP_ANSWER_PORT);
    destination.sin_addr.s_addr = address;
    return destination;
}
