/* What select watches: room for every descriptor that the process may hold, not only for the first
 * 1,024, beyond which the system's own macros must not be used. */
#pragma once

#include <sys/select.h>

struct DescriptorSet {
    unsigned long *words; /* laid out as the system's fd_set; owned */
    int word_count;
    int highest; /* -1: the set is empty */
};

void descriptor_set_clear(DescriptorSet *set);
void descriptor_set_free(DescriptorSet *set);

/* A descriptor for which there is no memory is left out. */
void descriptor_set_add(DescriptorSet *set, int fd);

/* The lowest member at or above `from`; -1 when there is none. */
int descriptor_set_next(const DescriptorSet *set, int from);

/* Waits until a member can be read or the time is over; only readable members stay. Result and
 * errno are those of select. */
int descriptor_set_select(DescriptorSet *set, struct timeval limit);
