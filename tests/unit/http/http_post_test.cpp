/* SPDX-License-Identifier: MIT */
/* Posting a text: the request's bytes, the answers that count, and the lines of each failure. */
#include "tvlink/host/http_client.h"

#include "support/captured_lines.h"
#include "support/process_state.h"
#include "support/scripted_server.h"
#include "support/system_calls.h"
#include "support/taken_time.h"
#include "unit/http/http_texts.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <thread>

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/socket.h>

namespace
{

using Lines = std::vector<std::string>;
using Pauses = std::vector<uint64_t>;
using Pieces = std::vector<std::string>;
using Post = int(WebTcpClient *, const char *, const char *, char **);

const char *const CONNECT_FAILED = "zqt===  web_tcpclient_conn 52\n";
const char *const POST_ENDED = "zqt===  http_post 217\n";
const char *const STRING_FAILED = "zqt===  http_post_string 313\n";

const std::string GOOD = "HTTP/1.0 200 OK\r\nContent-Length: 9\r\n\r\n{\"ok\": 1}";
char *const UNTOUCHED = reinterpret_cast<char *>(0x1);

/* What a post gave: "0 text", "-1 null", "-1 untouched". */
class Result
{
public:
    Result(Post *post, WebTcpClient *client, const std::string &path = "/p",
           const std::string &body = "{}")
    {
        result_ = post(client, path.c_str(), body.c_str(), &out_);
    }
    ~Result()
    {
        if (out_ != UNTOUCHED) {
            std::free(out_);
        }
    }
    Result(const Result &) = delete;
    Result &operator=(const Result &) = delete;

    std::string text() const
    {
        const std::string out =
            out_ == nullptr ? "null" : (out_ == UNTOUCHED ? "untouched" : std::string(out_));
        return std::to_string(result_) + " " + out;
    }

    /* So many bytes of what came. */
    std::string bytes(size_t size) const
    {
        return out_ == nullptr ? "null" : std::string(out_, size);
    }

private:
    char *out_ = UNTOUCHED;
    int result_;
};

class HttpPost : public testing::Test
{
protected:
    ~HttpPost() override
    {
        web_tcpclient_close(&client);
    }

    void create(uint16_t port)
    {
        web_tcpclient_close(&client);
        ASSERT_EQ(web_tcpclient_create(&client, "127.0.0.1", port), 0);
        lines.clear();
    }

    /* One post, to a server that says this. */
    std::string answer_of(Post *post, const Pieces &pieces)
    {
        const ScriptedServer server(pieces);
        create(server.port());
        return Result(post, &client).text();
    }

    std::string request_of(Post *post, const std::string &path, const std::string &body)
    {
        const ScriptedServer server({GOOD});
        create(server.port());
        const Result result(post, &client, path, body);
        return server.received();
    }

    void expect_no_object(const std::string &answer)
    {
        EXPECT_EQ(answer_of(http_post, {answer}), "-1 null") << answer;
        EXPECT_EQ(lines.out(), (Lines{RECEIVED, POST_ENDED})) << answer;
    }

    void expect_object(const std::string &answer, const std::string &object)
    {
        EXPECT_EQ(answer_of(http_post, {answer}), "0 " + object) << answer;
        EXPECT_EQ(lines.out(), (Lines{RECEIVED, POST_ENDED})) << answer;
    }

    void expect_text(const std::string &answer, const std::string &text)
    {
        EXPECT_EQ(answer_of(http_post_string, {answer}), "1 " + text) << answer;
        EXPECT_EQ(lines.out(), Lines{RECEIVED}) << answer;
    }

    void expect_no_text(const std::string &answer, const std::string &out = "null")
    {
        EXPECT_EQ(answer_of(http_post_string, {answer}), "-1 " + out) << answer;
        EXPECT_EQ(lines.out(), (Lines{RECEIVED, STRING_FAILED})) << answer;
    }

