/* SPDX-License-Identifier: MIT */
/* The datagram side of a phone: sockets that send and receive single packets. */
#pragma once

#include "support/sockets.h"

#include <cstdint>
#include <optional>
#include <string>

struct Datagram {
    std::string data; /* as hex text */
    std::string from; /* dotted */
    uint16_t from_port;
};

/* Bound to this address and port; port 0 lets the system choose. */
Descriptor datagram_socket(uint16_t port = 0, const char *address = "0.0.0.0");

/* Takes part in the group on the interface with this address. False when the system refuses. */
bool join_group(int fd, const char *group, const char *interface_address);

bool send_datagram(int fd, const Bytes &data, const char *address, uint16_t port);

/* Waits for one; nothing when the time is over. */
std::optional<Datagram> receive_datagram(int fd);

/* The content of the next one as hex text; a text that says so when the time is over. */
std::string received(int fd);

bool nothing_received(int fd); /* looks, does not wait */

/* Is some socket of this thread's network a member of the group? */
bool network_has_member(const char *group);
