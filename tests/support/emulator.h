/* SPDX-License-Identifier: MIT */
/* What the emulator of a foreign processor cannot do; the same tests run on processors of this
 * machine. */
#pragma once

#ifdef TVLINK_EMULATED
inline constexpr bool EMULATED = true;
#else
inline constexpr bool EMULATED = false;
#endif

/* With pointers of 64 bits it reads the number of an interface, in a request to join a group, from
 * the wrong place. */
inline constexpr bool NO_GROUPS_BY_INTERFACE = EMULATED && sizeof(void *) == 8;

/* The number of an error that a socket has kept reaches a MIPS program as this machine has it. */
#if defined(TVLINK_EMULATED) && defined(__mips__)
inline constexpr bool KEPT_ERRORS_ARE_FOREIGN = true;
#else
inline constexpr bool KEPT_ERRORS_ARE_FOREIGN = false;
#endif