    CapturedLines lines;
    WebTcpClient client = {-1, 0, "", {}, 0};
};

/* ---- The request ---- */

TEST_F(HttpPost, SendsTheBodyWithItsLengthAndAZeroByte)
{
    for (Post *post : {http_post, http_post_string}) {
        const ScriptedServer server({GOOD});
        create(server.port());
        const Result result(post, &client, "/api/state?id=1", "{\"on\": 123}");
        EXPECT_EQ(server.received(), "POST /api/state?id=1 HTTP/1.0\r\n"
                                     "HOST: 127.0.0.1:" +
                                         std::to_string(server.port()) +
                                         "\r\n"
                                         "Content-Type: application/json\r\n"
                                         "Accept: */*\r\n"
                                         "Content-Length: 11\r\n"
                                         "\r\n"
                                         "{\"on\": 123}" +
                                         zeros(1));
    }
}

TEST_F(HttpPost, MaySendNothingButTheZeroByte)
{
    for (Post *post : {http_post, http_post_string}) {
        const std::string request = request_of(post, "", "");
        EXPECT_EQ(request.substr(0, 16), "POST  HTTP/1.0\r\n");
        EXPECT_EQ(request.substr(request.size() - 24), "\r\nContent-Length: 0\r\n\r\n" + zeros(1));
    }
}

TEST_F(HttpPost, SendsBodiesOfAnySize)
{
    const std::string body(300000, 'b');
    for (Post *post : {http_post, http_post_string}) {
        std::string sent;
        const Replaced sends(system_send, [&](int fd, const void *data, size_t size, int) {
            const size_t part = size < 100000 ? size : 100000;
            if (fd != client.fd) {
                return system_send.real(fd, data, size, 0);
            }
            sent.append(static_cast<const char *>(data), part);
            return static_cast<ssize_t>(part);
        });
        const ScriptedServer server({GOOD});
        create(server.port());
        EXPECT_NE(Result(post, &client, "/p", body).text(), "-1 null");
        const size_t head = sent.find("\r\n\r\n") + 4;
        EXPECT_NE(sent.find("\r\nContent-Length: 300000\r\n\r\n"), std::string::npos);
        EXPECT_TRUE(sent.substr(head) == body + zeros(1));
    }
}

TEST_F(HttpPost, ConnectsOnlyWhatIsNotConnected)
{
    for (Post *post : {http_post, http_post_string}) {
        const ScriptedServer server({GOOD});
        create(server.port());
        ASSERT_EQ(web_tcpclient_conn(&client), 0);
        EXPECT_NE(Result(post, &client).text(), "-1 null");
        EXPECT_EQ(server.pauses(), (Pauses{SECOND_US, 1000}));
    }
}

/* ---- What is refused before anything is sent ---- */

class HttpPostRefused : public HttpPost
{
protected:
    HttpPostRefused()
    {
        create(port_of(listener.get()));
    }

    void expect_refused(const std::string &path, const std::string &body)
    {
        EXPECT_EQ(Result(http_post, &client, path, body).text(), "-1 untouched");
        EXPECT_EQ(Result(http_post_string, &client, path, body).text(), "-1 null");
        expect_nothing_happened();
    }

    void expect_refused(WebTcpClient *record, const char *path, const char *body)
    {
        char *out = UNTOUCHED;
        EXPECT_EQ(http_post(record, path, body, &out), -1);
        EXPECT_EQ(out, UNTOUCHED);
        EXPECT_EQ(http_post_string(record, path, body, &out), -1);
        EXPECT_EQ(out, nullptr);
        expect_nothing_happened();
    }

    void expect_nothing_happened() const
    {
        EXPECT_TRUE(sleeps.all().empty());
        EXPECT_TRUE(lines.all().empty());
        EXPECT_EQ(client.connected, 0);
        EXPECT_GE(fcntl(client.fd, F_GETFD), 0);
    }

