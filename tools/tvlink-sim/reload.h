/* SPDX-License-Identifier: MIT */
/* Loads channels and guide again while the television runs. */
#ifndef TVLINK_SIM_RELOAD_H
#define TVLINK_SIM_RELOAD_H

#include <cstdint>
#include <ctime>
#include <string>
#include <vector>

#include <sys/types.h>

#include "lineup.h"

namespace sim
{

/* Replaces the television's lists. Phones are told by events, and those that take one get the new
 * guide. When a file is wrong the television keeps the lists that it has, and the failure is
 * printed. */
void reload_lineup(const LineupFiles &files);

/* What tells one state of a file from another; all zero for a file that is not there. */
struct FileState {
    dev_t device;
    ino_t number;
    off_t size;
    timespec changed;
};

struct WatchedFile {
    std::string path;
    FileState loaded; /* when the file was last reported as changed, or first seen */
    FileState seen;   /* at the last look */
};

/* The given files; samples are not watched. */
std::vector<WatchedFile> watched_files(const LineupFiles &files);

/* To be called at intervals. Whether a file has changed since the last report and is complete: a
 * file counts as complete when it is the same at two looks. */
bool files_have_changed(std::vector<WatchedFile> &files);

} // namespace sim

#endif
