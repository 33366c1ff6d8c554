/* SPDX-License-Identifier: MIT */
/* The record of a client and what is done with it: create, connect, send, receive, close. */
#include "tvlink/host/http_client.h"

#include "support/captured_lines.h"
#include "support/libc_texts.h"
#include "support/process_state.h"
#include "support/scripted_server.h"
#include "support/socket_options.h"
#include "support/sockets.h"
#include "support/system_calls.h"
#include "support/taken_time.h"
#include "support/wait_until.h"
#include "unit/http/http_texts.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <climits>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <memory>

#include <arpa/inet.h>
#include <fcntl.h>
#include <sys/socket.h>

namespace
{

using Lines = std::vector<std::string>;
using Pauses = std::vector<uint64_t>;

constexpr size_t MOST = 1048576;

const char *const BLOCKING = "soc_setBlock ok\n ";
const char *const NOT_CONNECTED = "zqt===  web_tcpclient_conn 52\n";
const Lines CLOSED = {"zqt===  web_tcpclient_close 104\n", "zqt===  soc_close 351\n"};

struct Text {
    int length;
    std::unique_ptr<char, void (*)(void *)> bytes;
};

Text receive(WebTcpClient *client)
{
    char *out = reinterpret_cast<char *>(0x1);
    const int length = web_tcpclient_recv(client, &out, 0);
    return {length, {out, std::free}};
}

/* With the zero byte behind it. */
std::string content(const Text &text)
{
    return text.bytes == nullptr
               ? "null"
               : std::string(text.bytes.get(), static_cast<size_t>(text.length) + 1);
}

std::string terminated(const std::string &text)
{
    return text + std::string(1, '\0');
}

bool is_open(int fd)
{
    return fcntl(fd, F_GETFD) >= 0;
}

/* A port on which nobody listens, held so that nobody else gets it. */
Descriptor silent_port()
{
    Descriptor held(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    EXPECT_EQ(bind(held.get(), reinterpret_cast<const sockaddr *>(&address), sizeof address), 0);
    return held;
}

class HttpClient : public testing::Test
{
protected:
    ~HttpClient() override
    {
        web_tcpclient_close(&client);
    }

    void create(uint16_t port)
    {
        ASSERT_EQ(web_tcpclient_create(&client, "127.0.0.1", port), 0);
        lines.clear();
    }

    void connect_to(const ScriptedServer &server)
    {
        create(server.port());
        ASSERT_EQ(web_tcpclient_conn(&client), 0);
    }

    void expect_untouched(const std::string &address)
    {
        EXPECT_EQ(web_tcpclient_create(&client, address.c_str(), 80), -1);
        WebTcpClient empty = {};
        empty.fd = -1;
        EXPECT_EQ(hex(&client, sizeof client), hex(&empty, sizeof empty));
        EXPECT_EQ(sockets.calls(), 0);
        EXPECT_TRUE(lines.all().empty());
    }

    CapturedLines lines;
    WatchedCall sockets{system_socket};
    WebTcpClient client = {-1, 0, "", {}, 0};
};

TEST_F(HttpClient, IsARecordOf44Bytes)
{
    EXPECT_EQ(offsetof(WebTcpClient, fd), 0u);
    EXPECT_EQ(offsetof(WebTcpClient, port), 4u);
    EXPECT_EQ(offsetof(WebTcpClient, address), 8u);
    EXPECT_EQ(offsetof(WebTcpClient, server), 24u);
    EXPECT_EQ(offsetof(WebTcpClient, connected), 40u);
    EXPECT_EQ(sizeof(WebTcpClient), 44u);
}

TEST_F(HttpClient, IsFilledWhenItIsCreated)
{
    memset(&client, 0xA5, sizeof client);
    EXPECT_EQ(web_tcpclient_create(&client, "192.0.2.10", 8080), 0);
    EXPECT_GE(client.fd, 0);
    EXPECT_EQ(client.port, 8080);
    EXPECT_EQ(hex(client.address, sizeof client.address),
              "31 39 32 2E 30 2E 32 2E 31 30 00 00 00 00 00 00");
    EXPECT_EQ(hex(&client.server, sizeof client.server),
              "02 00 1F 90 C0 00 02 0A 00 00 00 00 00 00 00 00");
    EXPECT_EQ(client.connected, 0);
    EXPECT_EQ(lines.out(), Lines{BLOCKING});
    EXPECT_TRUE(lines.err().empty());
}

TEST_F(HttpClient, HasABlockingSocketOfItsOwnWithTimeOuts)
{
    create(80);
    EXPECT_EQ(option_of(client.fd, SO_DOMAIN), AF_INET);
    EXPECT_EQ(option_of(client.fd, SO_TYPE), SOCK_STREAM);
    EXPECT_EQ(option_of(client.fd, SO_REUSEADDR), 1);
    EXPECT_EQ(timeout_of(client.fd, SO_SNDTIMEO), "1.0");
    EXPECT_EQ(timeout_of(client.fd, SO_RCVTIMEO), "10.0");
    EXPECT_EQ(fcntl(client.fd, F_GETFD), FD_CLOEXEC);
    EXPECT_EQ(fcntl(client.fd, F_GETFL) & O_NONBLOCK, 0);
}

TEST_F(HttpClient, ConnectsToTheLow16BitsOfThePort)
{
    EXPECT_EQ(web_tcpclient_create(&client, "255.255.255.254", 65536 + 80), 0);
    EXPECT_EQ(client.port, 65616);
    EXPECT_STREQ(client.address, "255.255.255.254");
    EXPECT_EQ(hex(&client.server, 8), "02 00 00 50 FF FF FF FE");
}

TEST_F(HttpClient, TakesNoAddressThatDoesNotFit)
{
    memset(&client, 0xA5, sizeof client);
    expect_untouched("0255.0255.0255.1");
    expect_untouched(std::string(100000, '1'));
    EXPECT_EQ(web_tcpclient_create(&client, nullptr, 80), -1);
    EXPECT_EQ(client.fd, -1);
    EXPECT_EQ(sockets.calls(), 0);
}

TEST_F(HttpClient, ResolvesNoNames)
{
    const TakenSleeps sleeps;
    EXPECT_EQ(web_tcpclient_create(&client, "localhost", 80), 0);
    EXPECT_EQ(hex(&client.server, 8), "02 00 00 50 FF FF FF FF");
    EXPECT_EQ(web_tcpclient_conn(&client), -1);
}

TEST_F(HttpClient, NeedsASocket)
{
    sockets.fail(EMFILE);
    EXPECT_EQ(web_tcpclient_create(&client, "192.0.2.10", 80), -3);
    EXPECT_EQ(client.fd, -1);
    EXPECT_TRUE(lines.all().empty());
}

TEST_F(HttpClient, IsCreatedThoughItsSocketCannotBeMadeBlocking)
{
    WatchedCall modes(system_ioctl);
    modes.fail(ENOMEM);
    EXPECT_EQ(web_tcpclient_create(&client, "192.0.2.10", 80), 0);
    EXPECT_EQ(modes.calls(), 1);
    EXPECT_EQ(lines.err(), Lines{"soc_setBlock fails  error : " + NO_MEMORY + "\n"});
}

TEST_F(HttpClient, NeedsARecord)
{
    char *out = reinterpret_cast<char *>(0x1);
    EXPECT_EQ(web_tcpclient_create(nullptr, "192.0.2.10", 80), -1);
    EXPECT_EQ(web_tcpclient_conn(nullptr), -1);
    EXPECT_EQ(web_tcpclient_send(nullptr, "x", 1), -1);
    EXPECT_EQ(web_tcpclient_recv(nullptr, &out, 0), -1);
    EXPECT_EQ(out, nullptr);
    EXPECT_EQ(web_tcpclient_recv(nullptr, nullptr, 0), -1);
    EXPECT_EQ(web_tcpclient_close(nullptr), -1);
    EXPECT_TRUE(lines.all().empty());
}

/* ---- Connecting ---- */

TEST_F(HttpClient, SleepsASecondAfterItConnected)
{
    const ScriptedServer server({});
    create(server.port());
    EXPECT_EQ(web_tcpclient_conn(&client), 0);
    EXPECT_EQ(client.connected, 1);
    EXPECT_EQ(server.pauses(), Pauses{SECOND_US});
    EXPECT_TRUE(lines.all().empty());
}

TEST_F(HttpClient, ConnectsOnce)
{
    const ScriptedServer server({});
    connect_to(server);
    EXPECT_EQ(web_tcpclient_conn(&client), 1);
    EXPECT_EQ(client.connected, 1);
    EXPECT_EQ(server.pauses(), Pauses{SECOND_US});
    EXPECT_TRUE(lines.all().empty());
}

TEST_F(HttpClient, TriesThreeTimesASecondApart)
{
    const Descriptor port = silent_port();
    const TakenSleeps sleeps;
    create(port_of(port.get()));
    const int fd = client.fd;
    EXPECT_EQ(web_tcpclient_conn(&client), -1);
    EXPECT_EQ(sleeps.all(), Pauses(3, SECOND_US));
    EXPECT_EQ(lines.out(), Lines{NOT_CONNECTED});
    EXPECT_TRUE(lines.err().empty());
    EXPECT_EQ(client.connected, 0);
    EXPECT_EQ(client.fd, fd);
    EXPECT_FALSE(is_open(fd));
}

TEST_F(HttpClient, StopsTryingWhenTheServerIsThere)
{
    for (size_t refused = 1; refused <= 2; refused++) {
        const Descriptor port = silent_port();
        size_t pauses = 0;
        const TakenSleeps sleeps([&](uint64_t) {
            pauses++;
            if (pauses == refused) {
                listen(port.get(), 1);
            }
        });
        create(port_of(port.get()));
        EXPECT_EQ(web_tcpclient_conn(&client), 0);
        EXPECT_EQ(sleeps.all(), Pauses(refused + 1, SECOND_US));
        EXPECT_TRUE(lines.all().empty());
        web_tcpclient_close(&client);
    }
}

/* ---- Sending ---- */

TEST_F(HttpClient, SendsAllBytes)
{
    const ScriptedServer server({});
    connect_to(server);
    const std::string data("a\0b\xFF\0", 5);
    EXPECT_EQ(web_tcpclient_send(&client, data.data(), 5), 5);
    EXPECT_EQ(web_tcpclient_send(&client, "c", 1), 1);
    web_tcpclient_close(&client);
    EXPECT_EQ(server.received(), data + "c");
}

TEST_F(HttpClient, GoesOnWhereAPartialSendEnded)
{
    create(80);
    Bytes taken;
    const Replaced sends(system_send, [&](int fd, const void *data, size_t size, int flags) {
        EXPECT_EQ(fd, client.fd);
        EXPECT_EQ(flags, MSG_NOSIGNAL);
        const size_t part = size < 300 ? size : 300;
        const uint8_t *start = static_cast<const uint8_t *>(data);
        taken.insert(taken.end(), start, start + part);
        return static_cast<ssize_t>(part);
    });
    Bytes data;
    for (int i = 0; i < 1000; i++) {
        data.push_back(static_cast<uint8_t>(i * 7));
    }
    EXPECT_EQ(web_tcpclient_send(&client, data.data(), 1000), 1000);
    EXPECT_EQ(hex(taken), hex(data));
}

TEST_F(HttpClient, EndsAtTheFirstFailureOfASend)
{
    const ScriptedServer server({});
    connect_to(server);
    WatchedCall sends(system_send);
    for (const int error : {EAGAIN, EINTR, EPIPE, ENOBUFS}) {
        sends.fail(error);
        EXPECT_EQ(web_tcpclient_send(&client, "abc", 3), -1);
        EXPECT_EQ(errno, error);
        EXPECT_EQ(sends.calls(), 1);
    }
    EXPECT_EQ(server.pauses(), Pauses{SECOND_US});
    EXPECT_TRUE(lines.all().empty());
    EXPECT_TRUE(is_open(client.fd));
}

TEST_F(HttpClient, EndsWhenTheFailureComesAfterAPart)
{
    create(80);
    int calls = 0;
    const Replaced sends(system_send, [&](int, const void *, size_t, int) -> ssize_t {
        calls++;
        errno = EAGAIN;
        return calls == 1 ? 2 : -1;
    });
    EXPECT_EQ(web_tcpclient_send(&client, "abc", 3), -1);
    EXPECT_EQ(calls, 2);
}

TEST_F(HttpClient, RaisesNoSignalWhenTheServerIsGone)
{
    const ScriptedServer server({}, ScriptedServer::RESETS);
    connect_to(server);
    EXPECT_TRUE(wait_until([&] { return web_tcpclient_send(&client, "abc", 3) == -1; }));
    EXPECT_EQ(web_tcpclient_send(&client, "abc", 3), -1);
    EXPECT_EQ(errno, EPIPE);
}

TEST_F(HttpClient, SendsNothingWithoutALengthOrData)
{
    create(80);
    WatchedCall sends(system_send);
    EXPECT_EQ(web_tcpclient_send(&client, "abc", 0), 0);
    EXPECT_EQ(web_tcpclient_send(&client, "abc", -1), 0);
    EXPECT_EQ(web_tcpclient_send(&client, "abc", INT_MIN), 0);
    EXPECT_EQ(web_tcpclient_send(&client, nullptr, 0), 0);
    EXPECT_EQ(web_tcpclient_send(&client, nullptr, 3), -1);
    EXPECT_EQ(sends.calls(), 0);
}

/* ---- Receiving ---- */

TEST_F(HttpClient, ReceivesUntilTheServerCloses)
{
    const std::string second("lo\0 wo", 6);
    const ScriptedServer server({"hel", second, "rld"});
    connect_to(server);
    const int fd = client.fd;
    const Text text = receive(&client);
    EXPECT_EQ(text.length, 12);
    EXPECT_EQ(content(text), terminated("hel" + second + "rld"));
    EXPECT_EQ(server.pauses(), (Pauses{SECOND_US, 1000, 1000, 1000}));
    EXPECT_EQ(lines.out(), Lines{RECEIVED});
    EXPECT_TRUE(lines.err().empty());
    EXPECT_FALSE(is_open(fd));
    EXPECT_EQ(client.fd, fd);
    EXPECT_EQ(client.connected, 1);
}

TEST_F(HttpClient, GivesAnEmptyTextWhenNothingArrives)
{
    const ScriptedServer server({});
    connect_to(server);
    const Text text = receive(&client);
    EXPECT_EQ(text.length, 0);
    EXPECT_EQ(content(text), terminated(""));
    EXPECT_EQ(server.pauses(), Pauses{SECOND_US});
    EXPECT_EQ(lines.out(), Lines{RECEIVED});
}

TEST_F(HttpClient, KeepsWhatArrivedBeforeAnError)
{
    for (const int error : {EAGAIN, EINTR, ECONNRESET}) {
        lines.clear();
        const TakenSleeps sleeps;
        create(80);
        int calls = 0;
        const Replaced receives(system_recv, [&](int, void *to, size_t, int) -> ssize_t {
            calls++;
            errno = error;
            return calls == 1 ? (memcpy(to, "abc", 3), 3) : -1;
        });
        EXPECT_EQ(content(receive(&client)), terminated("abc"));
        EXPECT_EQ(calls, 2);
        EXPECT_EQ(sleeps.all(), Pauses{1000});
        EXPECT_EQ(lines.out(), Lines{RECEIVED});
        EXPECT_FALSE(is_open(client.fd));
    }
}

TEST_F(HttpClient, KeepsWhatArrivedBeforeAReset)
{
    const ScriptedServer server({"abc"}, ScriptedServer::RESETS);
    connect_to(server);
    EXPECT_EQ(content(receive(&client)), terminated("abc"));
    EXPECT_FALSE(is_open(client.fd));
}

TEST_F(HttpClient, EndsWhenTheServerSaysNothingForLong)
{
    const ScriptedServer server({"abc"}, ScriptedServer::SAYS_NO_MORE);
    connect_to(server);
    const timeval soon = {0, 20000};
    ASSERT_EQ(setsockopt(client.fd, SOL_SOCKET, SO_RCVTIMEO, &soon, sizeof soon), 0);
    EXPECT_EQ(content(receive(&client)), terminated("abc"));
    EXPECT_FALSE(is_open(client.fd));
}

TEST_F(HttpClient, ReceivesNoMoreThanOneMebibyte)
{
    const TakenSleeps sleeps;
    create(80);
    std::vector<size_t> asked;
    const Replaced receives(system_recv, [&](int fd, void *to, size_t size, int flags) {
        EXPECT_EQ(fd, client.fd);
        EXPECT_EQ(flags, 0);
        asked.push_back(size);
        const size_t part = asked.size() == 1 ? 1000 : size;
        memset(to, 'm', part);
        return static_cast<ssize_t>(part);
    });
    const Text text = receive(&client);
    EXPECT_EQ(text.length, 1048576);
    EXPECT_TRUE(content(text) == terminated(std::string(MOST, 'm')));
    EXPECT_EQ(asked, (std::vector<size_t>{MOST, MOST - 1000}));
    EXPECT_EQ(sleeps.all(), Pauses(2, 1000));
    EXPECT_EQ(lines.out(), Lines{RECEIVED});
    EXPECT_FALSE(is_open(client.fd));
}

TEST_F(HttpClient, ReceivesNothingWithoutMemory)
{
    const ScriptedServer server({"abc"});
    connect_to(server);
    {
        WatchedCall blocks(system_malloc);
        blocks.fail(ENOMEM);
        const Text text = receive(&client);
        EXPECT_EQ(text.length, 0);
        EXPECT_EQ(content(text), "null");
        EXPECT_EQ(blocks.calls(), 1);
    }
    EXPECT_TRUE(lines.all().empty());
    EXPECT_TRUE(is_open(client.fd));
    EXPECT_EQ(content(receive(&client)), terminated("abc")) << "it may be tried again";
}

TEST_F(HttpClient, ReceivesNothingWithoutAPlaceForIt)
{
    const ScriptedServer server({"abc"});
    connect_to(server);
    EXPECT_EQ(web_tcpclient_recv(&client, nullptr, 0), -1);
    EXPECT_TRUE(lines.all().empty());
    EXPECT_EQ(content(receive(&client)), terminated("abc"));
}

TEST_F(HttpClient, IgnoresTheLastArgumentOfAReceive)
{
    for (const int ignored : {-1, 1, INT_MAX, INT_MIN}) {
        const ScriptedServer server({"abc"});
        connect_to(server);
        char *out = nullptr;
        EXPECT_EQ(web_tcpclient_recv(&client, &out, ignored), 3);
        EXPECT_STREQ(out, "abc");
        std::free(out);
    }
}

/* ---- Closing ---- */

TEST_F(HttpClient, ClosesItsSocketAndIsNoLongerConnected)
{
    const ScriptedServer server({});
    connect_to(server);
    const int fd = client.fd;
    EXPECT_EQ(web_tcpclient_close(&client), 0);
    EXPECT_EQ(lines.out(), CLOSED);
    EXPECT_TRUE(lines.err().empty());
    EXPECT_EQ(client.connected, 0);
    EXPECT_EQ(client.fd, fd);
    EXPECT_FALSE(is_open(fd));
}

TEST_F(HttpClient, ClosesAsOftenAsItIsToldTo)
{
    create(80);
    EXPECT_EQ(web_tcpclient_close(&client), 0);
    lines.clear();
    EXPECT_EQ(web_tcpclient_close(&client), 0);
    EXPECT_EQ(lines.out(), CLOSED);
    EXPECT_TRUE(lines.err().empty());
}

TEST_F(HttpClient, MayBeCreatedAgain)
{
    const std::set<int> before = open_descriptors();
    for (int i = 0; i < 2; i++) {
        const ScriptedServer server({"abc"});
        connect_to(server);
        EXPECT_EQ(content(receive(&client)), terminated("abc"));
        EXPECT_EQ(web_tcpclient_close(&client), 0);
    }
    EXPECT_EQ(open_descriptors(), before);
}

TEST_F(HttpClient, MayBeCreatedAgainFromItsOwnFields)
{
    create(8080);
    web_tcpclient_close(&client);
    EXPECT_EQ(web_tcpclient_create(&client, client.address, client.port), 0);
    EXPECT_STREQ(client.address, "127.0.0.1");
    EXPECT_EQ(hex(&client.server, 8), "02 00 1F 90 7F 00 00 01");
}

/* ---- The number of a closed socket ---- */

/* Somebody else gets the number of the client's closed socket, and keeps what is his. */
class HttpClosedNumber : public HttpClient
{
protected:
    void give_number_away()
    {
        ASSERT_FALSE(is_open(client.fd));
        ASSERT_EQ(fcntl(pair.near.get(), F_DUPFD_CLOEXEC, client.fd), client.fd);
        stranger = Descriptor(client.fd);
        send_bytes(pair.far.get(), bytes("'his'"));
        lines.clear();
    }

    void expect_everything_fails_but_the_strangers()
    {
        EXPECT_EQ(web_tcpclient_send(&client, "mine", 4), -1);
        EXPECT_EQ(errno, EBADF);
        EXPECT_EQ(content(receive(&client)), terminated(""));
        EXPECT_EQ(lines.out(), Lines{RECEIVED});
        lines.clear();
        EXPECT_EQ(web_tcpclient_close(&client), 0);
        EXPECT_EQ(lines.out(), CLOSED);
        EXPECT_EQ(client.connected, 0);
        expect_no_connection();
        EXPECT_EQ(client.fd, stranger.get());

        EXPECT_EQ(hex(receive_bytes(stranger.get(), 3)), "68 69 73");
        send_bytes(stranger.get(), bytes("'yours'"));
        EXPECT_EQ(hex(receive_bytes(pair.far.get(), 5)), "79 6F 75 72 73");
    }

    void expect_no_connection()
    {
        lines.clear();
        const TakenSleeps sleeps;
        EXPECT_EQ(web_tcpclient_conn(&client), -1);
        EXPECT_EQ(sleeps.all(), Pauses(3, SECOND_US));
        EXPECT_EQ(lines.out(), Lines{NOT_CONNECTED});
    }

    ConnectedPair pair = local_pair();
    Descriptor stranger;
};

TEST_F(HttpClosedNumber, IsNotUsedAfterAnAnswer)
{
    const ScriptedServer server({"abc"});
    connect_to(server);
    EXPECT_EQ(content(receive(&client)), terminated("abc"));
    give_number_away();
    expect_everything_fails_but_the_strangers();
}

TEST_F(HttpClosedNumber, IsNotUsedAfterAFailedConnect)
{
    const Descriptor port = silent_port();
    create(port_of(port.get()));
    expect_no_connection();
    give_number_away();
    expect_everything_fails_but_the_strangers();
}

TEST_F(HttpClosedNumber, IsNotUsedAfterAClose)
{
    const ScriptedServer server({});
    connect_to(server);
    EXPECT_EQ(web_tcpclient_close(&client), 0);
    give_number_away();
    expect_everything_fails_but_the_strangers();
}

TEST_F(HttpClosedNumber, IsNotConnectedForSomebodyElse)
{
    const Descriptor listener = listening_on();
    create(port_of(listener.get()));
    web_tcpclient_close(&client);
    Descriptor other(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    ASSERT_EQ(other.get(), client.fd) << "the lowest free number";
    expect_no_connection();
    sockaddr_in peer = {};
    socklen_t size = sizeof peer;
    EXPECT_EQ(getpeername(other.get(), reinterpret_cast<sockaddr *>(&peer), &size), -1);
    EXPECT_TRUE(is_open(other.get()));
}

} // namespace
