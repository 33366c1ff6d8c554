/* SPDX-License-Identifier: MIT */
/* What the emulator of a foreign processor cannot do; the same tests run on processors of this
 * machine. */
#pragma once

#ifdef TVLINK_EMULATED
inline constexpr bool EMULATED = true;
#else
inline constexpr bool EMULATED = false;
#endif
