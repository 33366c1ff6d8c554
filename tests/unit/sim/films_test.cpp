/* SPDX-License-Identifier: MIT */
#include "films.h"

#include <gtest/gtest.h>

#include "player.h"
#include "unit/sim/list_fields.h"

using namespace sim;

namespace
{

TEST(Films, AreNumberedFromOne)
{
    EXPECT_EQ(film_with_title("THE lighthouse keeper"), 1u);
    EXPECT_EQ(film_with_title("A Day in March"), 3u);
    EXPECT_EQ(film_with_title("A Day"), 0u);
    EXPECT_EQ(film_with_title(""), 0u);
    EXPECT_EQ(film_with_address("http://films.example/harbour-lights"), 2u);
    EXPECT_EQ(film_with_address(""), 0u);
}

TEST(Films, AreSelectedByAPartOfTheirTitle)
{
    EXPECT_EQ(films_holding("").size(), 3u);
    ASSERT_EQ(films_holding("LIGHT").size(), 2u);
    EXPECT_EQ(films_holding("LIGHT")[1].title, "Harbour Lights");
    EXPECT_TRUE(films_holding("x").empty());
}

TEST(Films, FillACellOf256BytesEach)
{
    EXPECT_EQ(hexed(film_cells(films_holding("Light"))),
              hex(joined({field("The Lighthouse Keeper", 256), field("Harbour Lights", 256)})));
    EXPECT_EQ(film_cells({}), "");
}

TEST(Films, AreToldInTheStatusOfThePlayer)
{
    Player player;
    player.state = PlayState::PLAYING;
    player.address = "http://a";
    player.title = "T\xC3\xA9";
    player.film = 2;
    player.duration = 6120;
    player.position = 300;
    player.since = 1000;
    const std::string record = video_status(player, 1005);
    EXPECT_EQ(hexed(record), hex(joined({bytes("01 00 00 00 31 01 00 00 E8 17 00 00 02 00 00 00"),
                                         field("T\xC3\xA9", 128), field("http://a", 136)})));
    EXPECT_EQ(record.size(), 280u);
}

TEST(Films, AreToldWithTextsThatFitTheStatus)
{
    Player player;
    player.title = std::string(126, 't') + "\xC3\xA9";
    player.address = std::string(200, 'a');
    EXPECT_EQ(hexed(video_status(player, 0)),
              hex(joined({Bytes(16), field(std::string(126, 't'), 128),
                          field(std::string(135, 'a'), 136)})));
}

} // namespace
