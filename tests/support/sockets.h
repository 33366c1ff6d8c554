/* SPDX-License-Identifier: MIT */
/* Descriptors that close themselves, and connected pairs of them. */
#pragma once

#include "support/wire.h"

class Descriptor
{
public:
    explicit Descriptor(int fd = -1);
    ~Descriptor();
    Descriptor(Descriptor &&other) noexcept;
    Descriptor &operator=(Descriptor &&other) noexcept;
    Descriptor(const Descriptor &) = delete;
    Descriptor &operator=(const Descriptor &) = delete;

    int get() const;
    int release(); /* the caller closes it */
    void close();

private:
    int fd_;
};

struct ConnectedPair {
    Descriptor near;
    Descriptor far;
};

/* Two ends of one TCP connection over the loopback interface. */
ConnectedPair tcp_pair();

/* Two ends of one Unix stream: no network, and a send buffer that is easily filled. */
ConnectedPair local_pair();

/* A TCP socket bound to all addresses and listening; port 0 lets the system choose. */
Descriptor listening_on(uint16_t port = 0);
uint16_t port_of(int fd);

/* Sends until the buffer is full, without blocking. Returns the number of bytes. */
size_t fill_send_buffer(int fd);

void send_bytes(int fd, const Bytes &data);

/* That many bytes; fewer when the other end closed or the time is over. */
Bytes receive_bytes(int fd, size_t size);

/* Nothing more arrives and the other end has closed or reset the connection. */
bool wait_for_end(int fd);
