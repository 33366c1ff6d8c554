/* SPDX-License-Identifier: MIT */
/* How tvlink-ctl ends when something is wrong: each kind of failure has a status of its own. The
 * televisions here are sockets of the test's. */
#include "system/sim_and_ctl.h"

#include <csignal>

#include <netinet/in.h>
#include <sys/socket.h>

namespace
{

/* tvlink-ctl on its way to a television that the test plays. */
class FakeTelevision
{
public:
    explicit FakeTelevision(Words arguments) : listener_(listening_on())
    {
        arguments.insert(arguments.end(),
                         {"--host", "127.0.0.1", "--port", std::to_string(port())});
        program_ = std::make_unique<Program>(TVLINK_CTL_PATH, arguments);
    }

    uint16_t port() const
    {
        return port_of(listener_.get());
    }

    std::string place() const
    {
        return "127.0.0.1:" + std::to_string(port());
    }

    Descriptor accept() const
    {
        return Descriptor(accept4(listener_.get(), nullptr, nullptr, SOCK_CLOEXEC));
    }

    /* Takes a request of this size, sends these bytes and, after that, nothing more. */
    void answer(size_t request_size, const Bytes &data)
    {
        connection_ = accept();
        EXPECT_EQ(receive_bytes(connection_.get(), request_size).size(), request_size);
        send_bytes(connection_.get(), data);
    }

