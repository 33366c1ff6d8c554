/* SPDX-License-Identifier: MIT */
#include "reporter.h"

#include <deque>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "support/wait_until.h"

using namespace sim;

namespace
{

using Texts = std::vector<std::string>;

/* A reporter whose posts block until the test answers them, one by one. */
class SimReporter : public testing::Test
{
protected:
    ~SimReporter() override
    {
        end_reporter(reporter);
        answer(""); /* for a post in progress */
        EXPECT_TRUE(reporter_has_ended(reporter, PATIENCE));
    }

    void start()
    {
        start_reporter(reporter, {[this] { return state(); },
                                  [this](const std::string &text) { return post(text); },
                                  [this](const std::string &failure) {
                                      const std::lock_guard<std::mutex> guard(lock);
                                      reported.push_back(failure);
                                  }});
    }

    void change(const std::string &text)
    {
        {
            const std::lock_guard<std::mutex> guard(lock);
            newest = text;
        }
        state_changed(reporter);
    }

    /* Ends the present or the next post, with the reason of a failure, or with success. */
    void answer(const std::string &failure)
    {
        const std::lock_guard<std::mutex> guard(lock);
        answers.push_back(failure);
        answered.notify_all();
    }

    /* True once the reporter has read the state so many times. */
    bool wait_for_reads(size_t count)
    {
        return wait_until([&] {
            const std::lock_guard<std::mutex> guard(lock);
            return reads == count;
        });
    }

    bool wait_for_posts(size_t count)
    {
        return wait_until([&] { return posts().size() == count; });
    }

    Texts posts()
    {
        const std::lock_guard<std::mutex> guard(lock);
        return posted;
    }

    Texts failures()
    {
        const std::lock_guard<std::mutex> guard(lock);
        return reported;
    }

    Reporter reporter;

private:
    std::string state()
    {
        const std::lock_guard<std::mutex> guard(lock);
        reads++;
        return newest;
    }

    std::string post(const std::string &text)
    {
        std::unique_lock<std::mutex> guard(lock);
        posted.push_back(text);
        answered.wait(guard, [this] { return !answers.empty(); });
        const std::string failure = answers.front();
        answers.pop_front();
        return failure;
    }

    std::mutex lock;
    std::condition_variable answered;
    std::string newest = "first";
    size_t reads = 0;
    std::deque<std::string> answers;
    Texts posted;
    Texts reported;
};

TEST_F(SimReporter, PostsTheStateAtTheStartAndAtEachChange)
{
    start();
    ASSERT_TRUE(wait_for_posts(1));
    answer("");
    change("second");
    ASSERT_TRUE(wait_for_posts(2));
    answer("");
    change("third");
    ASSERT_TRUE(wait_for_posts(3));
    EXPECT_EQ(posts(), (Texts{"first", "second", "third"}));
    EXPECT_EQ(failures(), Texts{});
}

TEST_F(SimReporter, PostsOnlyTheNewestOfTheStatesThatComeWhileItPosts)
{
    start();
    ASSERT_TRUE(wait_for_posts(1));
    change("second");
    change("third");
    change("fourth");
    answer("");
    ASSERT_TRUE(wait_for_posts(2));
    answer("");
    change("fifth");
    ASSERT_TRUE(wait_for_posts(3));
    EXPECT_EQ(posts(), (Texts{"first", "fourth", "fifth"}));
}

TEST_F(SimReporter, DoesNotPostAStateThatTheServerHas)
{
    start();
    ASSERT_TRUE(wait_for_posts(1));
    change("second");
    change("first");
    answer("");
    ASSERT_TRUE(wait_for_reads(2));
    change("first");
    ASSERT_TRUE(wait_for_reads(3));
    change("third");
    ASSERT_TRUE(wait_for_posts(2));
    EXPECT_EQ(posts(), (Texts{"first", "third"}));
}

TEST_F(SimReporter, PostsAStateAgainThatMayNotHaveArrived)
{
    start();
    ASSERT_TRUE(wait_for_posts(1));
    change("first");
    answer("no connection");
    ASSERT_TRUE(wait_for_posts(2));
    EXPECT_EQ(posts(), (Texts{"first", "first"}));
}

TEST_F(SimReporter, TellsWhenPostsBeginToFailFailForAnotherReasonAndWorkAgain)
{
    const Texts outcomes = {"", "", "deaf", "deaf", "mute", "mute", "deaf", "", "", "mute"};
    start();
    for (size_t i = 0; i < outcomes.size(); i++) {
        ASSERT_TRUE(wait_for_posts(i + 1));
        answer(outcomes[i]);
        change(std::to_string(i));
    }
    ASSERT_TRUE(wait_for_posts(outcomes.size() + 1));
    EXPECT_EQ(failures(), (Texts{"deaf", "mute", "deaf", "", "mute"}));
}

TEST_F(SimReporter, EndsAtOnceWhenItDoesNotPost)
{
    start();
    ASSERT_TRUE(wait_for_posts(1));
    answer("");
    change("first");
    ASSERT_TRUE(wait_for_reads(2)); /* now it waits again, or very soon */
    end_reporter(reporter);
    EXPECT_TRUE(reporter_has_ended(reporter, std::chrono::hours(1)));
}

TEST_F(SimReporter, FinishesAPostButBeginsNoOtherAndTellsNothingOnceItIsToEnd)
{
    start();
    ASSERT_TRUE(wait_for_posts(1));
    change("second");
    end_reporter(reporter);
    EXPECT_FALSE(reporter_has_ended(reporter, std::chrono::milliseconds(0)));
    answer("no connection");
    EXPECT_TRUE(reporter_has_ended(reporter, PATIENCE));
    EXPECT_EQ(posts(), Texts{"first"});
    EXPECT_EQ(failures(), Texts{});
}

TEST_F(SimReporter, TakesChangesBeforeItsStartAndAfterItsEnd)
{
    EXPECT_TRUE(reporter_has_ended(reporter, std::chrono::milliseconds(0)));
    change("zeroth");
    start();
    ASSERT_TRUE(wait_for_posts(1));
    answer("");
    end_reporter(reporter);
    EXPECT_TRUE(reporter_has_ended(reporter, PATIENCE));
    change("last");
    EXPECT_EQ(posts(), Texts{"zeroth"});
}

} // namespace
