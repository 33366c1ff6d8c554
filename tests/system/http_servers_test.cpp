/* SPDX-License-Identifier: MIT */
/* The HTTP client and servers that others wrote: nginx, and the one of Python's library. */
#include "tvlink/host/http_client.h"

#include "support/captured_lines.h"
#include "support/program.h"
#include "support/taken_time.h"
#include "support/wait_until.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <sstream>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

namespace
{

using Lines = std::vector<std::string>;
using Words = std::vector<std::string>;
using Post = int(WebTcpClient *, const char *, const char *, char **);

const char *const PYTHON = "/usr/bin/python3";
const char *const NGINX = "/usr/sbin/nginx";

const char *const RECEIVED = "zqt===  web_tcpclient_recv 75\n";
const char *const POST_ENDED = "zqt===  http_post 217\n";
const char *const STRING_FAILED = "zqt===  http_post_string 313\n";

/* Prints its port, then of each request what it understood; for /echo also the byte behind the
 * body, which a proxy would not pass on. */
const char *const PYTHON_SERVER = R"(
import http.server, json

class Handler(http.server.BaseHTTPRequestHandler):
    def do_POST(self):
        body = self.rfile.read(int(self.headers['Content-Length']))
        behind = self.rfile.read(1).hex() if self.path == '/echo' else 'not asked'
        print(self.requestline, sorted(self.headers.items()), len(body), behind, flush=True)
        if self.path == '/large':
            self.answer(b'{' + b'x' * 2097151, {'Content-Length': 2097152})
        elif self.path == '/unsized':
            self.answer(b'{}', {})
        else:
            text = json.dumps({'you': body.decode()}).encode()
            self.answer(text, {'Content-Length': len(text)})

    def answer(self, text, headers):
        self.send_response(200)
        for name, value in headers.items():
            self.send_header(name, value)
        self.end_headers()
        self.wfile.write(text)

    def log_message(self, *arguments):
        pass

server = http.server.HTTPServer(('127.0.0.1', 0), Handler)
print(server.server_port, flush=True)
server.serve_forever()
)";

class TemporaryFolder
{
public:
    TemporaryFolder()
    {
        char name[] = "/tmp/tvlink-test-XXXXXX";
        EXPECT_NE(mkdtemp(name), nullptr);
        path = name;
    }
    ~TemporaryFolder()
    {
        std::filesystem::remove_all(path);
    }
    TemporaryFolder(const TemporaryFolder &) = delete;
    TemporaryFolder &operator=(const TemporaryFolder &) = delete;

    std::string path;
};

std::string nginx_configuration(const std::string &folder, const std::string &port,
                                const std::string &python_port)
{
    std::string temporary;
    for (const char *kind : {"client_body", "proxy", "fastcgi", "scgi", "uwsgi"}) {
        temporary += std::string(kind) + "_temp_path " + folder + "/" + kind + ";\n";
    }
    return "daemon off;\n"
           "master_process off;\n"
           "pid " +
           folder +
           "/pid;\n"
           "events { }\n"
           "http {\n" +
           temporary +
           "log_format asked '$status "
           "$request|$http_host|$content_type|$http_accept|$content_length';\n"
           "access_log " +
           folder +
           "/requests asked;\n"
           "server {\n"
           "listen 127.0.0.1:" +
           port +
           ";\n"
           "location = /state { return 200 '{\"ok\":1}'; }\n"
           "location = /text { return 500 'out of order'; }\n"
           "location = /object { return 503 '{\"out\": \"of order\"}'; }\n"
           "location / { return 404; }\n"
           "location /behind/ { proxy_pass http://127.0.0.1:" +
           python_port +
           "/; }\n"
           "}\n"
           "}\n";
}

