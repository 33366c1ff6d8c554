/* How much of the heap a call takes, whatever library it is in. */
#pragma once

#include <cstddef>

/* Bytes held now by everything in the program, and the most since heap_watch(). */
size_t heap_held();
void heap_watch();
size_t heap_most();
