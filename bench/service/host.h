/* SPDX-License-Identifier: MIT */
/* The processes that are measured: a host application with the service in it, and the bare server.
 *
 * Each is asked by one byte on its standard input, and answers with a 64-bit number on its standard
 * output. The first number comes unasked: the port. It ends with its input. */
#pragma once

#include <cstdint>

enum Question : char {
    EVENT_REPORT = 'e',  /* report an event: when did it begin, in ns of the monotonic clock? */
    SERVICE_STOP = 's',  /* stop the service: how long did it take, in ns? */
    ALLOCATIONS = 'a',   /* blocks allocated since this was asked first */
    RANDOM_NUMBER = 'r', /* one more than the last result of rand(); 0: none since this was asked */
};

/* Both return the exit status. */
int host_serve(uint32_t most_phones, bool plain);
int bare_host_serve();

uint64_t now_ns();

/* For ALLOCATIONS and RANDOM_NUMBER. */
uint64_t allocation_count();
uint64_t take_random_number();
