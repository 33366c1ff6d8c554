/* SPDX-License-Identifier: MIT */
#include "faults.h"

#include <algorithm>

#include "input_error.h"

namespace sim
{

namespace
{

std::string fault_remark(const Fault &fault)
{
    const bool single = fault.count == 1;
    std::string remark =
        std::to_string(fault.count) + " " + (single ? fault.kind->one : fault.kind->many);
    if (fault.first_line != 0) {
        remark +=
            (single ? ", at line " : ", the first at line ") + std::to_string(fault.first_line);
    }
    return remark + ": " + fault.kind->reason;
}

} // namespace

void count_fault(Faults &faults, const FaultKind &kind, size_t line)
{
    const auto found = std::find_if(faults.list.begin(), faults.list.end(),
                                    [&](const Fault &fault) { return fault.kind == &kind; });
    if (found == faults.list.end()) {
        faults.list.push_back({&kind, 1, line});
    } else {
        found->count++;
    }
}

void note_fault(Faults &faults, const FaultKind &kind, size_t line, const std::string &refusal)
{
    if (faults.strictness == Strictness::STRICT) {
        throw InputError(line, refusal);
    }
    count_fault(faults, kind, line);
}

std::vector<std::string> fault_remarks(const Faults &faults)
{
    std::vector<std::string> remarks;
    std::transform(faults.list.begin(), faults.list.end(), std::back_inserter(remarks),
                   fault_remark);
    return remarks;
}

} // namespace sim
