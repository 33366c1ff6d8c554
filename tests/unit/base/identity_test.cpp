/* SPDX-License-Identifier: MIT */
#include "base/identity.h"

#include "tvlink.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstring>
#include <string>
#include <thread>

namespace
{

/* Before main(): nobody has set anything yet. */
struct InitialIdentity {
    std::string name = std::string(gTvName, IDENTITY_SIZE);
    std::string serial = std::string(gTvSN, IDENTITY_SIZE);
} const initial_identity;

class Identity : public testing::Test
{
protected:
    void SetUp() override
    {
        identity_set_name("");
        identity_set_serial("");
    }
};

/* All 256 bytes: the text and zeros behind it. */
std::string filled(const std::string &text)
{
    return text + std::string(IDENTITY_SIZE - text.size(), '\0');
}

std::string whole(const char *buffer)
{
    return std::string(buffer, IDENTITY_SIZE);
}

TEST_F(Identity, IsEmptyAtFirst)
{
    EXPECT_EQ(initial_identity.name, filled(""));
    EXPECT_EQ(initial_identity.serial, filled(""));
    EXPECT_EQ(IDENTITY_SIZE, 256);
    EXPECT_EQ(IPP_TEXT_LIMIT, 255);
}

TEST_F(Identity, HasDefaults)
{
    identity_set_name(nullptr);
    identity_set_serial(nullptr);
    EXPECT_EQ(whole(gTvName), filled("KV-EU-TV"));
    EXPECT_EQ(whole(gTvSN), filled("EU-TVsn001"));
}

TEST_F(Identity, IsReplacedWholeByAGivenText)
{
    identity_set_name("A television with a long name");
    identity_set_serial("SN-0123456789-0123456789");
    EXPECT_EQ(whole(gTvName), filled("A television with a long name"));
    EXPECT_EQ(whole(gTvSN), filled("SN-0123456789-0123456789"));
    identity_set_name("Den");
    identity_set_serial("7");
    EXPECT_EQ(whole(gTvName), filled("Den"));
    EXPECT_EQ(whole(gTvSN), filled("7"));
    identity_set_name("");
    identity_set_serial("");
    EXPECT_EQ(whole(gTvName), filled(""));
    EXPECT_EQ(whole(gTvSN), filled(""));
}

TEST_F(Identity, KeepsTheRestOfALongerTextBehindADefault)
{
    identity_set_name("Living room television");
    identity_set_name(nullptr);
    EXPECT_EQ(whole(gTvName), filled("KV-EU-TVoom television"));
    identity_set_serial("0123456789ABCDEF");
    identity_set_serial(nullptr);
    EXPECT_EQ(whole(gTvSN), filled("EU-TVsn001ABCDEF"));
    identity_set_name("Den");
    identity_set_name(nullptr);
    EXPECT_EQ(whole(gTvName), filled("KV-EU-TV"));
}

TEST_F(Identity, IsCutAt255Bytes)
{
    for (const size_t length : {254u, 255u, 256u, 300u, 5000u}) {
        const std::string text(length, 'x');
        const std::string kept(length < 255 ? length : 255, 'x');
        identity_set_name(text.c_str());
        EXPECT_EQ(whole(gTvName), filled(kept)) << length;
        identity_set_serial(text.c_str());
        EXPECT_EQ(whole(gTvSN), filled(kept)) << length;
    }
    identity_set_name(nullptr);
    EXPECT_EQ(whole(gTvName), filled("KV-EU-TV" + std::string(247, 'x')));
}

TEST_F(Identity, IsCutWhereACharacterEnds)
{
    const std::string characters[] = {"\xC3\xA9", "\xE2\x82\xAC", "\xF0\x9F\x93\xBA"};
    for (const std::string &character : characters) {
        for (size_t before = 250; before <= 255; before++) {
            const std::string start(before, 'x');
            identity_set_name((start + character + "yyyyyy").c_str());
            const std::string whole_text = start + character + "yyyyyy";
            const bool fits = before + character.size() <= 255;
            EXPECT_EQ(whole(gTvName), filled(fits ? whole_text.substr(0, 255) : start))
                << character.size() << " bytes behind " << before;
        }
    }
}

TEST_F(Identity, IsCutAt255BytesWhenItIsNotUtf8)
{
    const std::string text(300, '\xA4');
    identity_set_serial(text.c_str());
    EXPECT_EQ(whole(gTvSN), filled(text.substr(0, 255)));
    const std::string stray = std::string(254, 'x') + "e\xA4\xA4";
    identity_set_serial(stray.c_str());
    EXPECT_EQ(whole(gTvSN), filled(stray.substr(0, 255)));
}

TEST_F(Identity, MayBeSetToItsOwnBuffer)
{
    identity_set_name("Living room");
    identity_set_name(gTvName);
    EXPECT_EQ(whole(gTvName), filled("Living room"));
    identity_set_name(gTvName + 7);
    EXPECT_EQ(whole(gTvName), filled("room"));
    identity_set_serial(gTvName);
    EXPECT_EQ(whole(gTvSN), filled("room"));
    EXPECT_EQ(whole(gTvName), filled("room"));
}

TEST_F(Identity, IsCopiedWhole)
{
    identity_set_name("Den");
    identity_set_serial("SN-7");
    char copy[IDENTITY_SIZE];
    memset(copy, 'z', sizeof copy);
    identity_copy_name(copy);
    EXPECT_EQ(whole(copy), filled("Den"));
    memset(copy, 'z', sizeof copy);
    identity_copy_serial(copy);
    EXPECT_EQ(whole(copy), filled("SN-7"));
}

TEST_F(Identity, IsTerminatedInACopyEvenIfAHostHasFilledItsBuffer)
{
    memset(gTvName, 'n', IDENTITY_SIZE);
    char copy[IDENTITY_SIZE];
    identity_copy_name(copy);
    EXPECT_EQ(whole(copy), filled(std::string(255, 'n')));
}

TEST_F(Identity, IsNeverCopiedHalfChanged)
{
    const std::string first(200, 'a');
    const std::string second(100, 'b');
    std::atomic<bool> done(false);
    std::thread writer([&] {
        for (int i = 0; i < 2000; i++) {
            identity_set_name(i % 2 == 0 ? first.c_str() : second.c_str());
            identity_set_serial(i % 2 == 0 ? second.c_str() : first.c_str());
        }
        done = true;
    });
    const std::string empty = filled("");
    do {
        char copy[IDENTITY_SIZE];
        identity_copy_name(copy);
        const std::string name = whole(copy);
        identity_copy_serial(copy);
        const std::string serial = whole(copy);
        for (const std::string &text : {name, serial}) {
            EXPECT_TRUE(text == empty || text == filled(first) || text == filled(second)) << text;
        }
    } while (!done);
    writer.join();
}

} // namespace
