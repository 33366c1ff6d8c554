/* SPDX-License-Identifier: MIT */
/* The phone's side of a bulk transfer. */
#pragma once

#include "support/process_state.h"
#include "support/sockets.h"
#include "support/wait_until.h"

#include <algorithm>
#include <set>
#include <string>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>

const char *const THIS_PHONE = "127.0.0.1";
const char *const ANOTHER_PHONE = "127.0.0.2";

inline sockaddr_in address_of(const char *host, uint16_t port)
{
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = inet_addr(host);
    return address;
}

/* Connects from this address; -1 inside when nobody listens there. */
inline Descriptor bulk_connection(uint16_t port, const char *from = THIS_PHONE, int room = 0)
{
    Descriptor client(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    const sockaddr_in own = address_of(from, 0);
    const sockaddr_in television = address_of(THIS_PHONE, port);
    if (room > 0) {
        setsockopt(client.get(), SOL_SOCKET, SO_RCVBUF, &room, sizeof room);
    }
    if (bind(client.get(), reinterpret_cast<const sockaddr *>(&own), sizeof own) != 0 ||
        connect(client.get(), reinterpret_cast<const sockaddr *>(&television), sizeof television) !=
            0) {
        client.close();
    }
    return client;
}

/* Nobody listens there, or soon nobody does. */
inline bool is_refused(uint16_t port)
{
    return wait_until([port] { return bulk_connection(port).get() < 0; });
}
