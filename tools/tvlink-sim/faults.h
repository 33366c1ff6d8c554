/* SPDX-License-Identifier: MIT */
/* The faults of a channel list or guide. A strict reading refuses the file at the first one; a
 * lenient one counts them by kind and goes on. */
#ifndef TVLINK_SIM_FAULTS_H
#define TVLINK_SIM_FAULTS_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace sim
{

enum class Strictness : uint8_t { LENIENT, STRICT };

/* "1 programme skipped, at line 3: has no title" is made of these. */
struct FaultKind {
    const char *one;  /* "programme skipped" */
    const char *many; /* "programmes skipped" */
    const char *reason;
};

struct Fault {
    const FaultKind *kind;
    size_t count;
    size_t first_line; /* 0: unknown */
};

struct Faults {
    Strictness strictness = Strictness::LENIENT;
    std::vector<Fault> list;
};

/* Counts a fault that a strict reading accepts, too. The kind is referenced, not copied. */
void count_fault(Faults &faults, const FaultKind &kind, size_t line);

/* Counts the fault. Throws InputError with the refusal when the reading is strict. */
void note_fault(Faults &faults, const FaultKind &kind, size_t line, const std::string &refusal);

/* One line for each kind, in the order in which the kinds occurred first. */
std::vector<std::string> fault_remarks(const Faults &faults);

} // namespace sim

#endif