    Descriptor listener = listening_on();
    TakenSleeps sleeps;
};

TEST_F(HttpPostRefused, WithoutAnArgument)
{
    expect_refused(nullptr, "/p", "{}");
    expect_refused(&client, nullptr, "{}");
    expect_refused(&client, "/p", nullptr);
    EXPECT_EQ(http_post(&client, "/p", "{}", nullptr), -1);
    EXPECT_EQ(http_post_string(&client, "/p", "{}", nullptr), -1);
    expect_nothing_happened();
}

TEST_F(HttpPostRefused, WithAPathThatDoesNotFit)
{
    expect_refused(std::string(284, 'p'), "{}");
    expect_refused(std::string(300, 'p'), "{}");
    expect_refused(std::string(1000000, 'p'), "{}");
}

TEST_F(HttpPostRefused, WithoutMemoryForTheRequest)
{
    WatchedCall blocks(system_malloc);
    for (Post *post : {http_post, http_post_string}) {
        blocks.fail(ENOMEM);
        EXPECT_EQ(Result(post, &client).text(), post == http_post ? "-1 untouched" : "-1 null");
        EXPECT_EQ(blocks.calls(), 1);
    }
    expect_nothing_happened();
}

TEST_F(HttpPost, TakesThePathsThatFit)
{
    const std::string path(283, 'p');
    for (Post *post : {http_post, http_post_string}) {
        EXPECT_EQ(request_of(post, path, "{}").substr(0, 299), "POST " + path + " HTTP/1.0\r\n");
    }
}

TEST_F(HttpPost, ReadsNoAddressBeyondItsField)
{
    const ScriptedServer server({GOOD});
    create(server.port());
    memset(client.address, '7', sizeof client.address);
    client.port = INT_MIN;
    const Result result(http_post, &client);
    EXPECT_NE(server.received().find("\r\nHOST: 7777777777777777:-2147483648\r\n"),
              std::string::npos);
}

/* A 32-bit process has no room for 2 GiB of text, and sanitizers look at each byte: 14 s. */
#if SIZE_MAX > UINT32_MAX && !defined(__SANITIZE_THREAD__) && !defined(__SANITIZE_ADDRESS__)
TEST_F(HttpPostRefused, WithABodyThatAnIntCannotCount)
{
    /* One block of letters, seen again and again in a row. */
    const size_t block = 1 << 22;
    const size_t count = 513;
    const Descriptor letters(memfd_create("letters", MFD_CLOEXEC));
    ASSERT_EQ(ftruncate(letters.get(), block), 0);
    void *place = mmap(nullptr, block * count, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    ASSERT_NE(place, MAP_FAILED);
    char *text = static_cast<char *>(place);
    for (size_t i = 0; i < count; i++) {
        ASSERT_NE(mmap(text + i * block, block, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_FIXED,
                       letters.get(), 0),
                  MAP_FAILED);
    }
    memset(text, 'b', block);
    ASSERT_NE(mmap(text + (count - 1) * block, block, PROT_READ,
                   MAP_PRIVATE | MAP_ANONYMOUS | MAP_FIXED, -1, 0),
              MAP_FAILED);
    expect_refused(&client, "/p", text + (block * (count - 1) - INT_MAX));
    munmap(place, block * count);
}
#endif

/* ---- What the network does ---- */

TEST_F(HttpPost, SaysWhenTheServerCannotBeReached)
{
    const Descriptor held(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    ASSERT_EQ(bind(held.get(), reinterpret_cast<const sockaddr *>(&address), sizeof address), 0);
    for (Post *post : {http_post, http_post_string}) {
        const TakenSleeps sleeps;
        create(port_of(held.get()));
        EXPECT_EQ(Result(post, &client).text(), "-1 null");
        EXPECT_EQ(sleeps.all(), Pauses(3, SECOND_US));
        EXPECT_EQ(
            lines.out(),
            post == http_post
                ? (Lines{CONNECT_FAILED, "error:web_tcpclient_conn():http_post-142\n", POST_ENDED})
                : (Lines{CONNECT_FAILED, STRING_FAILED}));
        EXPECT_TRUE(lines.err().empty());
        EXPECT_EQ(client.connected, 0);
    }
}

TEST_F(HttpPost, SaysWhenTheRequestIsNotTaken)
{
    for (Post *post : {http_post, http_post_string}) {
        const ScriptedServer server({GOOD});
        create(server.port());
        WatchedCall blocks(system_malloc);
        const Replaced sends(system_send, [&](int fd, const void *data, size_t size, int) {
            errno = EAGAIN;
            return fd == client.fd ? -1 : system_send.real(fd, data, size, 0);
        });
        EXPECT_EQ(Result(post, &client).text(), "-1 null");
        EXPECT_EQ(lines.out(),
                  post == http_post
                      ? (Lines{"error:web_tcpclient_send():http_post-149\n", POST_ENDED})
                      : Lines{STRING_FAILED});
        EXPECT_EQ(blocks.calls(), 1) << "nothing is received";
        EXPECT_EQ(client.connected, 1);
        EXPECT_GE(fcntl(client.fd, F_GETFD), 0) << "it is still the caller's to close";
    }
}

TEST_F(HttpPost, SaysWhenNothingIsAnswered)
{
    for (const ScriptedServer::End end : {ScriptedServer::CLOSES, ScriptedServer::SAYS_NO_MORE}) {
        for (Post *post : {http_post, http_post_string}) {
            const ScriptedServer server({}, end);
            create(server.port());
            const timeval soon = {0, 20000};
            setsockopt(client.fd, SOL_SOCKET, SO_RCVTIMEO, &soon, sizeof soon);
            EXPECT_EQ(Result(post, &client).text(), "-1 null");
            EXPECT_EQ(
                lines.out(),
                post == http_post
                    ? (Lines{RECEIVED, "error:web_tcpclient_recv():http_post-158\n", POST_ENDED})
                    : (Lines{RECEIVED, STRING_FAILED}));
            EXPECT_EQ(client.connected, 1);
            EXPECT_EQ(fcntl(client.fd, F_GETFD), -1);
        }
    }
}

TEST_F(HttpPost, SaysTheSameWithoutMemoryForTheAnswer)
{
    for (Post *post : {http_post, http_post_string}) {
        const ScriptedServer server({GOOD});
        create(server.port());
        WatchedCall blocks(system_malloc);
        blocks.fail(ENOMEM, 2);
        EXPECT_EQ(Result(post, &client).text(), "-1 null");
        EXPECT_EQ(lines.out(),
                  post == http_post
                      ? (Lines{"error:web_tcpclient_recv():http_post-158\n", POST_ENDED})
                      : Lines{STRING_FAILED});
        EXPECT_EQ(blocks.calls(), 2);
    }
}

TEST_F(HttpPost, GivesNothingWithoutMemoryForTheBody)
{
    for (Post *post : {http_post, http_post_string}) {
        WatchedCall blocks(system_calloc);
        blocks.fail(ENOMEM);
        EXPECT_EQ(answer_of(post, {GOOD}), "-1 null");
        EXPECT_EQ(blocks.calls(), 1);
        EXPECT_EQ(lines.out(), (Lines{RECEIVED, post == http_post ? POST_ENDED : STRING_FAILED}));
    }
}

/* ---- The answer ---- */

TEST_F(HttpPost, GivesTheObjectOfTheAnswer)
{
    expect_object("HTTP/1.1 200 OK\r\nContent-Length: 2\r\n\r\n{}", "{}");
    expect_text("HTTP/1.1 200 OK\r\nContent-Length: 2\r\n\r\n{}", "{}");
    expect_object(GOOD, "{\"ok\": 1}");
    expect_text(GOOD, "{\"ok\": 1}");
}

TEST_F(HttpPost, GivesAnyOtherTextOnlyAsAString)
{
    for (const std::string text : {"ok", " {}", "[{}]", "\"{\"", "\xEF\xBB\xBF{}"}) {
        const std::string answer =
            "HTTP/1.0 200 OK\r\nContent-Length: " + std::to_string(text.size()) + "\r\n\r\n" + text;
        expect_no_object(answer);
        expect_text(answer, text);
    }
}

TEST_F(HttpPost, DoesNotLookAtTheStatus)
{
    expect_object("HTTP/1.0 404 Not Found\r\nContent-Length: 2\r\n\r\n{}", "{}");
    expect_object("HTTP/1.0 500 Oh\r\nContent-Length: 2\r\n\r\n{}", "{}");
    expect_text("HTTP/1.0 404 Not Found\r\nContent-Length: 2\r\n\r\nno", "no");
    expect_text("HTTP/1.0 500 Oh\r\nContent-Length: 2\r\n\r\nno", "no");
}

TEST_F(HttpPost, FailsWithoutALengthAboveZero)
{
    for (const char *header :
         {"", "content-length: 2\r\n", "Content-Length:2\r\n", "Content-Length: 0\r\n",
          "Content-Length: -2\r\n", "Content-Length: two\r\n", "Content-Length: 0000000002\r\n",
          "Content-Length: 9999999999\r\n"}) {
        const std::string answer = std::string("HTTP/1.0 200 OK\r\n") + header + "\r\n{}";
        expect_no_object(answer);
        expect_no_text(answer);
    }
}

TEST_F(HttpPost, FailsWithoutABlankLineButLeavesTheStringItsRoom)
{
    const std::string answer = "HTTP/1.0 200 OK\r\nContent-Length: 5\r\nX: {}";
    expect_no_object(answer);
    expect_no_text(answer, "");
    const ScriptedServer server({answer});
    create(server.port());
    EXPECT_EQ(Result(http_post_string, &client).bytes(6), zeros(6));
}

TEST_F(HttpPost, GivesWhatArrivedOfTheBodyAndNoMoreThanAnnounced)
{
    expect_object("Content-Length: 5\r\n\r\n{}", "{}");
    expect_text("Content-Length: 5\r\n\r\nok", "ok");
    expect_text("Content-Length: 5\r\n\r\n", "");
    expect_no_object("Content-Length: 5\r\n\r\n");
    expect_object("Content-Length: 2\r\n\r\n{}more", "{}");
    expect_text("Content-Length: 2\r\n\r\nokmore", "ok");
    for (Post *post : {http_post, http_post_string}) {
        const ScriptedServer server({"Content-Length: 999999999\r\n\r\n{}"});
        create(server.port());
        EXPECT_EQ(Result(post, &client).bytes(1048577), "{}" + zeros(1048575));
    }
}

TEST_F(HttpPost, SeesNothingBehindAZeroByte)
{
    expect_text("Content-Length: 4\r\n\r\no" + zeros(1) + "k!", "o");
    expect_object("Content-Length: 4\r\n\r\n{" + zeros(1) + "}!", "{");
    expect_no_object("Content-Length: 3\r\n\r\n" + zeros(1) + "{}");
    expect_text("Content-Length: 3\r\n\r\n" + zeros(1) + "{}", "");
    expect_no_text("HTTP/1.0 200 OK" + zeros(1) + "\r\nContent-Length: 2\r\n\r\n{}");
    expect_no_text("Content-Length: 2\r\n" + zeros(1) + "\r\n\r\n{}", "");
}

TEST_F(HttpPost, TakesAnAnswerInPieces)
{
    Pieces single;
    for (const char byte : GOOD) {
        single.emplace_back(1, byte);
    }
    const Pieces split = {
        "HTTP/1.0 200 OK\r\nConte", "nt-Length: ", "9", "\r", "\n\r\n{\"o", "k\": 1}"};
    for (const Pieces &pieces : {single, split}) {
        EXPECT_EQ(answer_of(http_post, pieces), "0 {\"ok\": 1}");
        EXPECT_EQ(answer_of(http_post_string, pieces), "1 {\"ok\": 1}");
    }
}

TEST_F(HttpPost, TakesEveryBeginningOfAGoodAnswer)
{
    const size_t line_end = GOOD.find("9\r\n") + 3;
    const size_t body = GOOD.find('{');
    for (size_t size = 0; size <= GOOD.size(); size++) {
        const Pieces part = {GOOD.substr(0, size)};
        const Pieces pieces = size == 0 ? Pieces() : part;
        const std::string text = size > body ? GOOD.substr(body, size - body) : "";
        EXPECT_EQ(answer_of(http_post, pieces), text.empty() ? "-1 null" : "0 " + text) << size;
        EXPECT_EQ(answer_of(http_post_string, pieces),
                  size < line_end ? "-1 null" : (size < body ? "-1 " : "1 " + text))
            << size;
    }
}

TEST_F(HttpPost, ReadsOneMebibyteOfAnAnswer)
{
    const std::string head = "Content-Length: 9999999\r\n\r\n";
    const std::string body = "{" + std::string(1048576 - head.size() - 1, 'x');
    for (const char *last : {"", "beyond"}) {
        const std::string answer = head + body + last;
        for (Post *post : {http_post, http_post_string}) {
            const ScriptedServer server({}, ScriptedServer::SAYS_NO_MORE);
            create(server.port());
            size_t at = 0;
            const Replaced receives(system_recv, [&](int, void *to, size_t size, int) {
                const size_t part = std::min({answer.size() - at, size, size_t{300000}});
                memcpy(to, answer.data() + at, part);
                at += part;
                return static_cast<ssize_t>(part);
            });
            const std::string text = Result(post, &client).text();
            EXPECT_TRUE(text == (post == http_post ? "0 " : "1 ") + body) << text.size();
        }
    }
}

TEST_F(HttpPost, ReadsAHeaderWithoutAnEndToTheEndOfItsRoom)
{
    for (Post *post : {http_post, http_post_string}) {
        const ScriptedServer server({}, ScriptedServer::SAYS_NO_MORE);
        create(server.port());
        const Replaced receives(system_recv, [&](int, void *to, size_t size, int) {
            memset(to, 'h', size);
            return static_cast<ssize_t>(size);
        });
        EXPECT_EQ(Result(post, &client).text(), "-1 null");
        EXPECT_EQ(lines.out(), (Lines{RECEIVED, post == http_post ? POST_ENDED : STRING_FAILED}));
    }
}

/* ---- The record afterwards ---- */

TEST_F(HttpPost, LeavesARecordThatCanSendNoMore)
{
    for (Post *post : {http_post, http_post_string}) {
        const ScriptedServer server({GOOD});
        create(server.port());
        const int fd = client.fd;
        EXPECT_NE(Result(post, &client).text(), "-1 null");
        EXPECT_EQ(client.connected, 1);
        EXPECT_EQ(client.fd, fd);
        EXPECT_EQ(fcntl(fd, F_GETFD), -1);
        lines.clear();
        EXPECT_EQ(Result(post, &client).text(), "-1 null");
        EXPECT_EQ(lines.out(),
                  post == http_post
                      ? (Lines{"error:web_tcpclient_send():http_post-149\n", POST_ENDED})
                      : Lines{STRING_FAILED});
        EXPECT_EQ(server.pauses(), (Pauses{SECOND_US, 1000}));
        EXPECT_EQ(client.connected, 1);
    }
}

TEST_F(HttpPost, SendsNothingToWhoeverGotTheNumber)
{
    for (Post *post : {http_post, http_post_string}) {
        const ConnectedPair pair = local_pair();
        ASSERT_NE(answer_of(post, {GOOD}), "-1 null");
        ASSERT_EQ(fcntl(pair.near.get(), F_DUPFD_CLOEXEC, client.fd), client.fd);
        Descriptor stranger(client.fd);
        EXPECT_EQ(Result(post, &client).text(), "-1 null");
        web_tcpclient_close(&client);
        send_bytes(stranger.get(), bytes("'his'"));
        EXPECT_EQ(hex(receive_bytes(pair.far.get(), 3)), "68 69 73");
    }
}

TEST_F(HttpPost, ServesOnceMoreWhenTheRecordIsCreatedAgain)
{
    const std::set<int> before = open_descriptors();
    for (int i = 0; i < 3; i++) {
        EXPECT_EQ(answer_of(http_post, {GOOD}), "0 {\"ok\": 1}");
        EXPECT_EQ(answer_of(http_post_string, {GOOD}), "1 {\"ok\": 1}");
    }
    EXPECT_EQ(open_descriptors(), before);
}

TEST_F(HttpPost, RunsOnManyThreadsAtOnce)
{
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; i++) {
        threads.emplace_back([i] {
            const ScriptedServer server({GOOD});
            WebTcpClient own;
            EXPECT_EQ(web_tcpclient_create(&own, "127.0.0.1", server.port()), 0);
            EXPECT_NE(Result(i % 2 == 0 ? http_post : http_post_string, &own).text(), "-1 null");
            EXPECT_EQ(web_tcpclient_close(&own), 0);
        });
    }
    for (std::thread &thread : threads) {
        thread.join();
    }
    EXPECT_EQ(lines.count(RECEIVED), 4u);
}

} // namespace
