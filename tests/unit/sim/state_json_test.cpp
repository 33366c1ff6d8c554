/* SPDX-License-Identifier: MIT */
#include "state_json.h"

#include <gtest/gtest.h>

#include "unit/sim/sample_television.h"

using namespace sim;

namespace
{

Guide evening()
{
    Guide guide;
    guide.schedules["news"] = {{1000, 100, "Journal", "News", "All."}, {1100, 60, "Later", "", ""}};
    guide.schedules["films"] = {{1050, 500, "Noir", "Film", "Rain."}};
    return guide;
}

TEST(StateJson, IsTheWholeState)
{
    Television tv = sample_television(evening());
    open_stream(tv, "http://a");
    play(tv, 10);
    type_text(tv, "hi", "");
    EXPECT_EQ(state_json(tv, 1060, 15).dump(),
              "{\"channel\":1,\"channel_name\":\"News\",\"duration\":5400,\"last_key\":0,"
              "\"muted\":false,\"name\":\"tv\",\"next_programme\":\"Later\",\"on\":true,"
              "\"phone\":\"\",\"picture\":\"standard\",\"player\":\"playing\",\"position\":5,"
              "\"programme\":\"Journal\",\"stream\":\"http://a\",\"text\":\"hi\",\"volume\":20}");
    EXPECT_TRUE(state_json(tv, 2000, 15)["programme"].is_null());
}

TEST(StateJson, KnowsTheProgrammeThatIsOn)
{
    const Television tv = sample_television(evening());
    EXPECT_EQ(programme_json(tv, "", 1060).dump(),
              "{\"category\":\"News\",\"channel\":1,\"channel_name\":\"News\","
              "\"description\":\"All.\",\"duration\":100,\"start\":1000,\"title\":\"Journal\"}");
    EXPECT_EQ(programme_json(tv, "noir", 1060)["channel"], 3);
    EXPECT_TRUE(programme_json(tv, "Later", 1060).is_null());
    EXPECT_TRUE(programme_json(tv, "", 5000).is_null());
}

TEST(StateJson, KnowsTheFilms)
{
    Television tv = sample_television();
    EXPECT_TRUE(film_json(tv, "").is_null());
    EXPECT_TRUE(film_json(tv, "Noir").is_null());
    EXPECT_EQ(film_json(tv, "harbour lights").dump(),
              "{\"address\":\"http://films.example/harbour-lights\","
              "\"description\":\"Two sisters inherit a ferry that nobody wants to take.\","
              "\"duration\":6120,\"film\":2,\"title\":\"Harbour Lights\"}");
    start_player(tv, "A Day in March", "", "", 0);
    EXPECT_EQ(film_json(tv, "")["film"], 3);
}

} // namespace
