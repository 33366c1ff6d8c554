#include "tvlink/socket.h"

#include "support/captured_lines.h"
#include "support/process_state.h"
#include "support/replaced_call.h"
#include "support/sockets.h"
#include "support/watched_call.h"

#include <gtest/gtest.h>

#include <cerrno>

#include <fcntl.h>
#include <netdb.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

namespace
{

using Lines = std::vector<std::string>;

int option_of(int fd, int option)
{
    int value = -1;
    socklen_t size = sizeof value;
    EXPECT_EQ(getsockopt(fd, SOL_SOCKET, option, &value, &size), 0);
    return value;
}

/* "seconds.microseconds" */
std::string timeout_of(int fd, int option)
{
    timeval value = {-1, -1};
    socklen_t size = sizeof value;
    EXPECT_EQ(getsockopt(fd, SOL_SOCKET, option, &value, &size), 0);
    return std::to_string(value.tv_sec) + "." + std::to_string(value.tv_usec);
}

TEST(Socket, IsCreatedWithItsOptions)
{
    const CapturedLines lines;
    const Descriptor fd(soc_create(AF_INET, SOCK_STREAM, 0, 7, 11));
    ASSERT_GE(fd.get(), 0);
    EXPECT_EQ(option_of(fd.get(), SO_REUSEADDR), 1);
    EXPECT_EQ(option_of(fd.get(), SO_TYPE), SOCK_STREAM);
    EXPECT_EQ(option_of(fd.get(), SO_DOMAIN), AF_INET);
    EXPECT_EQ(option_of(fd.get(), SO_PROTOCOL), IPPROTO_TCP);
    EXPECT_EQ(timeout_of(fd.get(), SO_SNDTIMEO), "7.0");
    EXPECT_EQ(timeout_of(fd.get(), SO_RCVTIMEO), "11.0");
    EXPECT_EQ(lines.all().size(), 0u);
}

TEST(Socket, HasNoTimeOutForZeroSeconds)
{
    const Descriptor fd(soc_create(AF_INET, SOCK_DGRAM, IPPROTO_UDP, 0, 0));
    ASSERT_GE(fd.get(), 0);
    EXPECT_EQ(option_of(fd.get(), SO_TYPE), SOCK_DGRAM);
    EXPECT_EQ(timeout_of(fd.get(), SO_SNDTIMEO), "0.0");
    EXPECT_EQ(timeout_of(fd.get(), SO_RCVTIMEO), "0.0");
}

TEST(Socket, IsNotInheritedAndKeepsTheTypesFlags)
{
    const Descriptor plain(soc_create(AF_INET, SOCK_STREAM, 0, 0, 0));
    const Descriptor flagged(soc_create(AF_INET, SOCK_STREAM | SOCK_NONBLOCK, 0, 0, 0));
    EXPECT_EQ(fcntl(plain.get(), F_GETFD), FD_CLOEXEC);
    EXPECT_EQ(fcntl(plain.get(), F_GETFL) & O_NONBLOCK, 0);
    EXPECT_EQ(fcntl(flagged.get(), F_GETFD), FD_CLOEXEC);
    EXPECT_EQ(fcntl(flagged.get(), F_GETFL) & O_NONBLOCK, O_NONBLOCK);
}

TEST(Socket, IsRefusedSilentlyWhenTheSystemHasNone)
{
    const CapturedLines lines;
    EXPECT_EQ(soc_create(AF_INET, SOCK_STREAM, IPPROTO_UDP, 0, 0), -1);
    EXPECT_EQ(soc_create(-1, SOCK_STREAM, 0, 0, 0), -1);
    EXPECT_EQ(soc_create(AF_INET, 99, 0, 0, 0), -1);
    EXPECT_EQ(lines.all().size(), 0u) << "address reuse fails first, and prints nothing";
}

TEST(Socket, IsReportedAsTheResolverWouldWhenOnlyTheSocketFails)
{
    const CapturedLines lines;
    WatchedCall sockets(CALL_SOCKET);
    sockets.fail(EMFILE);
    const Replaced<decltype(system_setsockopt)> options(
        system_setsockopt, [](int, int, int, const void *, socklen_t) { return 0; });
    h_errno = HOST_NOT_FOUND;
    EXPECT_EQ(soc_create(AF_INET, SOCK_STREAM, 0, 0, 0), -1);
    EXPECT_EQ(lines.out(), Lines());
    EXPECT_EQ(lines.err(), Lines{"create socket fails: Unknown host\n"});
}

TEST(Socket, StaysOpenWhenAnOptionFails)
{
    const CapturedLines lines;
    for (long option = 1; option <= 3; option++) {
        const std::set<int> before = open_descriptors();
        {
            WatchedCall options(CALL_SETSOCKOPT);
            options.fail(ENOMEM, option);
            EXPECT_EQ(soc_create(AF_INET, SOCK_STREAM, 0, 1, 1), -1) << option;
            EXPECT_EQ(options.calls(), option);
        }
        std::set<int> after = open_descriptors();
        for (const int fd : before) {
            after.erase(fd);
        }
        ASSERT_EQ(after.size(), 1u) << option;
        close(*after.begin());
    }
    EXPECT_EQ(lines.all().size(), 0u);
}

TEST(Socket, IsClosedAfterALine)
{
    const CapturedLines lines;
    const int fd = soc_create(AF_INET, SOCK_STREAM, 0, 0, 0);
    EXPECT_EQ(soc_close(fd), 1);
    EXPECT_EQ(fcntl(fd, F_GETFD), -1);
    EXPECT_EQ(soc_close(fd), -1);
    EXPECT_EQ(soc_close(-1), -1);
    EXPECT_EQ(lines.out(), Lines(3, "zqt===  soc_close 351\n"));
    EXPECT_EQ(lines.err(), Lines());
}

} // namespace
