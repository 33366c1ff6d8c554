/* SPDX-License-Identifier: MIT */
/* The two worker threads, for requests and for heartbeats. */
#ifndef TVLINK_WORKERS_H
#define TVLINK_WORKERS_H

#include "tvlink/api.h"
#include "tvlink/work_queues.h"

#include <pthread.h>

TVLINK_BEGIN

TVLINK_API extern pthread_t devCallBackTid;       /* the request worker */
TVLINK_API extern pthread_t heartBeatFeedbackTid; /* the heartbeat worker */

/* Make a queue of 50, whatever the host has put in its place, and the semaphore, and start the
 * worker. A worker lives as long as the process: later calls have no effect. Return 0, -1 when the
 * queue cannot be made, -4 when the thread cannot be created, each after a line. ipp_init calls
 * them; not from two threads at once. */
TVLINK_API int startDevCallBackThread(void);
TVLINK_API int startHeartBeatFeedbackThread(void);

/* The thread bodies; they never return. The request worker runs one request at a time, in order of
 * arrival, with no lock held. */
TVLINK_API void *devCallBackThread(void *argument);
TVLINK_API void *heartBeatFeedbackThread(void *argument);

TVLINK_END

#endif
