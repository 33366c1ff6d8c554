/* SPDX-License-Identifier: MIT */
#include "support/project_text.h"

#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <sstream>

std::string project_path(const std::string &path)
{
    return TVLINK_SOURCE_DIR "/" + path;
}

std::string project_text(const std::string &path)
{
    std::ifstream file(project_path(path));
    if (!file.is_open()) {
        std::perror(path.c_str());
        std::abort();
    }
    std::stringstream content;
    content << file.rdbuf();
    return content.str();
}

std::vector<std::string> names_between(const std::string &text, const std::string &before,
                                       const std::string &behind)
{
    std::vector<std::string> names;
    for (size_t at = text.find(before); at != std::string::npos; at = text.find(before, at)) {
        at += before.size();
        size_t end = at;
        while (end < text.size() &&
               (std::isalnum(static_cast<unsigned char>(text[end])) != 0 || text[end] == '_')) {
            end++;
        }
        if (end > at && text.compare(end, behind.size(), behind) == 0) {
            names.push_back(text.substr(at, end - at));
        }
    }
    return names;
}
