/* SPDX-License-Identifier: MIT */
/* Columns that line up on a terminal. */
#ifndef TVLINK_CTL_TABLE_H
#define TVLINK_CTL_TABLE_H

#include <cstddef>
#include <string>
#include <vector>

namespace ctl
{

struct Column {
    std::string title;
    bool is_number = false; /* aligned to the right */
};

struct Table {
    std::vector<Column> columns;
    std::vector<std::vector<std::string>> rows; /* of printable UTF-8, a cell for each column */
    std::vector<std::string> notes;             /* lines below the rows; none, or one for each */
};

/* The number of terminal columns that a text takes. */
size_t display_width(const std::string &text);

/* The titles and the rows, a line each. */
std::string table_text(const Table &table);

} // namespace ctl

#endif
