/* SPDX-License-Identifier: MIT */
/* Texts in several encodings, perhaps compressed, read as UTF-8 block by block.
 *
 * A byte order mark, zeros between the letters or the encoding that an XML file declares determine
 * the encoding; otherwise it is UTF-8, in which a byte that belongs to no character is taken for
 * windows-1252. */
#ifndef TVLINK_SIM_TEXT_BLOCKS_H
#define TVLINK_SIM_TEXT_BLOCKS_H

#include <cstdint>
#include <functional>
#include <string>

#include "faults.h"
#include "unzip.h"

namespace sim
{

enum class TextKind : uint8_t { PLAIN, XML };

/* Called with whole characters only. */
using TakeText = std::function<void(const std::string &text)>;

/* A strict reading keeps control characters; a lenient one replaces those that no text has by
 * blanks. Throws InputError when a strict reading meets bytes that are not of the encoding, and
 * when compressed data is damaged. */
void read_text(const ReadBlock &read, TextKind kind, Faults &faults, const TakeText &take);

} // namespace sim

#endif
