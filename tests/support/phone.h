/* SPDX-License-Identifier: MIT */
/* A phone that speaks bytes: it knows frames only by their length. */
#pragma once

#include "support/sockets.h"

#include <cstdint>
#include <string>

/* What a phone sends, and gets, as a sign of life. */
const Bytes &phone_heartbeat();  /* an empty frame of type 0xEE */
const Bytes &answer_heartbeat(); /* "HEART" in a frame of type 0xEE */

/* Reads exactly one frame. What there was of it when the connection has ended or the time is over.
 */
Bytes read_frame(int fd);

class Phone
{
public:
    /* Connects to the control port, which must be open. A small receive buffer makes a phone that
     * soon takes no more; 0 leaves it as it is. */
    explicit Phone(int receive_buffer = 0);

    /* Has a socket, but is not connected until connect(). */
    struct Later {
    };
    explicit Phone(Later);
    void connect();
    bool try_connect(); /* false: there is no service, or it has just gone */

    void send(const Bytes &data) const;

    Bytes read_frame() const;

    /* Sends a heartbeat and returns the next frame, which is the answer unless something else had
     * been sent before. */
    Bytes exchange_heartbeat() const;

    /* The connection ends here, with nothing more before; how it ends does not matter. */
    bool is_dropped() const;

    void hang_up();              /* closes */
    void reset();                /* closes without a farewell: the other side meets an error */
    void finish_sending() const; /* closes one direction */

    int fd() const;
    uint16_t port() const; /* the phone's own */

private:
    Descriptor socket_;
};
