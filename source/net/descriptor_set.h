/* SPDX-License-Identifier: MIT */
/* A set of descriptors, in ascending order. */
#pragma once

struct DescriptorSet {
    unsigned long *words; /* a bit for each descriptor; owned */
    int word_count;
    int size; /* one more than the highest member; 0: the set is empty */
};

void descriptor_set_clear(DescriptorSet *set);
void descriptor_set_free(DescriptorSet *set);

/* False when memory is out. A negative number is left out. */
bool descriptor_set_add(DescriptorSet *set, int fd);

/* The lowest member at or above `from`; -1 when there is none. */
int descriptor_set_next(const DescriptorSet *set, int from);
