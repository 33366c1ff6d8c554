/* SPDX-License-Identifier: MIT */
#include "tvlink/host/socket.h"

#include "support/captured_lines.h"
#include "support/socket_options.h"
#include "support/sockets.h"
#include "support/system_calls.h"

#include <gtest/gtest.h>

#include <cerrno>

#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>

namespace
{

using Lines = std::vector<std::string>;

bool blocks(int fd)
{
    return (fcntl(fd, F_GETFL) & O_NONBLOCK) == 0;
}

TEST(SocketOptions, TellWhetherASocketBlocks)
{
    const CapturedLines lines;
    const Descriptor fd(soc_create(AF_INET, SOCK_STREAM, 0, 0, 0));
    for (const int mode : {1, 0, 2, 0, -1, 0}) {
        EXPECT_EQ(soc_setNoBlock(fd.get(), mode), 1);
        EXPECT_EQ(blocks(fd.get()), mode == 0) << mode;
    }
    EXPECT_EQ(lines.out(), Lines(6, "soc_setBlock ok\n "));
    EXPECT_EQ(lines.err(), Lines());
}

TEST(SocketOptions, TellWhyASocketCannotBeMadeNonBlocking)
{
    const CapturedLines lines;
    EXPECT_EQ(soc_setNoBlock(-1, 1), -1);
    EXPECT_EQ(errno, EBADF);
    EXPECT_EQ(lines.out(), Lines());
    EXPECT_EQ(lines.err(), Lines{"soc_setBlock fails  error : Bad file descriptor\n"});
}

/* "on, idle, interval, count" */
std::string keep_alive_of(int fd)
{
    return std::to_string(option_of(fd, SO_KEEPALIVE)) + ", " +
           std::to_string(option_of(fd, TCP_KEEPIDLE, IPPROTO_TCP)) + ", " +
           std::to_string(option_of(fd, TCP_KEEPINTVL, IPPROTO_TCP)) + ", " +
           std::to_string(option_of(fd, TCP_KEEPCNT, IPPROTO_TCP));
}

TEST(SocketOptions, KeepAConnectionAlive)
{
    const CapturedLines lines;
    const Descriptor fd(soc_create(AF_INET, SOCK_STREAM, 0, 0, 0));
    const int on[] = {1, 30, 5, 3};
    EXPECT_EQ(soc_keepLive(fd.get(), on), 0);
    EXPECT_EQ(keep_alive_of(fd.get()), "1, 30, 5, 3");
    const int off[] = {0, 31, 6, 4};
    EXPECT_EQ(soc_keepLive(fd.get(), off), 0);
    EXPECT_EQ(keep_alive_of(fd.get()), "0, 31, 6, 4");
    EXPECT_EQ(lines.all().size(), 0u);
}

TEST(SocketOptions, KeepAConnectionAliveWithFourNumbersInOrder)
{
    std::vector<std::vector<int>> calls;
    const Replaced options(
        system_setsockopt, [&](int fd, int level, int option, const void *value, socklen_t size) {
            EXPECT_EQ(size, 4u);
            calls.push_back({fd, level, option, *static_cast<const int *>(value)});
            return 0;
        });
    const int values[] = {11, 12, 13, 14};
    EXPECT_EQ(soc_keepLive(77, values), 0);
    EXPECT_EQ(calls, (std::vector<std::vector<int>>{{77, SOL_SOCKET, SO_KEEPALIVE, 11},
                                                    {77, IPPROTO_TCP, TCP_KEEPIDLE, 12},
                                                    {77, IPPROTO_TCP, TCP_KEEPINTVL, 13},
                                                    {77, IPPROTO_TCP, TCP_KEEPCNT, 14}}));
}

TEST(SocketOptions, TellWhichPartOfKeepingAliveFails)
{
    const Descriptor fd(soc_create(AF_INET, SOCK_STREAM, 0, 0, 0));
    const int values[] = {1, 30, 5, 3};
    const char *const reports[] = {
        " keep live fails: Protocol not available\n",
        " keep live idle fails: Protocol not available\n",
        " keep live interval fails: Protocol not available\n",
        " keep live count fails: Protocol not available\n",
    };
    for (long call = 1; call <= 4; call++) {
        const CapturedLines lines;
        WatchedCall options(system_setsockopt);
        options.fail(ENOPROTOOPT, call);
        EXPECT_EQ(soc_keepLive(fd.get(), values), -1);
        EXPECT_EQ(options.calls(), call) << "goes on after a failure";
        EXPECT_EQ(lines.out(), Lines());
        EXPECT_EQ(lines.err(), Lines{reports[call - 1]});
    }
}

TEST(SocketOptions, KeepNothingAliveThatTheSystemRefuses)
{
    const CapturedLines lines;
    const Descriptor fd(soc_create(AF_INET, SOCK_STREAM, 0, 0, 0));
    const int wrong[] = {1, 30, 5, 1000};
    EXPECT_EQ(soc_keepLive(fd.get(), wrong), -1);
    EXPECT_EQ(errno, EINVAL);
    EXPECT_EQ(option_of(fd.get(), TCP_KEEPINTVL, IPPROTO_TCP), 5) << "what was set stays";
    EXPECT_EQ(soc_keepLive(-1, wrong), -1);
    EXPECT_EQ(soc_keepLive(fd.get(), nullptr), -1);
    EXPECT_EQ(lines.err(), (Lines{" keep live count fails: Invalid argument\n",
                                  " keep live fails: Bad file descriptor\n"}));
}

} // namespace
