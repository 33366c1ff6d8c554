/* SPDX-License-Identifier: MIT */
/* The floor: what any server of the library's structure must do for the same bytes, and nothing
 * else. A select thread passes each request through a queue to a worker, which answers it; a third
 * thread sends events. No logging, no checks, no limits; the frames are made beforehand. */
#ifndef BARE_SERVER_H
#define BARE_SERVER_H

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

struct bare_frame {
    uint8_t *bytes;
    size_t size;
};

struct bare_answers {
    struct bare_frame key;
    struct bare_frame text;
    struct bare_frame event;
    /* Copied into the frame for each answer, as a host copies its text into a buffer. */
    const void *long_text;
    size_t long_text_size;
    size_t long_text_at;
};

/* Serves what connects to the listening socket. For each byte from `commands` it sends an event to
 * all, and writes the time at which it began to `results`. Ends with the commands. */
void bare_serve(const struct bare_answers *answers, int listener, int commands, int results);

#ifdef __cplusplus
}
#endif

#endif
