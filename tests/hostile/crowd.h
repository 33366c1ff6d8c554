/* SPDX-License-Identifier: MIT */
/* Phones in numbers: sockets that never block, and the frames that arrive on them. */
#pragma once

#include "support/sockets.h"

#include <cstdint>
#include <functional>
#include <vector>

#include <netinet/in.h>

/* Both in host order. */
sockaddr_in address_of(uint32_t host, uint16_t port);

/* A socket of one address, on the port where phones hear answers: it sends searches too. None when
 * the port is taken. */
Descriptor searcher(uint32_t host);
const Bytes &search_packet();
void send_search(const Descriptor &from, const Bytes &packet);

/* How a phone connects. */
struct Manner {
    uint32_t from;       /* own address in host order; 0: the system's choice */
    int receive_buffer;  /* bytes; 0: the system's choice */
    bool small_segments; /* as on a wireless network: the other side's send buffer is small too */
};

/* A connection to the television; nothing in it when it is refused or the system has no more. */
Descriptor connect_to(uint16_t port, const Manner &manner = {0, 0, false});
Descriptor connect_phone(const Manner &manner = {0, 0, false});

/* Closes so that the other side meets an error. */
void reset(Descriptor &phone);

/* A heartbeat is answered within PATIENCE, and by nothing else. */
bool answers(const Descriptor &phone);

/* The other side has ended the connection; what it sent before is read and forgotten. Does not
 * wait. */
bool has_ended(const Descriptor &phone);
bool wait_for_all_ended(const std::vector<Descriptor> &phones);

/* What has arrived on one connection, cut into frames. */
class Inbox
{
public:
    explicit Inbox(int fd);

    /* Reads all that is there, and calls the function with each whole frame. */
    void take(const std::function<void(const uint8_t *frame, size_t size)> &use);

    bool ended() const;
    size_t unfinished() const; /* bytes of a frame that is not complete */
    int fd() const;

private:
    int fd_;
    bool ended_;
    Bytes waiting_;
};

/* Waits until something arrives in one of them, or this time is over. */
void wait_for_mail(const std::vector<Inbox> &inboxes, int milliseconds);

uint32_t number_at(const uint8_t *at); /* four bytes, little-endian */
Bytes little_endian(uint32_t value, size_t size);
Bytes call_frame(const std::string &request); /* of the host's function, which gives it back */
Bytes call_reply(const std::string &request);
Bytes numbers_frame(uint32_t number); /* asks for the host's large reply, all of this number */
