/* The lists of programmes and channels that a television tells, asked for or pushed. */
#ifndef TVLINK_CTL_LIST_READER_H
#define TVLINK_CTL_LIST_READER_H

#include "controlpoint_calls.h"
#include "controlpoint_lists.h"
#include "exchange.h"

#include <optional>
#include <vector>

namespace ctl
{

/* All entries of a list. They borrow from the block, which goes with them. */
struct Entries {
    Entries() = default;
    ~Entries();
    Entries(const Entries &) = delete;
    Entries &operator=(const Entries &) = delete;

    CpBuffer block = {};
    std::vector<CpChannel> channels;      /* in a list of channels */
    std::vector<CpGuideEntry> programmes; /* in a guide */
    bool is_guide = false;
    const char *problem = nullptr; /* what is wrong with the list, when it could not be read */

    size_t count() const
    {
        return channels.size() + programmes.size();
    }
};

/* Reads the payload of a get reply. CP_BAD_ARGUMENT when that is not one of a list, CP_PROTOCOL
 * with a problem, CP_SYSTEM. */
CpStatus read_list(CpBytes payload, Entries *entries);

/* Asks for a list; an empty one has no entries. Throws as the functions of exchange.h do. */
void ask_list(const Session &session, const Request &request, const std::string &asked,
              Entries *entries);

} // namespace ctl

#endif
