/* SPDX-License-Identifier: MIT */
/* The state that tvlink-sim posts to a web server. */
#include "system/sim_and_ctl.h"

#include "support/temporary_file.h"

#include <csignal>

namespace
{

const char *const ONE_CHANNEL = "#EXTM3U\n#EXTINF:-1,News\nhttp://a\n";

std::string url_of(uint16_t port)
{
    return "http://127.0.0.1:" + std::to_string(port) + "/state?tv=1";
}

std::string state_with_volume(int volume)
{
    return "{\"channel\":1,\"channel_name\":\"News\",\"duration\":0,\"last_key\":0,"
           "\"muted\":false,\"name\":\"TV\",\"next_programme\":null,\"on\":true,"
           "\"phone\":\"\",\"picture\":\"standard\",\"player\":\"stopped\",\"position\":0,"
           "\"programme\":null,\"stream\":\"\",\"text\":\"\",\"volume\":" +
           std::to_string(volume) + "}";
}

std::string post_of(uint16_t port, const std::string &state)
{
    const std::string request = "POST /state?tv=1 HTTP/1.0\r\n"
                                "HOST: 127.0.0.1:" +
                                std::to_string(port) +
                                "\r\n"
                                "Content-Type: application/json\r\n"
                                "Accept: */*\r\n"
                                "Content-Length: " +
                                std::to_string(state.size()) + "\r\n\r\n" + state;
    return request + '\0';
}

/* The next post, which must be this one; it waits for its answer. */
Descriptor taken_post(const Descriptor &server, const std::string &expected)
{
    Descriptor connection = accept_soon(server.get());
    const Bytes request = receive_bytes(connection.get(), expected.size());
    EXPECT_EQ(std::string(request.begin(), request.end()), expected);
    return connection;
}

/* The client closes when the server has, and sends nothing before it does. */
void answer_post(const Descriptor &connection, const std::string &answer)
{
    send_bytes(connection.get(), Bytes(answer.begin(), answer.end()));
    shutdown(connection.get(), SHUT_WR);
    EXPECT_TRUE(wait_for_end(connection.get()));
}

bool wait_for_complaints(const Program &sim, const std::string &complaints)
{
    return wait_until([&] { return sim.err().size() >= complaints.size(); }) &&
           sim.err() == complaints;
}

/* One post costs a second, so one television tells the whole story. */
TEST(SimReport, PostsTheStateAndItsChangesAndSaysWhenThatFails)
{
    const Descriptor server = listening_on();
    const uint16_t port = port_of(server.get());
    const TemporaryFile channels(ONE_CHANNEL);
    const auto sim =
        start_sim({"--name", "TV", "--channels", channels.path, "--report-url", url_of(port)});
    ASSERT_NE(sim, nullptr);
    answer_post(taken_post(server, post_of(port, state_with_volume(20))), "hello");
    std::string complaints =
        "tvlink-sim: report to " + url_of(port) + " failed: no answer that could be read\n";
    EXPECT_TRUE(wait_for_complaints(*sim, complaints)) << sim->err();

    EXPECT_EQ(local_ctl({"volume", "+1"}).status, 0);
    answer_post(taken_post(server, post_of(port, state_with_volume(21))),
                "HTTP/1.0 200 OK\r\nContent-Length: 2\r\n\r\nok");
    complaints += "tvlink-sim: report to " + url_of(port) + " works again\n";
    EXPECT_TRUE(wait_for_complaints(*sim, complaints)) << sim->err();

    /* This one is never answered; the television ends nevertheless. */
    EXPECT_EQ(local_ctl({"volume", "+1"}).status, 0);
    const Descriptor silent = taken_post(server, post_of(port, state_with_volume(22)));
    sim->signal(SIGTERM);
    EXPECT_EQ(sim->wait_for_exit(), 0);
    EXPECT_TRUE(wait_for_end(silent.get()));
    complaints += "tvlink-sim: report to " + url_of(port) + " failed: no answer before the end\n";
    EXPECT_EQ(sim->err(), complaints);
}

TEST(SimReport, ServesWithoutTheServerAndSaysThatItIsNotThere)
{
    const uint16_t port = port_of(listening_on().get());
    const auto sim = start_sim({"--json", "--report-url", url_of(port)});
    ASSERT_NE(sim, nullptr);
    EXPECT_EQ(local_ctl({"rpc", "ping"}).out, "answer: pong\n");
    EXPECT_TRUE(wait_for_json(*sim, "{\"failure\":\"no connection\",\"kind\":\"report\","
                                    "\"time\":\"T\",\"url\":\"" +
                                        url_of(port) + "\"}"))
        << sim->out();
    sim->signal(SIGTERM);
    EXPECT_EQ(sim->wait_for_exit(), 0);
    EXPECT_EQ(sim->err(), "tvlink-sim: report to " + url_of(port) + " failed: no connection\n");
}

TEST(SimReport, RefusesAUrlThatItCannotPostTo)
{
    const std::pair<const char *, const char *> rows[] = {
        {"http://localhost:8000/",
         "an IPv4 address is needed, such as 127.0.0.1, not \"localhost\""},
        {"https://127.0.0.1/", "it must begin with http://"},
        {"", "it must begin with http://"},
    };
    for (const auto &[url, mistake] : rows) {
        const Finished result = run_program(TVLINK_SIM_PATH, {"--report-url", url});
        expect_failure(result, 2, "", std::string("tvlink-sim: --report-url: ") + mistake);
    }
}

} // namespace
