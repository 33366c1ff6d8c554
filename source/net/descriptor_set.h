/* A set of descriptors for select without the limit of fd_set, whose macros must not be used for
 * descriptors of 1,024 and above. */
#pragma once

#include <sys/select.h>

struct DescriptorSet {
    unsigned long *words; /* laid out as the system's fd_set; owned */
    int word_count;
    int size; /* one more than the highest member; 0: the set is empty */
};

void descriptor_set_clear(DescriptorSet *set);
void descriptor_set_free(DescriptorSet *set);

/* Leaves the descriptor out when memory is out. */
void descriptor_set_add(DescriptorSet *set, int fd);

/* False when memory is out. */
bool descriptor_set_copy(DescriptorSet *to, const DescriptorSet *from);

/* The lowest member at or above `from`; -1 when there is none. */
int descriptor_set_next(const DescriptorSet *set, int from);

/* Waits until a member is readable, or one of the second set writable, or the time is over, and
 * removes all other members. Result and errno are those of select. */
int descriptor_set_select(DescriptorSet *readable, struct timeval limit,
                          DescriptorSet *writable = nullptr);