bool is_listening(uint16_t port)
{
    const Descriptor probe(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return connect(probe.get(), reinterpret_cast<const sockaddr *>(&address), sizeof address) == 0;
}

std::string content(const std::string &path)
{
    std::ifstream file(path, std::ios::binary);
    std::stringstream all;
    all << file.rdbuf();
    return all.str();
}

struct Servers {
    TemporaryFolder folder;
    std::unique_ptr<Program> python;
    std::unique_ptr<Program> nginx;
    uint16_t python_port;
    uint16_t nginx_port;
};

void start(Servers *servers)
{
    for (const char *path : {PYTHON, NGINX}) {
        ASSERT_EQ(access(path, X_OK), 0) << path << ": scripts/install-packages installs it";
    }
    servers->python = std::make_unique<Program>(PYTHON, Words{"-I", "-c", PYTHON_SERVER});
    ASSERT_TRUE(servers->python->wait_for("\n")) << servers->python->err();
    servers->python_port = static_cast<uint16_t>(std::stoi(servers->python->out()));

    servers->nginx_port = port_of(listening_on().get());
    const std::string &folder = servers->folder.path;
    std::ofstream(folder + "/conf") << nginx_configuration(
        folder, std::to_string(servers->nginx_port), std::to_string(servers->python_port));
    servers->nginx = std::make_unique<Program>(
        NGINX, Words{"-p", folder, "-c", folder + "/conf", "-e", folder + "/errors"});
    ASSERT_TRUE(wait_until([&] { return is_listening(servers->nginx_port); }))
        << servers->nginx->err() << content(folder + "/errors");
}

/* Both servers run for all tests. */
class HttpServers : public testing::Test
{
protected:
    static void SetUpTestSuite()
    {
        servers = new Servers;
        start(servers);
        running = !HasFatalFailure();
    }

    static void TearDownTestSuite()
    {
        delete servers;
        servers = nullptr;
    }

    void SetUp() override
    {
        ASSERT_TRUE(running);
        seen_before = servers->python->out().size();
        logged_before = content(servers->folder.path + "/requests").size();
    }

    std::string post(Post *how, uint16_t port, const std::string &path, const std::string &body)
    {
        WebTcpClient client;
        EXPECT_EQ(web_tcpclient_create(&client, "127.0.0.1", port), 0);
        lines.clear();
        char *out = nullptr;
        const int result = how(&client, path.c_str(), body.c_str(), &out);
        printed = lines.out();
        EXPECT_EQ(web_tcpclient_close(&client), 0);
        const std::string text = out == nullptr ? "null" : out;
        std::free(out);
        return std::to_string(result) + " " + text;
    }

    /* What Python's server was asked in this test. */
    static std::string seen()
    {
        return servers->python->out().substr(seen_before);
    }

    /* What nginx was asked; it writes that down after it has answered. */
    static std::string logged(const std::string &expected)
    {
        std::string found;
        wait_until([&] {
            found = content(servers->folder.path + "/requests").substr(logged_before);
            return found.size() >= expected.size();
        });
        return found;
    }

    static Servers *servers;
    static bool running;
    static size_t seen_before;
    static size_t logged_before;

    CapturedLines lines;
    TakenSleeps sleeps;
    Lines printed;
};

Servers *HttpServers::servers = nullptr;
bool HttpServers::running = false;
size_t HttpServers::seen_before = 0;
size_t HttpServers::logged_before = 0;

TEST_F(HttpServers, TakeTheZeroByteBehindTheBodyForNothing)
{
    const std::string host = "127.0.0.1:" + std::to_string(servers->nginx_port);
    std::string expected;
    for (int i = 0; i < 5; i++) {
        EXPECT_EQ(post(http_post, servers->nginx_port, "/state", "{\"on\": true}"), "0 {\"ok\":1}");
        EXPECT_EQ(printed, (Lines{RECEIVED, POST_ENDED}));
        EXPECT_EQ(post(http_post_string, servers->nginx_port, "/state?again", "{}"),
                  "1 {\"ok\":1}");
        EXPECT_EQ(printed, Lines{RECEIVED});
        expected += "200 POST /state HTTP/1.0|" + host + "|application/json|*/*|12\n" +
                    "200 POST /state?again HTTP/1.0|" + host + "|application/json|*/*|2\n";
    }
    EXPECT_EQ(logged(expected), expected) << "one request each";
    EXPECT_EQ(content(servers->folder.path + "/errors"), "");
}

TEST_F(HttpServers, AnswerErrorsThatAreTextsToo)
{
    const uint16_t port = servers->nginx_port;
    EXPECT_EQ(post(http_post, port, "/text", "{}"), "-1 null");
    EXPECT_EQ(printed, (Lines{RECEIVED, POST_ENDED}));
    EXPECT_EQ(post(http_post_string, port, "/text", "{}"), "1 out of order");
    EXPECT_EQ(post(http_post, port, "/object", "{}"), "0 {\"out\": \"of order\"}");
    const std::string page = post(http_post_string, port, "/missing", "{}");
    EXPECT_EQ(page.substr(0, 8), "1 <html>");
    EXPECT_NE(page.find("<h1>404 Not Found</h1>"), std::string::npos);
}

TEST_F(HttpServers, UnderstandTheRequest)
{
    const uint16_t port = servers->python_port;
    EXPECT_EQ(post(http_post, port, "/echo", "{\"on\": 123}"),
              "0 {\"you\": \"{\\\"on\\\": 123}\"}");
    EXPECT_EQ(post(http_post_string, port, "/echo", ""), "1 {\"you\": \"\"}");
    const auto expected = [&](const std::string &size) {
        return "POST /echo HTTP/1.0 [('Accept', '*/*'), ('Content-Length', '" + size +
               "'), ('Content-Type', 'application/json'), ('HOST', '127.0.0.1:" +
               std::to_string(port) + "')] " + size + " 00\n";
    };
    EXPECT_EQ(seen(), expected("11") + expected("0"));
}

TEST_F(HttpServers, PassLargeTextsOnBothWays)
{
    const std::string body(300000, 'b');
    EXPECT_TRUE(post(http_post, servers->nginx_port, "/behind/", body) ==
                "0 {\"you\": \"" + body + "\"}");
    EXPECT_NE(seen().find(" 300000 not asked\n"), std::string::npos);
}

TEST_F(HttpServers, AreNotUnderstoodWithoutALength)
{
    for (const uint16_t port : {servers->python_port, servers->nginx_port}) {
        const std::string path = port == servers->nginx_port ? "/behind/unsized" : "/unsized";
        EXPECT_EQ(post(http_post, port, path, "{}"), "-1 null");
        EXPECT_EQ(printed, (Lines{RECEIVED, POST_ENDED}));
        EXPECT_EQ(post(http_post_string, port, path, "{}"), "-1 null");
        EXPECT_EQ(printed, (Lines{RECEIVED, STRING_FAILED}));
    }
}

TEST_F(HttpServers, AreListenedToForOneMebibyte)
{
    const std::string answer = post(http_post, servers->python_port, "/large", "{}");
    EXPECT_EQ(answer.substr(0, 4), "0 {x");
    EXPECT_EQ(answer.find_first_not_of('x', 3), std::string::npos);
    EXPECT_LT(answer.size(), 1048576u);
    EXPECT_GT(answer.size(), 1048576u - 500) << "all but the header";
}

TEST_F(HttpServers, AnswerTheExample)
{
    const std::string port = std::to_string(servers->nginx_port);
    const Finished posted =
        run_program(TVLINK_POST_JSON_PATH, {"127.0.0.1", port, "/state", "{\"on\": true}"});
    EXPECT_EQ(posted.status, 0);
    EXPECT_EQ(posted.out, "{\"ok\":1}\n");
    EXPECT_EQ(posted.err, "soc_setBlock ok\n zqt===  web_tcpclient_recv 75\n"
                          "zqt===  http_post 217\nzqt===  web_tcpclient_close 104\n"
                          "zqt===  soc_close 351\n");
}

} // namespace
