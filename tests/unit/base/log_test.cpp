/* SPDX-License-Identifier: MIT */
#include "base/log.h"

#include "base/held_calls.h"

#include "support/captured_lines.h"
#include "support/libc_texts.h"
#include "support/system_calls.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <netdb.h>
#include <thread>
#include <unistd.h>

namespace
{

using Lines = std::vector<std::string>;

/* Each line as "1:text" or "2:text". */
Lines with_streams(const CapturedLines &lines)
{
    Lines result;
    for (const Line &line : lines.all()) {
        result.push_back(std::to_string(line.stream) + ":" + line.text);
    }
    return result;
}

class Log : public testing::Test
{
protected:
    void TearDown() override
    {
        ipp_set_log_sink(nullptr, nullptr);
        ipp_set_log_dumps(0);
    }
};

TEST_F(Log, WritesToTheStandardStreamsByDefault)
{
    const CapturedStreams streams;
    log_out("%s %d str_len %d \n", "somewhere", 129, 2);
    log_err("err %s\n", "here");
    log_trace("soc_close", 351);
    log_out("no newline");
    EXPECT_EQ(streams.out(), "somewhere 129 str_len 2 \nzqt===  soc_close 351\nno newline");
    EXPECT_EQ(streams.err(), "err here\n");
}

TEST_F(Log, NamesErrorsAsTheSystemDoes)
{
    const CapturedStreams streams;
    errno = ENOENT;
    log_perror("recv");
    h_errno = HOST_NOT_FOUND;
    log_herror("create socket fails");
    const std::string written = streams.err();
    errno = ENOENT;
    std::perror("recv");
    h_errno = HOST_NOT_FOUND;
    herror("create socket fails");
    EXPECT_EQ(written + written, streams.err());
    EXPECT_EQ(written,
              "recv: No such file or directory\ncreate socket fails: " + UNKNOWN_HOST + "\n");
    EXPECT_EQ(streams.out(), "");
}

TEST_F(Log, NamesAResolverErrorAsTheSystemDoesWithoutAText)
{
    const CapturedStreams streams;
    h_errno = TRY_AGAIN;
    log_herror(nullptr);
    log_herror("");
    const std::string written = streams.err();
    EXPECT_EQ(written, TRY_LATER + "\n" + TRY_LATER + "\n");
    herror(nullptr);
    EXPECT_EQ(written + TRY_LATER + "\n", streams.err());
}

TEST_F(Log, GivesTheSinkTheVeryTextAndItsStream)
{
    const CapturedStreams streams;
    const CapturedLines lines;
    errno = ENOENT;
    log_out("%s %d str_len %d \n", "somewhere", 129, 2);
    log_err("100%% wrong\n");
    log_perror("recv");
    log_herror("soc");
    log_trace("tcp_thread", 637);
    log_out("no newline");
    log_out("%s", "");
    EXPECT_EQ(with_streams(lines), (Lines{"1:somewhere 129 str_len 2 \n", "2:100% wrong\n",
                                          "2:recv: No such file or directory\n",
                                          "2:soc: " + std::string(hstrerror(h_errno)) + "\n",
                                          "1:zqt===  tcp_thread 637\n", "1:no newline", "1:"}));
    EXPECT_EQ(streams.out() + streams.err(), "");
}

TEST_F(Log, FormatsNothingForTheSinkThatTakesNoLine)
{
    const CapturedStreams streams;
    ipp_set_log_sink(ipp_log_discard, nullptr);
    const char *const unreadable = reinterpret_cast<const char *>(1);
    log_out("%s\n", unreadable);
    calls_hold();
    log_err("%s\n", unreadable);
    calls_release();
    ipp_log_discard(IPP_LOG_OUT, "a line", nullptr);
    ipp_set_log_sink(nullptr, nullptr);
    log_out("again\n");
    EXPECT_EQ(streams.out(), "again\n");
    EXPECT_EQ(streams.err(), "");
}

TEST_F(Log, StreamsAreNumberedAsTheSystemNumbersThem)
{
    EXPECT_EQ(IPP_LOG_OUT, STDOUT_FILENO);
    EXPECT_EQ(IPP_LOG_ERR, STDERR_FILENO);
}

void count_calls(int, const char *, void *context)
{
    ++*static_cast<int *>(context);
}

TEST_F(Log, GivesTheSinkItsContextUntilAnotherOneIsSet)
{
    const CapturedStreams streams;
    int first = 0;
    int second = 0;
    ipp_set_log_sink(count_calls, &first);
    log_out("one\n");
    ipp_set_log_sink(count_calls, &second);
    log_out("two\n");
    log_err("three\n");
    ipp_set_log_sink(nullptr, nullptr);
    log_out("four\n");
    EXPECT_EQ(first, 1);
    EXPECT_EQ(second, 2);
    EXPECT_EQ(streams.out(), "four\n");
}

TEST_F(Log, HandsLongLinesOverWhole)
{
    const CapturedLines lines;
    const std::string text(100000, 'x');
    log_out("%s\n", text.c_str());
    EXPECT_EQ(lines.out(), Lines{text + "\n"});
}

void spoil_errno(int, const char *, void *)
{
    errno = EXDEV;
}

TEST_F(Log, LeavesErrnoAlone)
{
    ipp_set_log_sink(spoil_errno, nullptr);
    errno = EPIPE;
    log_out("line\n");
    EXPECT_EQ(errno, EPIPE);
    log_err("line\n");
    log_perror("line");
    log_herror("line");
    log_trace("line", 1);
    EXPECT_EQ(errno, EPIPE);
    calls_hold();
    log_out("line\n");
    EXPECT_EQ(errno, EPIPE);
    calls_release();
    EXPECT_EQ(errno, EPIPE);
}

TEST_F(Log, LeavesErrnoAloneWhenTheStreamCannotBeWritten)
{
    const CapturedStreams streams;
    const int full = open("/dev/full", O_WRONLY | O_CLOEXEC);
    ASSERT_GE(full, 0);
    ASSERT_EQ(dup2(full, STDOUT_FILENO), STDOUT_FILENO);
    close(full);
    const std::string text(100000, 'x'); /* more than the stream keeps for later */
    errno = EPIPE;
    log_out("%s\n", text.c_str());
    EXPECT_EQ(errno, EPIPE);
    EXPECT_NE(std::ferror(stdout), 0);
    std::clearerr(stdout);
}

TEST_F(Log, PrintsTheErrnoOfTheCall)
{
    const CapturedLines lines;
    errno = EBADF;
    log_out("%m IP_ADD_MEMBERSHIP\n");
    calls_hold();
    errno = ENOENT;
    log_perror("held");
    errno = EBADF;
    calls_release();
    EXPECT_EQ(with_streams(lines), (Lines{"1:Bad file descriptor IP_ADD_MEMBERSHIP\n",
                                          "2:held: No such file or directory\n"}));
}

TEST_F(Log, KeepsTheSinkWaitingUntilTheLastReleaseAndTheOrderOfTheLines)
{
    const CapturedLines lines;
    calls_hold();
    log_out("one\n");
    calls_hold();
    log_err("two\n");
    calls_release();
    log_out("%s", "");
    log_out("three\n");
    EXPECT_EQ(with_streams(lines), Lines());
    calls_release();
    EXPECT_EQ(with_streams(lines), (Lines{"1:one\n", "2:two\n", "1:", "1:three\n"}));
    log_out("four\n");
    EXPECT_EQ(lines.all().size(), 5u);
}

TEST_F(Log, WritesToTheStandardStreamsAtOnceAlsoWhileHeld)
{
    const CapturedStreams streams;
    calls_hold();
    log_out("one\n");
    EXPECT_EQ(streams.out(), "one\n");
    calls_release();
    EXPECT_EQ(streams.out(), "one\n");
}

TEST_F(Log, HoldsTheLinesOfItsOwnThreadOnly)
{
    const CapturedLines lines;
    calls_hold();
    log_out("mine\n");
    std::thread([] { log_out("another's\n"); }).join();
    EXPECT_EQ(lines.out(), Lines{"another's\n"});
    calls_release();
    EXPECT_EQ(lines.out(), (Lines{"another's\n", "mine\n"}));
}

TEST_F(Log, BoundsWhatWaits)
{
    const CapturedLines lines;
    const std::string text = std::string(1022, 'x') + "\n"; /* takes 1,025 bytes */
    calls_hold();
    for (int i = 0; i < 2000; i++) {
        log_out("%s", text.c_str());
    }
    calls_release();
    EXPECT_EQ(lines.count(text), IPP_LOG_BACKLOG_MAX / 1025u);
    EXPECT_EQ(lines.all().size(), IPP_LOG_BACKLOG_MAX / 1025u) << "a line is cut";
    calls_hold();
    log_out("afterwards\n");
    calls_release();
    EXPECT_EQ(lines.count("afterwards\n"), 1u) << "the bound stays in force";
}

TEST_F(Log, LeavesOutALineThatIsTooLongToWaitButNoOther)
{
    const CapturedLines lines;
    const std::string most(IPP_LOG_BACKLOG_MAX - 2, 'x');
    calls_hold();
    log_out("%s", most.c_str());
    calls_release();
    EXPECT_EQ(lines.out(), Lines{most});
    lines.clear();
    calls_hold();
    log_out("before\n");
    log_out("%s", most.c_str());
    log_out("after\n");
    calls_release();
    EXPECT_EQ(lines.out(), (Lines{"before\n", "after\n"}));
}

TEST_F(Log, KeepsLinesOfAllLengthsWaiting)
{
    const CapturedLines lines;
    Lines expected;
    calls_hold();
    for (size_t length = 1; length < 100000; length = length * 3 / 2 + 1) {
        expected.push_back(std::string(length, static_cast<char>('a' + length % 26)));
        log_out("%s", expected.back().c_str());
    }
    calls_release();
    EXPECT_EQ(lines.out(), expected);
}

TEST_F(Log, LosesWaitingLinesAndNothingElseWhenMemoryIsOut)
{
    const CapturedLines lines;
    WatchedCall memory(system_realloc);
    memory.fail(ENOMEM);
    const std::string large(10000, 'x');
    calls_hold();
    log_out("lost\n");
    log_out("kept\n");
    memory.fail(ENOMEM);
    log_out("%s", large.c_str());
    log_out("kept too\n");
    log_out("%s", large.c_str());
    calls_release();
    EXPECT_EQ(lines.out(), (Lines{"kept\n", "kept too\n", large}));
}

TEST_F(Log, GivesWaitingLinesToTheStreamsWhenTheSinkIsGone)
{
    const CapturedStreams streams;
    int calls = 0;
    ipp_set_log_sink(count_calls, &calls);
    calls_hold();
    log_out("out\n");
    log_err("err\n");
    ipp_set_log_sink(nullptr, nullptr);
    calls_release();
    EXPECT_EQ(calls, 0);
    EXPECT_EQ(streams.out(), "out\n");
    EXPECT_EQ(streams.err(), "err\n");
}

/* A sink that itself uses the library. */
struct Nested {
    Lines seen;
    bool inside;
};

void print_more(int, const char *text, void *context)
{
    Nested *nested = static_cast<Nested *>(context);
    nested->seen.push_back(text);
    if (!nested->inside) {
        nested->inside = true;
        log_out("at once\n");
        calls_hold();
        log_out("held\n");
        calls_release();
        IppGuard plain = {};
        EXPECT_EQ(ipp_set_guard(&plain), 0);
        ipp_set_log_sink(print_more, context);
        nested->inside = false;
    }
}

TEST_F(Log, LetsTheSinkCallBackIntoTheLibrary)
{
    Nested nested = {{}, false};
    ipp_set_log_sink(print_more, &nested);
    log_out("one\n");
    EXPECT_EQ(nested.seen, (Lines{"one\n", "at once\n", "held\n"}));
    nested.seen.clear();
    calls_hold();
    log_out("two\n");
    log_out("three\n");
    EXPECT_EQ(nested.seen, Lines());
    calls_release();
    EXPECT_EQ(nested.seen,
              (Lines{"two\n", "at once\n", "held\n", "three\n", "at once\n", "held\n"}));
}

TEST_F(Log, MayBeUsedByManyThreadsAtOnce)
{
    const CapturedLines lines;
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; t++) {
        threads.emplace_back([] {
            for (int i = 0; i < 500; i++) {
                calls_hold();
                log_out("held line\n");
                calls_release();
                log_err("line\n");
                ipp_set_log_dumps(i % 2);
                (void)log_dumps_wanted();
            }
        });
    }
    for (std::thread &thread : threads) {
        thread.join();
    }
    EXPECT_EQ(lines.count("held line\n"), 2000u);
    EXPECT_EQ(lines.count("line\n"), 2000u);
    EXPECT_EQ(lines.all().size(), 4000u);
}

TEST_F(Log, WritesEachLineInOnePiece)
{
    const CapturedStreams streams;
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; t++) {
        threads.emplace_back([] {
            for (int i = 0; i < 500; i++) {
                log_out("%s %d\n", "a line of some parts", 4711);
            }
        });
    }
    for (std::thread &thread : threads) {
        thread.join();
    }
    std::string expected;
    for (int i = 0; i < 2000; i++) {
        expected += "a line of some parts 4711\n";
    }
    EXPECT_EQ(streams.out(), expected);
}

TEST_F(Log, WantsDumpsOnlyWhenAsked)
{
    EXPECT_FALSE(log_dumps_wanted());
    ipp_set_log_dumps(1);
    EXPECT_TRUE(log_dumps_wanted());
    ipp_set_log_dumps(-5);
    EXPECT_TRUE(log_dumps_wanted());
    ipp_set_log_dumps(0);
    EXPECT_FALSE(log_dumps_wanted());
}

} // namespace
