/* The baseline: a server that only passes each request from a select thread through a queue to a
 * worker, which answers it. */
#ifndef BARE_PING_PONG_H
#define BARE_PING_PONG_H

#ifdef __cplusplus
extern "C" {
#endif

/* Serves one connection after another on the listening socket with answers of this size; returns
 * only when a socket call fails. */
void bare_ping_pong_serve(int listener, const void *answer, int answer_size);

#ifdef __cplusplus
}
#endif

#endif
