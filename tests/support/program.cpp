/* SPDX-License-Identifier: MIT */
#include "support/program.h"

#include <cstdio>
#include <cstdlib>

#include <fcntl.h>
#include <sched.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

static Descriptor output_file()
{
    Descriptor file(memfd_create("output", MFD_CLOEXEC));
    if (file.get() < 0) {
        std::perror("memfd_create");
        std::abort();
    }
    return file;
}

static std::string content(const Descriptor &file)
{
    char part[4096];
    std::string text;
    for (;;) {
        /* Without moving the offset, which is where the program's next output goes. */
        const ssize_t size = pread(file.get(), part, sizeof part, static_cast<off_t>(text.size()));
        if (size <= 0) {
            return text;
        }
        text.append(part, static_cast<size_t>(size));
    }
}

/* In the child, which shares its memory layout with a program of many threads: system calls only.
 */
[[noreturn]] static void become(const char *path, char *const *arguments, int out, int err,
                                int network)
{
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (network >= 0 && setns(network, CLONE_NEWNET) != 0) {
        _exit(126);
    }
    const int nothing = open("/dev/null", O_RDONLY | O_CLOEXEC);
    dup2(nothing, STDIN_FILENO);
    dup2(out, STDOUT_FILENO);
    dup2(err, STDERR_FILENO);
    execv(path, arguments);
    _exit(127);
}

Program::Program(const std::string &path, const std::vector<std::string> &arguments,
                 const Network *network)
    : out_(output_file()), err_(output_file())
{
    std::vector<std::string> words = {path};
    words.insert(words.end(), arguments.begin(), arguments.end());
    std::vector<char *> pointers;
    for (std::string &word : words) {
        pointers.push_back(word.data());
    }
    pointers.push_back(nullptr);
    const int space = network != nullptr ? network->descriptor() : -1;
    id_ = fork();
    if (id_ == 0) {
        become(path.c_str(), pointers.data(), out_.get(), err_.get(), space);
    }
    if (id_ < 0) {
        std::perror("fork");
        std::abort();
    }
}

Program::~Program()
{
    if (!status_) {
        kill(id_, SIGKILL);
        waitpid(id_, nullptr, 0);
    }
}

std::string Program::out() const
{
    return content(out_);
}

std::string Program::err() const
{
    return content(err_);
}

static size_t count_of(const std::string &text, const std::string &wanted)
{
    size_t count = 0;
    for (size_t at = text.find(wanted); at != std::string::npos; at = text.find(wanted, at + 1)) {
        count++;
    }
    return count;
}

bool Program::wait_for(const std::string &text, size_t times) const
{
    return wait_until([&] { return count_of(out(), text) >= times; });
}

void Program::signal(int number) const
{
    kill(id_, number);
}

std::optional<int> Program::wait_for_exit(std::chrono::milliseconds deadline)
{
    wait_until(
        [&] {
            int status = 0;
            if (!status_ && waitpid(id_, &status, WNOHANG) == id_) {
                status_ = WIFEXITED(status) ? WEXITSTATUS(status) : 1000 + WTERMSIG(status);
            }
            return status_.has_value();
        },
        deadline);
    return status_;
}

pid_t Program::id() const
{
    return id_;
}

Finished run_program(const std::string &path, const std::vector<std::string> &arguments,
                     const Network *network)
{
    Program program(path, arguments, network);
    const std::optional<int> status = program.wait_for_exit();
    return {status, program.out(), program.err()};
}

std::string first_line(const std::string &text)
{
    return text.substr(0, text.find('\n'));
}
