/* SPDX-License-Identifier: MIT */
/* tvlink-ctl watch: what a television pushes, and the heartbeats that keep the connection. */
#include "system/ctl_script.h"

#include <csignal>

namespace
{

class Watch : public testing::Test
{
protected:
    /* A watcher that the television knows: the answer to its first heartbeat is there. */
    static std::unique_ptr<Program> start_watch(Words arguments)
    {
        arguments.insert(arguments.begin(), {"watch", "--host", "127.0.0.1"});
        auto watch = std::make_unique<Program>(TVLINK_CTL_PATH, arguments);
        EXPECT_TRUE(watch->wait_for("heartbeat")) << watch->out() << watch->err();
        return watch;
    }

    static void expect_end(Program &watch, const std::string &out)
    {
        EXPECT_EQ(watch.wait_for_exit(), 0) << watch.err();
        EXPECT_EQ(watch.out(), out);
        EXPECT_EQ(watch.err(), "");
    }
};

TEST_F(Watch, ShowsWhatChangesOnTheTelevision)
{
    const auto sim = start_sim();
    ASSERT_NE(sim, nullptr);
    const auto watch = start_watch({"--count", "6"});
    for (const Words &command :
         {Words{"channel", "+1"}, Words{"volume", "+5"}, Words{"volume", "+0"},
          Words{"text", "set", "hello", "label"}, Words{"key", "mute"}, Words{"key", "ok"}}) {
        EXPECT_EQ(local_ctl(command).status, 0);
    }
    expect_end(*watch, "watching 127.0.0.1:8801\n"
                       "heartbeat\n"
                       "event 0x7001 value 2 text \"Sport\"\n"
                       "event 0x7002 value 25 text \"\"\n"
                       "event 0x7006 value 5 text \"hello\"\n"
                       "event 0x700a value 113 text \"mute\"\n"
                       "event 0x7003 value 1 text \"on\"\n"
                       "event 0x700a value 28 text \"ok\"\n");
}

TEST_F(Watch, ShowsEventsAsJson)
{
    const auto sim = start_sim();
    ASSERT_NE(sim, nullptr);
    const auto watch = start_watch({"--count", "1", "--json"});
    EXPECT_EQ(local_ctl({"channel", "+2"}).status, 0);
    expect_end(*watch, "{\"kind\":\"watching\",\"peer\":\"127.0.0.1:8801\"}\n"
                       "{\"kind\":\"heartbeat\"}\n"
                       "{\"kind\":\"event\",\"code\":\"0x7001\",\"value\":3,\"text\":\"Films\","
                       "\"data\":\"\"}\n");
}

TEST_F(Watch, IsShownTheSameByEveryWatcher)
{
    const auto sim = start_sim();
    ASSERT_NE(sim, nullptr);
    std::vector<std::unique_ptr<Program>> watchers;
    for (int i = 0; i < 5; i++) {
        watchers.push_back(start_watch({"--count", "2"}));
    }
    EXPECT_EQ(local_ctl({"channel", "+1"}).status, 0);
    EXPECT_EQ(local_ctl({"channel", "+1"}).status, 0);
    for (const auto &watch : watchers) {
        expect_end(*watch, "watching 127.0.0.1:8801\n"
                           "heartbeat\n"
                           "event 0x7001 value 2 text \"Sport\"\n"
                           "event 0x7001 value 3 text \"Films\"\n");
    }
}

TEST_F(Watch, ShowsEventsThatNobodyCaused)
{
    const auto sim = start_sim({"--event-every", "0.1"});
    ASSERT_NE(sim, nullptr);
    const auto watch = start_watch({"--count", "3"});
    ASSERT_EQ(watch->wait_for_exit(), 0);
    EXPECT_NE(watch->out().find("event 0x700f value "), std::string::npos) << watch->out();
    EXPECT_NE(watch->out().find(" text \"demo "), std::string::npos) << watch->out();
}

TEST_F(Watch, KeepsTheConnectionWithHeartbeats)
{
    const auto sim = start_sim();
    ASSERT_NE(sim, nullptr);
    const auto watch = start_watch({"--heartbeats", "4", "--interval", "0.02"});
    expect_end(*watch, "watching 127.0.0.1:8801\nheartbeat\nheartbeat\nheartbeat\nheartbeat\n");
}

TEST_F(Watch, EndsWithStatusZeroWhenInterrupted)
{
    const auto sim = start_sim();
    ASSERT_NE(sim, nullptr);
    for (const int number : {SIGINT, SIGTERM}) {
        const auto watch = start_watch({});
        watch->signal(number);
        expect_end(*watch, "watching 127.0.0.1:8801\nheartbeat\n");
    }
}

TEST_F(Watch, EndsWithStatusOneWhenTheTelevisionStops)
{
    const auto sim = start_sim();
    ASSERT_NE(sim, nullptr);
    const auto watch = start_watch({});
    sim->signal(SIGTERM);
    EXPECT_EQ(sim->wait_for_exit(), 0);
    EXPECT_EQ(watch->wait_for_exit(), 1);
    EXPECT_EQ(first_line(watch->err()), "tvlink-ctl: 127.0.0.1:8801 closed the connection");
}

TEST(WatchPushes, AreToldByTheNumberOfTheirEntries)
{
    const std::string one = list_reply("02 30", "A5", "01 00", compressed(bytes("01 00 01 'a'")));
    const std::string two = list_reply("00 30", "A5", "01 00", compressed(text_field("\x01", 256)));
    const std::string guide =
        list_reply("01 20", "A3", "02 00",
                   compressed(bytes("12 00 01 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00"
                                    "12 00 01 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00")));
    const std::string empty = "06 01 01 20 A3 00 00 00 00";
    const std::string broken = "06 01 01 20 A3 03 00 00 00 01 00 AA";
    const auto pushes = [&](const Words &more) {
        Words arguments = {"watch", "--heartbeats", "1"};
        arguments.insert(arguments.end(), more.begin(), more.end());
        const Descriptor listener = listening_on();
        arguments.insert(arguments.end(), {"--host", "127.0.0.1", "--port",
                                           std::to_string(port_of(listener.get()))});
        Program watch(TVLINK_CTL_PATH, arguments);
        const Descriptor connection = accept_soon(listener.get());
        EXPECT_EQ(receive_body(connection.get()), "EE");
        for (const std::string &push : {guide, one, two, empty, broken}) {
            send_bytes(connection.get(), framed(bytes(push)));
        }
        send_bytes(connection.get(), framed(bytes("EE 'HEART'")));
        EXPECT_EQ(watch.wait_for_exit(), 0) << watch.err();
        const std::string out = watch.out();
        return out.substr(out.find('\n') + 1);
    };
    EXPECT_EQ(pushes({}), "guide pushed: 2 entries\n"
                          "channels pushed: 1 entry\n"
                          "channels pushed: 1 entry\n"
                          "guide pushed: 0 entries\n"
                          "frame 0x06 payload 01 01 20 a3 03 00 00 00 01 00 aa\n"
                          "heartbeat\n");
    EXPECT_EQ(pushes({"--json"}), "{\"kind\":\"pushed\",\"what\":\"guide\",\"count\":2}\n"
                                  "{\"kind\":\"pushed\",\"what\":\"channels\",\"count\":1}\n"
                                  "{\"kind\":\"pushed\",\"what\":\"channels\",\"count\":1}\n"
                                  "{\"kind\":\"pushed\",\"what\":\"guide\",\"count\":0}\n"
                                  "{\"kind\":\"frame\",\"frame_type\":\"0x06\","
                                  "\"payload\":\"010120a3030000000100aa\"}\n"
                                  "{\"kind\":\"heartbeat\"}\n");
}

} // namespace
