/* SPDX-License-Identifier: MIT */
/* The unwinder of a compiler for the GNU C library asks that library for the tables of a function;
 * with musl the tests bring this. It looks through the loaded objects at every call. */
#define _GNU_SOURCE
#include <link.h>
#include <stddef.h>
#include <stdint.h>

/* As in the <dlfcn.h> of the GNU C library. */
struct dl_find_object {
    unsigned long long flags;
    void *map_start;
    void *map_end;
    struct link_map *link_map;
    void *eh_frame;
    unsigned long long reserved[7];
};

struct wanted {
    uintptr_t address;
    struct dl_find_object *found;
};

static int look_at_object(struct dl_phdr_info *object, size_t size, void *context)
{
    (void)size;
    const struct wanted *wanted = context;
    int holds_address = 0;
    for (int i = 0; i < object->dlpi_phnum; i++) {
        const ElfW(Phdr) *header = &object->dlpi_phdr[i];
        const uintptr_t start = object->dlpi_addr + header->p_vaddr;
        if (header->p_type == PT_LOAD && wanted->address - start < header->p_memsz) {
            wanted->found->map_start = (void *)start;
            wanted->found->map_end = (void *)(start + header->p_memsz);
            holds_address = 1;
        } else if (header->p_type == PT_GNU_EH_FRAME) {
            wanted->found->eh_frame = (void *)start;
        }
    }
    return holds_address;
}

int _dl_find_object(void *address, struct dl_find_object *found);

int _dl_find_object(void *address, struct dl_find_object *found)
{
    struct wanted wanted = {(uintptr_t)address, found};
    found->eh_frame = NULL;
    return dl_iterate_phdr(look_at_object, &wanted) == 1 && found->eh_frame != NULL ? 0 : -1;
}
