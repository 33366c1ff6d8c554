/* SPDX-License-Identifier: MIT */
#include "saved_state.h"

#include "state_file.h"
#include "support/temporary_file.h"
#include "television.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include <cstdio>

#include <sys/stat.h>

namespace
{

sim::Television new_television()
{
    return sim::make_television("TV",
                                {{1, "News", "a", "n", "http://n"},
                                 {2, "Sport", "a", "s", "http://s"},
                                 {3, "Films", "a", "f", "http://f"}},
                                {});
}

/* Everything is different from what it is at first. */
sim::Television used_television()
{
    sim::Television tv = new_television();
    sim::search_channels(tv);
    sim::reorder_channels(tv, 3, 1, 2);
    sim::choose_channel(tv, 2);
    sim::step_volume(tv, 7);
    sim::set_mute(tv, true);
    sim::set_picture_mode(tv, 2);
    sim::type_text(tv, "text", "label");
    sim::pair_phone(tv, "phone");
    sim::keep_setting(tv, "wifi", "hunter2", 1);
    sim::keep_video_value(tv, "rate", int64_t{-5});
    sim::keep_video_value(tv, "name", std::string("value"));
    sim::install_application(tv, "Maps");
    sim::set_nickname(tv, "Telly");
    sim::set_place(tv, "Kitchen");
    sim::rename_television(tv, "Other");
    sim::open_stream(tv, "http://streams.example/films");
    sim::play(tv, 100);
    sim::set_player_volume(tv, 9);
    tv.last_key = 139;
    return tv;
}

TEST(SavedState, IsTheSameWhenItIsReadAgain)
{
    const std::string saved = sim::saved_state(used_television(), 130);
    sim::Television tv = new_television();
    sim::take_saved_state(tv, saved, 1000);
    EXPECT_EQ(sim::saved_state(tv, 1000), saved);
    EXPECT_EQ(sim::summary(tv), "on, channel 2 (Sport), volume 27 (muted), picture cinema, text "
                                "\"text\", paired with \"phone\", player playing");
    EXPECT_EQ(tv.name, "Other");
    EXPECT_EQ(sim::player_position(tv.player, 1005), 35u);
    EXPECT_EQ(tv.settings["wifi"].value, "hunter2");
    ASSERT_EQ(tv.channels.size(), 4u);
    EXPECT_EQ(tv.channels[0].name, "Films");
    EXPECT_EQ(tv.channels[3].name, "Local 4");
}

TEST(SavedState, KeepsToTheChannelsThatThereAre)
{
    const std::string saved = sim::saved_state(used_television(), 130);
    sim::Television tv = sim::make_television(
        "TV", {{4, "Music", "a", "", "http://m"}, {3, "Films", "a", "", "http://new"}}, {});
    sim::take_saved_state(tv, saved, 0);
    ASSERT_EQ(tv.channels.size(), 2u);
    EXPECT_EQ(tv.channels[0].address, "http://new");
    EXPECT_EQ(tv.channels[1].name, "Music");
    EXPECT_EQ(tv.current, 0u);
}

TEST(SavedState, IsRefusedWholeWhenSomethingInItIsWrong)
{
    const std::string saved = sim::saved_state(used_television(), 130);
    const std::pair<const char *, nlohmann::json> changes[] = {{"/form", 2},
                                                               {"/volume", 101},
                                                               {"/volume", -1},
                                                               {"/volume", 1.5},
                                                               {"/on", 1},
                                                               {"/name", ""},
                                                               {"/channels", {}},
                                                               {"/picture_mode", 4},
                                                               {"/player/state", 3},
                                                               {"/player/film", 99},
                                                               {"/text", 5},
                                                               {"/settings/wifi/kind", 256},
                                                               {"/video_values/rate", true}};
    for (const auto &[place, value] : changes) {
        nlohmann::json state = nlohmann::json::parse(saved);
        state[nlohmann::json::json_pointer(place)] = value;
        sim::Television tv = new_television();
        const std::string before = sim::saved_state(tv, 0);
        EXPECT_THROW(sim::take_saved_state(tv, state.dump(), 0), sim::StateError) << place;
        EXPECT_EQ(sim::saved_state(tv, 0), before) << place;
    }
    sim::Television tv = new_television();
    for (size_t size = 0; size + 1 < saved.size(); size++) {
        EXPECT_THROW(sim::take_saved_state(tv, saved.substr(0, size), 0), sim::StateError) << size;
    }
}

TEST(StateFile, IsReplacedAsAWhole)
{
    const TemporaryFile file("old and longer");
    EXPECT_EQ(sim::replace_file(file.path, "new"), "");
    EXPECT_EQ(file.content(), "new");
    struct stat status = {};
    ASSERT_EQ(stat(file.path.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777u, 0600u);
    EXPECT_NE(stat((file.path + ".new").c_str(), &status), 0);
}

TEST(StateFile, StaysWhenItCannotBeReplaced)
{
    EXPECT_EQ(sim::replace_file("/nowhere/state", "new"), "No such file or directory");
    EXPECT_EQ(sim::replace_file("/dev/full/state", "new"), "Not a directory");
}

TEST(StateFile, IsSetAsideUnderANameThatIsFree)
{
    const TemporaryFile file("first");
    EXPECT_EQ(sim::set_aside(file.path), file.path + ".broken");
    EXPECT_EQ(sim::set_aside(file.path), ""); /* there is none */
    EXPECT_EQ(sim::replace_file(file.path, "second"), "");
    EXPECT_EQ(sim::set_aside(file.path), file.path + ".broken.2");
    std::remove((file.path + ".broken").c_str());
    std::remove((file.path + ".broken.2").c_str());
}

} // namespace
