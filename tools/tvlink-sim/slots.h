/* SPDX-License-Identifier: MIT */
/* The television's operations in the form in which the library calls them, one file for each
 * family. */
#ifndef TVLINK_SIM_SLOTS_H
#define TVLINK_SIM_SLOTS_H

#include <string>
#include <type_traits>

#include "screen_size.h"
#include "tvlink.h"

namespace sim
{

/* The room for a text in an answer of the state and remote families, with its final 0. */
constexpr size_t text_size = 256;

/* A function for every slot: the linker names the one that is missing. */
#define OPERATION(family, kind, first, last, slot, name, ...)                                      \
    std::remove_pointer_t<decltype(TvMethodTable::name)> name;
#include "protocol/operations.def"

/* The size of the screen that get_screen_shot2 draws, and the file of the font that it prefers;
 * empty for the system's. The fonts are loaded when they are first needed. */
void set_screen(const ScreenSize &size, const std::string &font);
/* Frees the fonts. fontconfig refers to what it keeps by offsets, in which a search for leaks at
 * the program's end sees no reference. */
void release_screen();

/* For tv_ippRpcFunSet. "help" answers with the requests that it knows. */
int answer_rpc(char *answer, const char *request);

} // namespace sim

#endif
