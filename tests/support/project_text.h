/* SPDX-License-Identifier: MIT */
/* The project's own files as text. */
#pragma once

#include <string>
#include <vector>

/* The absolute path of a file whose path begins at the top of the project, and the file's content.
 */
std::string project_path(const std::string &path);
std::string project_text(const std::string &path);

/* Every longest run of letters, digits and underscores that has `before` in front of it and
 * `behind` after it, in the order of the text. */
std::vector<std::string> names_between(const std::string &text, const std::string &before,
                                       const std::string &behind);
