/* SPDX-License-Identifier: MIT */
/* The service-wide state that every part of the library reads. */
#ifndef TVLINK_FLAGS_H
#define TVLINK_FLAGS_H

#include "tvlink/api.h"

#include <pthread.h>
#include <stdint.h>

TVLINK_BEGIN

/* Plain bytes, read and written atomically inside the library while its threads run. For hosts to
 * read: a service whose g_is_inited is cleared would be started a second time. */
TVLINK_API extern uint8_t g_is_inited;  /* 1 once ipp_init has started everything */
TVLINK_API extern uint8_t g_thread_run; /* 1 while the network threads may run */
TVLINK_API extern uint16_t g_dev_type;  /* the device type given to ipp_init */

/* Kept for the public interface: nothing reads or writes it. */
TVLINK_API extern int32_t gIsInited;

/* Kept for the public interface: never locked. */
TVLINK_API extern pthread_mutex_t mouseLok;

TVLINK_END

#endif
