/* SPDX-License-Identifier: MIT */
#include "system.h"

#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <memory>
#include <system_error>
#include <vector>

namespace tools
{

Descriptor::~Descriptor()
{
    if (number >= 0) {
        close(number);
    }
}

std::string system_text(int error)
{
    return std::system_category().message(error);
}

sigset_t block_stop_signals()
{
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGINT);
    sigaddset(&signals, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    return signals;
}

int bind_error(int type, uint16_t port)
{
    const Descriptor probe(socket(AF_INET, type | SOCK_CLOEXEC, 0));
    if (probe.number < 0) {
        return errno;
    }
    const int on = type == SOCK_STREAM ? 1 : 0;
    setsockopt(probe.number, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    const int result = bind(probe.number, reinterpret_cast<sockaddr *>(&address), sizeof address);
    return result == 0 ? 0 : errno;
}

void print(FILE *to, const std::string &text)
{
    fwrite(text.data(), 1, text.size(), to);
    fflush(to);
}

std::string read_file(const std::string &path, size_t max)
{
    const std::unique_ptr<FILE, int (*)(FILE *)> file(fopen(path.c_str(), "rbe"), fclose);
    if (file == nullptr) {
        throw FileError(path + ": " + system_text(errno));
    }
    std::string text;
    std::vector<char> piece(65536);
    size_t count = 0;
    while ((count = fread(piece.data(), 1, piece.size(), file.get())) > 0) {
        text.append(piece.data(), count);
        if (text.size() > max) {
            throw FileError(path + ": longer than " + std::to_string(max) + " bytes");
        }
    }
    if (ferror(file.get()) != 0) {
        throw FileError(path + ": " + system_text(errno));
    }
    return text;
}

} // namespace tools
