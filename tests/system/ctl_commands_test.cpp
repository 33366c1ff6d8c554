/* SPDX-License-Identifier: MIT */
/* Every command of tvlink-ctl against a simulated television: what it prints, and what the
 * television says that it did. */
#include "system/sim_and_ctl.h"

#include <utility>

namespace
{

/* What the television prints once it serves, up to its first call. */
const char *const GREETING =
    "television \"Living room\", serial \"SN-0001\", device type 7\n"
    "  control points connect to 127.0.0.1 port 8801 (lo)\n"
    "  8 channels, 190 programmes\n"
    "  try: tvlink-ctl discover, or tvlink-ctl --host 127.0.0.1 info; Ctrl-C stops\n";

class CtlCommands : public testing::Test
{
protected:
    void SetUp() override
    {
        sim = start_sim({"--name", "Living room", "--serial", "SN-0001", "--device-type", "7"});
        ASSERT_NE(sim, nullptr);
    }

    /* What the television has told since it served. It tells of a call before it answers it. */
    void expect_calls(const std::string &calls)
    {
        EXPECT_EQ(calls_in(sim->out()), GREETING + calls);
        EXPECT_EQ(sim->err(), "");
    }

    std::unique_ptr<Program> sim;
};

TEST_F(CtlCommands, InfoShowsTheDeviceInformation)
{
    expect_output({"info"}, "name: Living room\n"
                            "serial: SN-0001\n"
                            "registered: 1\n"
                            "state: 1\n"
                            "host text: tvlink-sim " TVLINK_VERSION "\n"
                            "value 0x2015: 1024\n"
                            "value 0x2016: 600\n");
    expect_output({"info", "--json"},
                  "{\"name\":\"Living room\",\"serial\":\"SN-0001\",\"registered\":1,\"state\":1,"
                  "\"host_text\":\"tvlink-sim " TVLINK_VERSION "\",\"value_0x2015\":1024,"
                  "\"value_0x2016\":600}\n");
    expect_calls("device information? \"tvlink-sim " TVLINK_VERSION "\"\n"
                 "device information? \"tvlink-sim " TVLINK_VERSION "\"\n");
}

TEST_F(CtlCommands, NameShowsTheName)
{
    expect_output({"name"}, "name: Living room\n");
    expect_output({"--json", "name"}, "{\"name\":\"Living room\"}\n");
    expect_calls("");
}

TEST_F(CtlCommands, KeyPressesAKeyByNameOrNumber)
{
    expect_output({"key", "ok"}, "result: 0\n");
    expect_output({"key", "5"}, "result: 0\n");
    expect_output({"key", "0xFFFFFFFF", "4294967295", "--json"}, "{\"result\":0}\n");
    expect_calls("key ok (28, 0)\n"
                 "  event 0x700A key 28 \"ok\"\n"
                 "key 5 (6, 0): channel 5 -> 5 (Nature)\n"
                 "  event 0x700A key 6 \"5\"\n"
                 "  event 0x7001 channel 5 \"Nature\"\n"
                 "key unknown (4294967295, 4294967295)\n"
                 "  event 0x700A key 4294967295 \"unknown\"\n");
}

TEST_F(CtlCommands, ChannelAndVolumeStepBothWays)
{
    expect_output({"channel", "+3"}, "result: 0\n");
    expect_output({"channel", "-1"}, "result: 0\n");
    expect_output({"volume", "-5"}, "result: 0\n");
    expect_output({"volume", "+255", "--json"}, "{\"result\":0}\n");
    expect_calls("channel +3 -> 4 (Music)\n"
                 "  event 0x7001 channel 4 \"Music\"\n"
                 "channel -1 -> 3 (Films)\n"
                 "  event 0x7001 channel 3 \"Films\"\n"
                 "volume -5 -> 15\n"
                 "  event 0x7002 volume 15\n"
                 "volume +255 -> 100\n"
                 "  event 0x7002 volume 100\n");
}

TEST_F(CtlCommands, TextIsSetAndRead)
{
    expect_output({"text", "get"}, "text: \n");
    expect_output({"text", "set", "Grüße \"x\"", "label"}, "result: 0\n");
    expect_output({"text", "get"}, "text: Grüße \"x\"\n");
    expect_output({"text", "get", "--json"}, "{\"text\":\"Grüße \\\"x\\\"\"}\n");
    expect_calls("text? \"\"\n"
                 "text \"Grüße \\\"x\\\"\" with \"label\"\n"
                 "  event 0x7006 text 11 \"Grüße \\\"x\\\"\"\n"
                 "text? \"Grüße \\\"x\\\"\"\n"
                 "text? \"Grüße \\\"x\\\"\"\n");
}

TEST_F(CtlCommands, TextThatDoesNotFitIsRefusedWhole)
{
    expect_output({"text", "set", std::string(255, 'a'), std::string(31, 'b')}, "result: 0\n");
    expect_failure(local_ctl({"text", "set", std::string(256, 'a'), "b"}), 7, "result: -1\n",
                   "tvlink-ctl: the television answered that it failed: the two texts");
    expect_failure(local_ctl({"text", "set", "a", std::string(32, 'b')}), 7, "result: -1\n",
                   "tvlink-ctl: the television answered that it failed: the two texts");
    expect_output({"text", "get"}, "text: " + std::string(255, 'a') + "\n");
}

TEST_F(CtlCommands, OrderShowsTheChannels)
{
    expect_output({"order"}, "count: 8\n"
                             "order: 1 2 3 4 5 6 7 8\n"
                             "data: 01000200030004000500060007000800\n");
    expect_output({"order", "--json"}, "{\"count\":8,\"order\":[1,2,3,4,5,6,7,8],"
                                       "\"data\":\"01000200030004000500060007000800\"}\n");
}

TEST_F(CtlCommands, RpcShowsTheAnswer)
{
    expect_output({"rpc", "ping"}, "answer: pong\n");
    expect_output({"rpc", "echo a b", "--json"}, "{\"answer\":\"a b\"}\n");
    expect_calls("call \"ping\" -> \"pong\"\n"
                 "call \"echo a b\" -> \"a b\"\n");
}

/* The one number of an output, and the output with N in its place. */
std::pair<std::string, double> around_number(const std::string &out)
{
    const size_t begin = out.find_first_of("0123456789");
    const size_t end = out.find_first_not_of("0123456789.e-", begin);
    EXPECT_NE(end, std::string::npos) << out;
    return {out.substr(0, begin) + "N" + out.substr(end),
            std::stod(out.substr(begin, end - begin))};
}

TEST_F(CtlCommands, HeartbeatIsAnswered)
{
    for (const auto &[arguments, expected] :
         {std::pair<Words, const char *>{{"heartbeat"}, "heartbeat: answered\nms: N\n"},
          {{"heartbeat", "--json"}, "{\"heartbeat\":\"answered\",\"ms\":N}\n"}}) {
        const Finished result = local_ctl(arguments);
        ASSERT_EQ(result.status, 0) << result.err;
        const auto [words, milliseconds] = around_number(result.out);
        EXPECT_EQ(words, expected);
        EXPECT_GE(milliseconds, 0);
        EXPECT_LT(milliseconds, 3000);
    }
}

TEST_F(CtlCommands, RawGetShowsTheReplyByteForByte)
{
    expect_output({"raw", "get", "0x0B01"},
                  "frame type: 0x06\n"
                  "payload bytes: 17\n"
                  "code: 0x0b01\n"
                  "tag: 0x08\n"
                  "kind: string\n"
                  "value: Living room\n"
                  "empty: no\n"
                  "0000  01 01 0b 08 0b 00 4c 69 76 69 6e 67 20 72 6f 6f  |......Living roo|\n"
                  "0010  6d                                               |m|\n");
    expect_output({"raw", "get", "2817", "--json"},
                  "{\"frame_type\":\"0x06\",\"payload\":\"01010b080b004c6976696e6720726f6f6d\","
                  "\"code\":\"0x0b01\",\"tag\":\"0x08\",\"kind\":\"string\","
                  "\"value\":\"Living room\",\"empty\":false}\n");
}

TEST_F(CtlCommands, RawSetSendsOneArgumentOrAList)
{
    expect_output({"raw", "set", "0x0102", "u8:2"},
                  "frame type: 0x08\n"
                  "payload bytes: 3\n"
                  "code: 0x0102\n"
                  "result: 0\n"
                  "0000  02 01 00                                         |...|\n");
    expect_output({"raw", "set", "0x0109", "u32:28", "u32:2", "--json"},
                  "{\"frame_type\":\"0x08\",\"payload\":\"090100\",\"code\":\"0x0109\","
                  "\"result\":0}\n");
    expect_calls("channel -2 -> 7 (Travel)\n"
                 "  event 0x7001 channel 7 \"Travel\"\n"
                 "key ok (28, 2)\n"
                 "  event 0x700A key 28 \"ok\"\n");
}

TEST_F(CtlCommands, RawRpcShowsTheMeaninglessByteToo)
{
    expect_output({"raw", "rpc", "0x5004", "str:ping"},
                  "frame type: 0x22\n"
                  "payload bytes: 10\n"
                  "code: 0x5004\n"
                  "answer: pong\n"
                  "extra: 00\n"
                  "0000  04 50 01 04 00 70 6f 6e 67 00                    |.P...pong.|\n");
}

TEST_F(CtlCommands, DiscoverListsTheTelevision)
{
    /* With the loopback interface alone a television does not know its own address. */
    const Finished text = ctl({"discover", "--timeout", "2"});
    EXPECT_EQ(text.status, 0) << text.err;
    EXPECT_EQ(text.out, "television at 127.0.0.1:8801, device type 7, which does not know its "
                        "address\n");
    const Finished json = local_ctl({"discover", "--timeout", "2", "--json"});
    EXPECT_EQ(json.status, 0) << json.err;
    EXPECT_EQ(json.out, "{\"address\":\"127.0.0.1\",\"port\":8801,\"device_type\":7,"
                        "\"told_address\":\"0.0.0.0\",\"source\":\"127.0.0.1\"}\n");
}

TEST_F(CtlCommands, WithoutAHostTheFirstTelevisionThatAnswersIsTaken)
{
    const Finished result = ctl({"name"});
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_EQ(result.out, "name: Living room\n");
}

TEST_F(CtlCommands, ACodeWithoutARouteTimesOut)
{
    expect_failure(local_ctl({"raw", "get", "0x0999", "--timeout", "0.2"}), 5, "",
                   "tvlink-ctl: 127.0.0.1:8801 did not answer within 0.2 s when asked for 0x0999");
}

TEST_F(CtlCommands, ATelevisionInStandbyAnswersThatItFailed)
{
    expect_output({"key", "power"}, "result: 0\n");
    expect_failure(local_ctl({"channel", "+1"}), 7, "result: -1\n",
                   "tvlink-ctl: the television answered that it failed: channel +1");
    expect_failure(local_ctl({"volume", "-1", "--json"}), 7, "{\"result\":-1}\n",
                   "tvlink-ctl: the television answered that it failed: volume -1");
    expect_calls("key power (116, 0): power -> standby\n"
                 "  event 0x700A key 116 \"power\"\n"
                 "  event 0x7004 power 0 \"standby\"\n"
                 "channel +1 refused: in standby\n"
                 "volume -1 refused: in standby\n");
}

} // namespace
