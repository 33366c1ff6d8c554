/* The service of a session: what its threads and its host do, and how it starts and stops. */
#pragma once

/* Host, guard and threads, as the input's flags say. */
void prepare_service();

void start_service();
void stop_service();

/* Before the next input. */
void forget_service();
