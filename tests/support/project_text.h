/* The project's own files as text. */
#pragma once

#include <string>
#include <vector>

/* The content of a file; the path begins at the top of the project. */
std::string project_text(const std::string &path);

/* Every longest run of letters, digits and underscores that has `before` in front of it and
 * `behind` after it, in the order of the text. */
std::vector<std::string> names_between(const std::string &text, const std::string &before,
                                       const std::string &behind);
