/* SPDX-License-Identifier: MIT */
/* What tvlink-sim --json prints: each kind of line, and all of them against the published schema.
 */
#include "system/sim_phone.h"

#include "support/datagrams.h"
#include "support/project_text.h"

namespace
{

const char *const PYTHON_PROGRAM = "/usr/bin/python3";

/* Prints each line of a file that is not as the schema wants it. */
const char *const VALIDATOR =
    "import json, sys\n"
    "from jsonschema import Draft202012Validator, FormatChecker\n"
    "schema = json.load(open(sys.argv[1]))\n"
    "Draft202012Validator.check_schema(schema)\n"
    "validator = Draft202012Validator(schema, format_checker=FormatChecker())\n"
    "wrong = [(line, error.message) for line in open(sys.argv[2], encoding='utf-8')\n"
    "         for error in validator.iter_errors(json.loads(line))]\n"
    "for line, message in wrong: print(line, message)\n"
    "sys.exit(1 if wrong else 0)\n";

Finished validate(const std::string &lines)
{
    const TemporaryFile file(lines);
    return run_program(PYTHON_PROGRAM, {"-I", "-c", VALIDATOR,
                                        project_path("docs/sim-events.schema.json"), file.path});
}

std::unique_ptr<Program> start_json_sim(Words arguments = {})
{
    arguments.insert(arguments.end(), {"--json", "--name", "TV", "--serial", "S"});
    return start_sim(arguments);
}

void expect_json(const Program &sim, const Words &lines)
{
    for (const std::string &line : lines) {
        EXPECT_TRUE(wait_for_json(sim, line)) << line << "\n" << sim.out();
    }
}

TEST(SimJson, PrintsOneObjectForEachThingThatHappens)
{
    const auto sim = start_json_sim({"--device-type", "9"});
    ASSERT_NE(sim, nullptr);
    {
        const Phone phone;
        EXPECT_EQ(set(phone, "01 01 02 01"), "01 01 00");
        EXPECT_EQ(call(phone, "ping"), "pong");
    }
    expect_json(
        *sim,
        {"{\"addresses\":[{\"address\":\"127.0.0.1\",\"interface\":\"lo\"}],\"channels\":8,"
         "\"device_type\":9,\"kind\":\"start\",\"name\":\"TV\",\"port\":8801,\"programmes\":190,"
         "\"remarks\":[],\"serial\":\"S\",\"time\":\"T\",\"version\":\"" TVLINK_VERSION "\"}",
         "{\"connections\":1,\"kind\":\"connected\",\"peer\":\"127.0.0.1\",\"time\":\"T\","
         "\"words\":\"connected, 1 connection\"}",
         "{\"arguments\":{\"step\":1},\"bytes\":76,\"code\":\"0x0101\",\"frame_type\":\"0x07\","
         "\"kind\":\"call\",\"name\":\"set_tv_channel\",\"peer\":\"127.0.0.1\",\"result\":0,"
         "\"slot\":\"set_tv_channel\",\"time\":\"T\",\"words\":\"channel +1 -> 2 (Sport)\"}",
         "{\"code\":\"0x7001\",\"data\":\"\",\"kind\":\"event\",\"name\":\"channel\",\"text\":"
         "\"Sport\",\"time\":\"T\",\"value\":2}",
         "{\"bytes\":76,\"code\":\"0x0101\",\"frame_type\":\"0x07\",\"kind\":\"answer\",\"name\":"
         "\"set_tv_channel\",\"peer\":\"127.0.0.1\",\"reason\":null,\"result\":0,\"time\":\"T\","
         "\"words\":\"set 0x0101 set_tv_channel: answered, result 0\"}",
         "{\"arguments\":{\"request\":\"ping\"},\"bytes\":81,\"code\":\"0x5004\",\"frame_type\":"
         "\"0x21\",\"kind\":\"call\",\"name\":\"methodString\",\"peer\":\"127.0.0.1\",\"result\":"
         "\"pong\",\"slot\":\"tv_ippRpcFunSet\",\"time\":\"T\",\"words\":\"call \\\"ping\\\" -> "
         "\\\"pong\\\"\"}",
         "{\"connections\":0,\"kind\":\"gone\",\"peer\":\"127.0.0.1\",\"reason\":\"closed by the "
         "peer\",\"time\":\"T\",\"words\":\"gone: closed by the peer, 0 connections\"}"});
    sim->signal(SIGTERM);
    EXPECT_EQ(sim->wait_for_exit(), 0);
    expect_json(*sim,
                {"{\"kind\":\"stop\",\"state\":\"on, channel 2 (Sport), volume 20, picture "
                 "standard, text \\\"\\\", no phone paired, player stopped\",\"time\":\"T\"}"});
    EXPECT_EQ(sim->err(), "");
}

TEST(SimJson, SaysWhyNothingWasAnswered)
{
    const auto sim = start_json_sim();
    ASSERT_NE(sim, nullptr);
    const Phone phone;
    phone.send(wire_frame(GET, bytes("01 77 77")));
    expect_json(*sim, {"{\"bytes\":75,\"code\":\"0x7777\",\"frame_type\":\"0x05\",\"kind\":"
                       "\"silence\",\"peer\":\"127.0.0.1\",\"reason\":\"no operation has this "
                       "code\",\"time\":\"T\",\"words\":\"get 0x7777: no such operation, "
                       "silence\"}"});
    Bytes frame = wire_frame(SET, bytes("01 01 02 01"));
    frame[0] = 0x5A;
    phone.send(frame);
    expect_json(*sim, {"{\"bytes\":76,\"kind\":\"silence\",\"peer\":\"127.0.0.1\",\"reason\":\"a "
                       "bad magic number\",\"time\":\"T\",\"words\":\"frame of 76 bytes: a bad "
                       "magic number, silence\"}"});
}

TEST(SimJson, TracesTheBytes)
{
    const auto sim = start_json_sim({"--trace"});
    ASSERT_NE(sim, nullptr);
    const Phone phone;
    EXPECT_EQ(set(phone, "01 01 02 01"), "01 01 00");
    expect_json(*sim,
                {"{\"bytes\":76,\"code\":\"0x0101\",\"frame_type\":\"0x07\",\"kind\":\"request\","
                 "\"name\":\"set_tv_channel\",\"peer\":\"127.0.0.1\",\"time\":\"T\",\"words\":"
                 "\"set 0x0101 set_tv_channel arrived, 76 bytes\"}",
                 "{\"arguments\":\"tag 0x02, step 1\",\"bytes\":76,\"code\":\"0x0101\","
                 "\"frame_type\":\"0x07\",\"kind\":\"frame\",\"name\":\"set_tv_channel\",\"payload"
                 "\":\"01010201\",\"peer\":\"127.0.0.1\",\"time\":\"T\",\"words\":\"set 0x0101 "
                 "set_tv_channel (tag 0x02, step 1): 07 01010201\"}",
                 "{\"code\":\"0x7001\",\"failed\":0,\"kind\":\"event_sent\",\"reached\":1,\"time"
                 "\":\"T\",\"words\":\"event 0x7001 sent to 1 phone\"}"});
}

/* One of each: searches, refusals, calls of every family, events, captures, pushes, bad frames. */
void converse(const Program &sim)
{
    for (const Words &command :
         {Words{"info"}, Words{"channels"}, Words{"guide"}, Words{"key", "volume-up"},
          Words{"mute", "on"}, Words{"text", "set", "caf\xC3\xA9", "label"}, Words{"text", "get"},
          Words{"play", "http://streams.example/films"}, Words{"play", "status"},
          Words{"rpc", "push guide"}, Words{"screenshot", "-o", "/dev/null"}, Words{"apps"}}) {
        local_ctl(command);
    }
    const Descriptor searcher = datagram_socket();
    EXPECT_TRUE(wait_until([&] {
        for (int i = 0; i < 2; i++) {
            EXPECT_TRUE(send_datagram(searcher.get(), bytes("A5 A5 08 00 41 49 49 50"), "127.0.0.1",
                                      12426));
        }
        return sim.out().find("\"kind\":\"search_answered\"") != std::string::npos &&
               sim.out().find("\"kind\":\"search_refused\"") != std::string::npos;
    })) << sim.out();
    const Phone phone;
    phone.send(wire_frame(SET, bytes("12 01 02 08 02 00 FF FE 08 00 00"))); /* not UTF-8 */
    Bytes frame = wire_frame(SET, bytes("01 01 02 01"));
    frame[0] = 0x5A;
    phone.send(frame);
    for (const char *payload : {"01 77 77", "07", "01 18 01 02 03 40 01 03 B4 00"}) {
        phone.send(wire_frame(GET, bytes(payload)));
    }
    phone.send(wire_frame(0x33, {}));
    EXPECT_TRUE(sim.wait_for("not the type of a request"));
}

TEST(SimJson, KeepsToItsSchemaInALongSession)
{
    const auto sim = start_json_sim({"--trace", "--event-every", "0.1"});
    ASSERT_NE(sim, nullptr);
    converse(*sim);
    EXPECT_TRUE(sim->wait_for("\"name\":\"demo\""));
    sim->signal(SIGHUP);
    EXPECT_TRUE(sim->wait_for("\"kind\":\"lists\""));
    sim->signal(SIGTERM);
    EXPECT_EQ(sim->wait_for_exit(), 0);
    for (const char *kind :
         {"start", "search_answered", "search_refused", "connected", "gone", "request", "frame",
          "call", "event", "event_sent", "answer", "silence", "capture_offered", "capture_ended",
          "push_begun", "push_ended", "lists", "stop"}) {
        EXPECT_NE(sim->out().find("\"kind\":\"" + std::string(kind) + "\""), std::string::npos)
            << kind;
    }
    const Finished result = validate(sim->out());
    EXPECT_EQ(result.status, 0) << result.out << result.err;
}

/* The validation itself can fail. */
TEST(SimJson, ItsSchemaRefusesOtherLines)
{
    const std::string good = "{\"kind\":\"stop\",\"state\":\"on\",\"time\":\"2026-11-22T20:15:00."
                             "250+00:00\"}\n";
    EXPECT_EQ(validate(good).status, 0) << validate(good).out << validate(good).err;
    for (const char *line :
         {"{\"kind\":\"stop\",\"state\":\"on\"}\n",
          "{\"kind\":\"stop\",\"state\":\"on\",\"time\":\"20:15:00\"}\n",
          "{\"kind\":\"stop\",\"state\":\"on\",\"other\":1,\"time\":"
          "\"2026-11-22T20:15:00.250+00:00\"}\n",
          "{\"kind\":\"begin\",\"state\":\"on\",\"time\":\"2026-11-22T20:15:00.250+00:00\"}\n",
          "{\"connections\":1,\"kind\":\"connected\",\"peer\":\"here\",\"words\":\"\",\"time\":"
          "\"2026-11-22T20:15:00.250+00:00\"}\n"}) {
        EXPECT_EQ(validate(line).status, 1) << line;
    }
}

} // namespace
