/* SPDX-License-Identifier: MIT */
/* The service of a session: its threads, its host, and its start and stop. */
#pragma once

/* Sets up host, guard and threads according to the input's flags. */
void prepare_service();

void start_service();
void stop_service();

/* Undoes prepare_service. */
void reset_service();
