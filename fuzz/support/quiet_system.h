/* SPDX-License-Identifier: MIT */
/* The system as fuzz targets want it. */
#pragma once

/* From now until restore_system_calls(): bind takes no port (the system chooses one when the socket
 * listens), usleep returns at once, no thread is created, and everything else is the system's. */
void quiet_system();
