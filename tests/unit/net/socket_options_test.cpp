#include "tvlink/socket.h"

#include "support/captured_lines.h"
#include "support/sockets.h"

#include <gtest/gtest.h>

#include <cerrno>

#include <fcntl.h>
#include <netinet/in.h>

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

} // namespace
