/* How the flags are read and written while threads run, and which run of the service this is. */
#pragma once

#include "tvlink/flags.h"

bool flags_inited(void);
void flags_set_inited(bool inited);

bool flags_running(void);
void flags_stop_running(void);

/* Lets the network threads run and begins a new run. */
void flags_start_run(void);

/* The number of the present run, 1 for the first: a thread that outlives its run must not take the
 * next one for its own. */
uint32_t flags_run_number(void);

/* May a thread that belongs to this run go on? */
bool flags_run_goes_on(uint32_t run);

uint16_t flags_device_type(void);
void flags_set_device_type(uint16_t type);
