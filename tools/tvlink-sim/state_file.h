/* SPDX-License-Identifier: MIT */
/* Files that are replaced as a whole, and ones that are set aside. */
#ifndef TVLINK_SIM_STATE_FILE_H
#define TVLINK_SIM_STATE_FILE_H

#include <string>

namespace sim
{

/* Replaces the file's content, so that after a crash there is the old or the new one; only its
 * owner may read it. Returns the reason of a failure, after which the old content stands; empty on
 * success. */
std::string replace_file(const std::string &path, const std::string &content);

/* Renames the file to "PATH.broken" or, while there is one, to "PATH.broken.2" and so on. Returns
 * the new path; empty when the system refuses. */
std::string set_aside(const std::string &path);

} // namespace sim

#endif
