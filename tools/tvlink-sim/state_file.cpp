/* SPDX-License-Identifier: MIT */
#include "state_file.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>

#include "system.h"

namespace sim
{

using namespace tools;

namespace
{

bool write_all(int file, const std::string &content)
{
    size_t written = 0;
    while (written < content.size()) {
        const ssize_t count = ::write(file, content.data() + written, content.size() - written);
        if (count < 0 && errno != EINTR) {
            return false;
        }
        written += count > 0 ? static_cast<size_t>(count) : 0;
    }
    return true;
}

bool write_file(const std::string &path, const std::string &content)
{
    const Descriptor file(open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600));
    return file.number >= 0 && write_all(file.number, content) && fsync(file.number) == 0;
}

std::string folder_of(const std::string &path)
{
    const size_t slash = path.rfind('/');
    return slash == std::string::npos ? "." : path.substr(0, slash + 1);
}

/* So that the new name lasts; some file systems have no such request, and need none. */
void sync_folder(const std::string &path)
{
    const Descriptor folder(open(folder_of(path).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (folder.number >= 0) {
        fsync(folder.number);
    }
}

} // namespace

std::string replace_file(const std::string &path, const std::string &content)
{
    const std::string beside = path + ".new";
    if (!write_file(beside, content) || rename(beside.c_str(), path.c_str()) != 0) {
        const int error = errno;
        unlink(beside.c_str());
        return system_text(error);
    }
    sync_folder(path);
    return "";
}

std::string set_aside(const std::string &path)
{
    std::string aside = path + ".broken";
    for (int number = 2; access(aside.c_str(), F_OK) == 0; number++) {
        aside = path + ".broken." + std::to_string(number);
    }
    if (rename(path.c_str(), aside.c_str()) != 0) {
        return "";
    }
    sync_folder(path);
    return aside;
}

} // namespace sim
