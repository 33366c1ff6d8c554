/* SPDX-License-Identifier: MIT */
/* The two queues between the server thread and the workers. */
#ifndef TVLINK_WORK_QUEUES_H
#define TVLINK_WORK_QUEUES_H

#include "tvlink/api.h"
#include "tvlink/queue.h"

#include <pthread.h>
#include <semaphore.h>

TVLINK_BEGIN

enum { WORK_QUEUE_CAPACITY = 50 }; /* 49 items at most */

/* Request items: copies of a CtrlPoint whose rx_buf and rx_cap are one frame body and its length,
 * both on the heap and owned by the worker that dequeues them. An item refers to its connection
 * and holds nothing: a host may take one off and free it, or queue a copy of one again, which may
 * share the body until the handler of the first has returned; taken off meanwhile, such a copy is
 * freed without the body. The worker runs an item whose
 * connection has ended with an fd of -1. The producer locks devCallBackMutex, the consumer
 * heartBeatFeedbackMutex. The semaphore counts items. */
TVLINK_API extern Queue *devCallBackQueue;
TVLINK_API extern sem_t devCallBackSem;
TVLINK_API extern pthread_mutex_t devCallBackMutex;

/* Heartbeat items: unchanged copies of a CtrlPoint. Both sides lock heartBeatFeedbackMutex. */
TVLINK_API extern Queue *heartBeatFeedbackQueue;
TVLINK_API extern sem_t heartBeatFeedbackSem;
TVLINK_API extern pthread_mutex_t heartBeatFeedbackMutex;

TVLINK_END

#endif