    Finished finish()
    {
        const std::optional<int> status = program_->wait_for_exit();
        return {status, program_->out(), program_->err()};
    }

private:
    Descriptor listener_;
    Descriptor connection_;
    std::unique_ptr<Program> program_;
};

const size_t NAME_REQUEST_SIZE = 76; /* a frame with the kind of request, a code, no arguments */
const size_t HEARTBEAT_SIZE = 72;

void expect_usage(const Words &arguments, const std::string &complaint)
{
    const Finished result = ctl(arguments);
    EXPECT_EQ(result.status, 2) << testing::PrintToString(arguments);
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(first_line(result.err), complaint);
    EXPECT_NE(result.err.find("\ntvlink-ctl: hint: "), std::string::npos) << result.err;
}

TEST(CtlFailures, WrongUseEndsWithStatusTwo)
{
    expect_usage({"volume"}, "tvlink-ctl: STEP is required");
    expect_usage({"key"}, "tvlink-ctl: KEY is required");
    expect_usage({"--port", "0", "info"}, "tvlink-ctl: --port: Value 0 not in range 1 to 65535");
    expect_usage({"channel", "3"}, "tvlink-ctl: cannot make sense of \"3\"");
    expect_usage({"channel", "+256"}, "tvlink-ctl: cannot make sense of \"+256\"");
    expect_usage({"key", "jump"}, "tvlink-ctl: cannot make sense of \"jump\"");
    expect_usage({"raw", "get", "65536"}, "tvlink-ctl: cannot make sense of \"65536\"");
    expect_usage({"raw", "set", "1", "u8:256"}, "tvlink-ctl: cannot make sense of \"256\"");
    EXPECT_EQ(ctl({}).status, 2);
    EXPECT_EQ(ctl({"jump"}).status, 2);
    EXPECT_EQ(ctl({"info", "--loud"}).status, 2);
}

TEST(CtlFailures, HelpIsNoFailure)
{
    for (const Words &arguments :
         {Words{"--help"}, Words{"watch", "--help"}, Words{"raw", "set", "--help"}}) {
        const Finished result = ctl(arguments);
        EXPECT_EQ(result.status, 0);
        EXPECT_NE(result.out, "");
        EXPECT_EQ(result.err, "");
    }
}

TEST(CtlFailures, ASearchThatNobodyAnswersEndsWithStatusThree)
{
    expect_failure(ctl({"discover", "--timeout", "0.3"}), 3, "",
                   "tvlink-ctl: no television answered the search within 0.3 s");
    expect_failure(ctl({"name", "--timeout", "0.3"}), 3, "",
                   "tvlink-ctl: no television answered the search within 0.3 s");
}

TEST(CtlFailures, AHostOutOfReachEndsWithStatusThree)
{
    expect_failure(ctl({"name", "--host", "10.99.99.99"}), 3, "",
                   "tvlink-ctl: 10.99.99.99:8801 is unknown or out of reach");
    expect_failure(ctl({"name", "--host", "no-such-host.invalid"}), 3, "",
                   "tvlink-ctl: no-such-host.invalid:8801 is unknown or out of reach");
}

TEST(CtlFailures, ARefusedConnectionEndsWithStatusFour)
{
    expect_failure(local_ctl({"name"}), 4, "", "tvlink-ctl: 127.0.0.1:8801 refused the connection");
}

TEST(CtlFailures, ASilentTelevisionEndsWithStatusFive)
{
    FakeTelevision television({"name", "--timeout", "0.2"});
    const Descriptor connection = television.accept();
    expect_failure(television.finish(), 5, "",
                   "tvlink-ctl: " + television.place() +
                       " did not answer within 0.2 s when asked for its name");
}

TEST(CtlFailures, AConnectionThatNobodyTakesEndsWithStatusFive)
{
    Descriptor listener = listening_on();
    ASSERT_EQ(listen(listener.get(), 0), 0);
    const uint16_t port = port_of(listener.get());
    /* One waits to be accepted; there is no room for another. */
    const Descriptor first(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    ASSERT_EQ(connect(first.get(), reinterpret_cast<const sockaddr *>(&address), sizeof address),
              0);
    const std::string place = "127.0.0.1:" + std::to_string(port);
    expect_failure(local_ctl({"name", "--port", std::to_string(port), "--timeout", "0.3"}), 5, "",
                   "tvlink-ctl: " + place + " did not take the connection within 0.3 s");
}

void expect_broken_protocol(FakeTelevision &television, const std::string &reason)
{
    expect_failure(television.finish(), 6, "", "tvlink-ctl: " + television.place() + " " + reason);
}

TEST(CtlFailures, GarbageEndsWithStatusSix)
{
    FakeTelevision television({"name"});
    television.answer(NAME_REQUEST_SIZE, bytes("'HTTP/1.1 400 Bad Request'"));
    expect_broken_protocol(television, "does not keep to the protocol (bad magic)");
}

TEST(CtlFailures, AFrameWithAWrongChecksumEndsWithStatusSix)
{
    FakeTelevision television({"name"});
    Bytes frame = wire_frame(0x06, bytes("01 01 0B 08 01 00 'x'"));
    frame.back() = static_cast<uint8_t>(frame.back() + 1);
    television.answer(NAME_REQUEST_SIZE, frame);
    expect_broken_protocol(television, "does not keep to the protocol (bad checksum)");
}

TEST(CtlFailures, AReplyOfTheWrongKindEndsWithStatusSix)
{
    FakeTelevision television({"name"});
    television.answer(NAME_REQUEST_SIZE, wire_frame(0x06, bytes("01 01 0B 02 07")));
    expect_broken_protocol(television, "answered with a value of the wrong kind");
}

TEST(CtlFailures, AnEmptyReplyEndsWithStatusSeven)
{
    FakeTelevision television({"name"});
    television.answer(NAME_REQUEST_SIZE, wire_frame(0x06, bytes("01 01 0B")));
    expect_failure(television.finish(), 7, "",
                   "tvlink-ctl: the television answered that it failed: its name");
}

TEST(CtlFailures, AConnectionThatIsClosedEndsWithStatusOne)
{
    FakeTelevision television({"heartbeat"});
    {
        const Descriptor connection = television.accept();
        EXPECT_EQ(receive_bytes(connection.get(), HEARTBEAT_SIZE).size(), HEARTBEAT_SIZE);
    }
    const Finished result = television.finish();
    EXPECT_EQ(result.status, 1) << result.err;
    EXPECT_EQ(
        first_line(result.err).find("tvlink-ctl: " + television.place() + " closed the connection"),
        0u)
        << result.err;
}

TEST(CtlFailures, AWatchedTelevisionThatFallsSilentEndsWithStatusFive)
{
    FakeTelevision television({"watch", "--timeout", "0.1", "--interval", "0.1"});
    const Descriptor connection = television.accept();
    const Finished result = television.finish();
    expect_failure(result, 5, "watching " + television.place() + "\n",
                   "tvlink-ctl: " + television.place() + " no longer answers heartbeats");
}

} // namespace
