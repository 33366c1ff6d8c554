/* SPDX-License-Identifier: MIT */
#include "tvlink/host/socket.h"

#include "support/captured_lines.h"
#include "support/libc_texts.h"
#include "support/process_state.h"
#include "support/socket_options.h"
#include "support/sockets.h"
#include "support/system_calls.h"

#include <gtest/gtest.h>

#include <arpa/inet.h>
#include <cerrno>
#include <thread>

#include <fcntl.h>
#include <netdb.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

namespace
{

using Lines = std::vector<std::string>;

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

TEST(Socket, GetsItsOptionsInTheirOrder)
{
    std::vector<std::pair<int, int>> given; /* level and option */
    const Replaced options(system_setsockopt,
                           [&](int fd, int level, int option, const void *value, socklen_t size) {
                               given.emplace_back(level, option);
                               return system_setsockopt.real(fd, level, option, value, size);
                           });
    const Descriptor fd(soc_create(AF_INET, SOCK_STREAM, 0, 7, 11));
    EXPECT_EQ(given, (std::vector<std::pair<int, int>>{{SOL_SOCKET, SO_REUSEADDR},
                                                       {SOL_SOCKET, SO_SNDTIMEO},
                                                       {SOL_SOCKET, SO_RCVTIMEO}}));
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
    WatchedCall sockets(system_socket);
    sockets.fail(EMFILE);
    const Replaced<decltype(system_setsockopt)> options(
        system_setsockopt, [](int, int, int, const void *, socklen_t) { return 0; });
    h_errno = HOST_NOT_FOUND;
    EXPECT_EQ(soc_create(AF_INET, SOCK_STREAM, 0, 0, 0), -1);
    EXPECT_EQ(lines.out(), Lines());
    EXPECT_EQ(lines.err(), Lines{"create socket fails: " + UNKNOWN_HOST + "\n"});
}

TEST(Socket, StaysOpenWhenAnOptionFails)
{
    const CapturedLines lines;
    for (long option = 1; option <= 3; option++) {
        const std::set<int> before = open_descriptors();
        {
            WatchedCall options(system_setsockopt);
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

/* ---- The resolver's errors */

TEST(Socket, TellsTheTextOfTheResolversError)
{
    h_errno = HOST_NOT_FOUND;
    EXPECT_STREQ(soc_getFormatError(), UNKNOWN_HOST.c_str());
    h_errno = TRY_AGAIN;
    EXPECT_STREQ(soc_getFormatError(), TRY_LATER.c_str());
    h_errno = 0;
    EXPECT_STREQ(soc_getFormatError(), NO_RESOLVER_ERROR.c_str());
}

TEST(Socket, ShowsTheResolversErrorBehindAText)
{
    const CapturedLines lines;
    h_errno = NO_RECOVERY;
    soc_showFormatError("my host");
    soc_showFormatError("");
    soc_showFormatError(nullptr);
    EXPECT_EQ(lines.out(), Lines());
    EXPECT_EQ(lines.err(), (Lines{"my host: " + SERVER_FAILED + "\n", SERVER_FAILED + "\n",
                                  SERVER_FAILED + "\n"}));
}

/* ---- Connecting, binding, listening, accepting */

Descriptor raw_socket(int type = SOCK_STREAM)
{
    return Descriptor(socket(AF_INET, type | SOCK_CLOEXEC, 0));
}

/* "address:port" of the other end, or of this one. */
std::string name_of(int fd, bool peer)
{
    sockaddr_in address = {};
    socklen_t size = sizeof address;
    sockaddr *at = reinterpret_cast<sockaddr *>(&address);
    EXPECT_EQ(peer ? getpeername(fd, at, &size) : getsockname(fd, at, &size), 0);
    char text[INET_ADDRSTRLEN] = "";
    inet_ntop(AF_INET, &address.sin_addr, text, sizeof text);
    return text + (":" + std::to_string(ntohs(address.sin_port)));
}

/* A client at an address of the loopback network. */
Descriptor client_from(const char *address, uint16_t port)
{
    Descriptor client = raw_socket();
    sockaddr_in from = {};
    from.sin_family = AF_INET;
    from.sin_addr.s_addr = inet_addr(address);
    EXPECT_EQ(bind(client.get(), reinterpret_cast<sockaddr *>(&from), sizeof from), 0);
    EXPECT_EQ(soc_connect(client.get(), "127.0.0.1", port), 0);
    return client;
}

TEST(Socket, IsConnectedToADottedAddressAndAPort)
{
    const CapturedLines lines;
    const Descriptor listener = listening_on();
    const int port = port_of(listener.get());
    for (const int given : {port, port + 0x10000, port - 0x10000}) {
        const Descriptor client = raw_socket();
        EXPECT_EQ(soc_connect(client.get(), "127.0.0.9", given), 0);
        EXPECT_EQ(name_of(client.get(), true), "127.0.0.9:" + std::to_string(port)) << given;
    }
    EXPECT_EQ(lines.all().size(), 0u);
}

TEST(Socket, IsNotConnectedToNobody)
{
    const CapturedLines lines;
    uint16_t port = 0;
    {
        const Descriptor listener = listening_on();
        port = port_of(listener.get());
    }
    const Descriptor client = raw_socket();
    EXPECT_EQ(soc_connect(client.get(), "127.0.0.1", port), -1);
    EXPECT_EQ(errno, ECONNREFUSED);
    EXPECT_EQ(soc_connect(-1, "127.0.0.1", port), -1);
    EXPECT_EQ(errno, EBADF);
    EXPECT_EQ(soc_connect(client.get(), "no address", port), -1);
    EXPECT_EQ(soc_connect(client.get(), "", port), -1);
    EXPECT_EQ(soc_connect(client.get(), nullptr, port), -1);
    EXPECT_EQ(lines.all().size(), 0u);
}

TEST(Socket, IsBoundToAllInterfacesWithItsAddressForReuse)
{
    const CapturedLines lines;
    const Descriptor chosen = raw_socket();
    EXPECT_EQ(soc_bind(chosen.get(), 0), 1);
    EXPECT_NE(port_of(chosen.get()), 0);
    EXPECT_EQ(option_of(chosen.get(), SO_REUSEADDR), 1);
    const Descriptor low_bits = raw_socket(SOCK_DGRAM);
    EXPECT_EQ(soc_bind(low_bits.get(), 0x50000 + 4711), 1);
    EXPECT_EQ(name_of(low_bits.get(), false), "0.0.0.0:4711");
    EXPECT_EQ(lines.all().size(), 0u);
}

TEST(Socket, IsNotBoundToATakenPort)
{
    const CapturedLines lines;
    const Descriptor listener = listening_on();
    const Descriptor second = raw_socket();
    EXPECT_EQ(soc_bind(second.get(), port_of(listener.get())), -1);
    EXPECT_EQ(errno, EADDRINUSE);
    EXPECT_EQ(lines.all().size(), 0u);
}

TEST(Socket, IsNotBoundWithoutItsAddressForReuse)
{
    const CapturedLines lines;
    const Descriptor fd = raw_socket();
    WatchedCall options(system_setsockopt);
    options.fail(ENOMEM);
    h_errno = NO_DATA;
    EXPECT_EQ(soc_bind(fd.get(), 4711), -1);
    EXPECT_EQ(port_of(fd.get()), 0);
    EXPECT_EQ(lines.out(), Lines());
    EXPECT_EQ(lines.err(), Lines{"setsockopt: " + HOST_WITHOUT_ADDRESS + "\n"});
}

TEST(Socket, ListensWithTheGivenBacklog)
{
    const CapturedLines lines;
    std::vector<int> backlogs;
    const Replaced watched(system_listen, [&](int fd, int backlog) {
        backlogs.push_back(backlog);
        return system_listen.real(fd, backlog);
    });
    const Descriptor fd = raw_socket();
    EXPECT_EQ(socket_listen(fd.get(), 7), 1);
    EXPECT_EQ(backlogs, std::vector<int>{7});
    EXPECT_EQ(option_of(fd.get(), SO_ACCEPTCONN), 1);
    const Descriptor of_datagrams = raw_socket(SOCK_DGRAM);
    EXPECT_EQ(socket_listen(of_datagrams.get(), 7), -1);
    EXPECT_EQ(errno, EOPNOTSUPP);
    EXPECT_EQ(lines.all().size(), 0u);
}

TEST(Socket, IsAcceptedWithThePeersAddress)
{
    const CapturedLines lines;
    const Descriptor listener = listening_on();
    for (const std::string from : {"127.1.2.3", "127.100.100.100"}) {
        const Descriptor client = client_from(from.c_str(), port_of(listener.get()));
        std::string text(INET_ADDRSTRLEN + 1, '#');
        const Descriptor accepted(soc_accept(listener.get(), &text[0]));
        EXPECT_EQ(name_of(accepted.get(), true), name_of(client.get(), false));
        EXPECT_EQ(text, from + '\0' + std::string(INET_ADDRSTRLEN - from.size(), '#'));
        EXPECT_EQ(fcntl(accepted.get(), F_GETFD), FD_CLOEXEC);
        EXPECT_EQ(fcntl(accepted.get(), F_GETFL) & O_NONBLOCK, 0);
    }
    EXPECT_EQ(lines.all().size(), 0u);
}

TEST(Socket, IsAcceptedWithoutAPlaceForTheAddress)
{
    const Descriptor listener = listening_on();
    const Descriptor client = client_from("127.0.0.1", port_of(listener.get()));
    const Descriptor accepted(soc_accept(listener.get(), nullptr));
    EXPECT_EQ(name_of(accepted.get(), true), name_of(client.get(), false));
}

TEST(Socket, IsNotAcceptedFromNobody)
{
    const CapturedLines lines;
    const Descriptor listener = listening_on();
    ASSERT_EQ(fcntl(listener.get(), F_SETFL, O_NONBLOCK), 0);
    std::string text(INET_ADDRSTRLEN, '#');
    EXPECT_EQ(soc_accept(listener.get(), &text[0]), -1);
    EXPECT_EQ(errno, EAGAIN);
    EXPECT_EQ(soc_accept(-1, &text[0]), -1);
    EXPECT_EQ(errno, EBADF);
    EXPECT_EQ(text, std::string(INET_ADDRSTRLEN, '#'));
    EXPECT_EQ(lines.all().size(), 0u);
}

TEST(Socket, IsAcceptedOnSeveralThreadsAtOnce)
{
    const Descriptor listeners[] = {listening_on(), listening_on()};
    std::vector<Descriptor> clients;
    std::vector<std::thread> threads;
    for (const Descriptor &listener : listeners) {
        for (int i = 0; i < 5; i++) {
            clients.push_back(client_from("127.0.0.1", port_of(listener.get())));
        }
        threads.emplace_back([&listener] {
            for (int i = 0; i < 5; i++) {
                char text[INET_ADDRSTRLEN] = "";
                const Descriptor accepted(soc_accept(listener.get(), text));
                EXPECT_GE(accepted.get(), 0);
                EXPECT_STREQ(text, "127.0.0.1");
            }
        });
    }
    for (std::thread &thread : threads) {
        thread.join();
    }
}

} // namespace
