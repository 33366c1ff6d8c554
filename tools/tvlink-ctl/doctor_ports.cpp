/* SPDX-License-Identifier: MIT */
/* The ports of this machine that are in use, and the processes that hold them. */
#include "doctor_collect.h"
#include "system.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <sys/socket.h>

namespace ctl
{
namespace
{

/* A socket in one of the system's socket tables. */
struct Holder {
    uid_t user;
    std::string inode;
};

/* The words of a line: number, address:port, peer, state, queues, timer, retries, user, time-out,
 * inode. Address, port and state are hexadecimal; only sockets in the state given count. */
std::optional<Holder> holder_in(const std::string &line, const std::string &port,
                                const std::string &state)
{
    std::istringstream stream(line);
    std::vector<std::string> words;
    std::string word;
    while (stream >> word) {
        words.push_back(word);
    }
    if (words.size() < 10 || words[1].size() < 5 || words[3] != state ||
        words[1].substr(words[1].size() - 5) != ":" + port) {
        return std::nullopt;
    }
    return Holder{static_cast<uid_t>(strtoul(words[7].c_str(), nullptr, 10)), words[9]};
}

std::optional<Holder> holder_in_table(const std::string &file, const std::string &port,
                                      const std::string &state)
{
    std::ifstream table(file);
    std::string line;
    std::optional<Holder> holder;
    while (!holder && std::getline(table, line)) {
        holder = holder_in(line, port, state);
    }
    return holder;
}

/* A dual-stack socket is listed among those of IPv6 alone. */
std::optional<Holder> find_holder(const std::string &protocol, uint16_t port)
{
    char wanted[5];
    snprintf(wanted, sizeof wanted, "%04X", static_cast<unsigned>(port));
    const std::string state = protocol == "TCP" ? "0A" : "07";
    const std::string table = protocol == "TCP" ? "/proc/self/net/tcp" : "/proc/self/net/udp";
    const std::optional<Holder> holder = holder_in_table(table, wanted, state);
    return holder ? holder : holder_in_table(table + "6", wanted, state);
}

namespace fs = std::filesystem;

/* False, too, for processes of other users, whose descriptors cannot be read. */
bool has_open(const fs::path &process, const std::string &link)
{
    std::error_code error;
    fs::directory_iterator entry(process / "fd", error);
    for (; !error && entry != fs::directory_iterator(); entry.increment(error)) {
        std::error_code unreadable;
        if (fs::read_symlink(entry->path(), unreadable) == link) {
            return true;
        }
    }
    return false;
}

void name_process(DoctorPort &port, const fs::path &process)
{
    port.pid = static_cast<pid_t>(strtol(process.filename().c_str(), nullptr, 10));
    std::ifstream name(process / "comm");
    std::getline(name, port.program);
}

void find_process(DoctorPort &port, const std::string &inode)
{
    const std::string link = "socket:[" + inode + "]";
    std::error_code error;
    fs::directory_iterator entry("/proc", error);
    for (; !error && entry != fs::directory_iterator(); entry.increment(error)) {
        const std::string name = entry->path().filename();
        const bool is_process = name.find_first_not_of("0123456789") == std::string::npos;
        if (is_process && has_open(entry->path(), link)) {
            name_process(port, entry->path());
            return;
        }
    }
}

} // namespace

DoctorPort doctor_port(const std::string &protocol, uint16_t number)
{
    DoctorPort port;
    port.protocol = protocol;
    port.number = number;
    port.error = tools::bind_error(protocol == "TCP" ? SOCK_STREAM : SOCK_DGRAM, number);
    if (port.error != EADDRINUSE) {
        return port;
    }
    const std::optional<Holder> holder = find_holder(protocol, number);
    if (holder) {
        port.user = holder->user;
        find_process(port, holder->inode);
    }
    return port;
}

} // namespace ctl
