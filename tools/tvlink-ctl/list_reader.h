/* SPDX-License-Identifier: MIT */
/* Lists of programmes and channels, requested or pushed. */
#ifndef TVLINK_CTL_LIST_READER_H
#define TVLINK_CTL_LIST_READER_H

#include "controlpoint_calls.h"
#include "controlpoint_lists.h"
#include "exchange.h"

#include <optional>
#include <vector>

namespace ctl
{

/* All entries of a list. Their texts point into the block. */
struct Entries {
    Entries() = default;
    ~Entries();
    Entries(const Entries &) = delete;
    Entries &operator=(const Entries &) = delete;

    CpBuffer block = {};
    std::vector<CpChannel> channels;      /* in a list of channels */
    std::vector<CpGuideEntry> programmes; /* in a guide */
    bool is_guide = false;
    const char *problem = nullptr; /* what is wrong with a list that could not be read */

    size_t count() const
    {
        return channels.size() + programmes.size();
    }
};

/* Reads the payload of a get reply. Fails with CP_BAD_ARGUMENT when it is not one of a list, with
 * CP_PROTOCOL and a problem when the list is broken, with CP_SYSTEM. */
CpStatus read_list(CpBytes payload, Entries *entries);

/* Asks for a list, which may be empty. Throws as the functions of exchange.h do. */
void ask_list(const Session &session, const Request &request, const std::string &asked,
              Entries *entries);

} // namespace ctl

#endif
