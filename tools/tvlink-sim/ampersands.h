/* SPDX-License-Identifier: MIT */
/* Ampersands in XML that begin no reference, as in "R&B". */
#ifndef TVLINK_SIM_AMPERSANDS_H
#define TVLINK_SIM_AMPERSANDS_H

#include <cstddef>
#include <string>

namespace sim
{

/* A document up to here, whose text comes block by block. */
struct Ampersands {
    std::string rest; /* the end of the text, whose meaning depends on what follows */
    bool in_cdata = false;
    size_t mended = 0;
};

/* The text with "&amp;" in place of each ampersand that begins no reference, without its end when
 * that depends on the next block. Sections of CDATA stay as they are. */
std::string mend_ampersands(Ampersands &state, const std::string &block, bool last);

} // namespace sim

#endif
