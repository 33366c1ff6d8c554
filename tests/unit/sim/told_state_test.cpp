#include "told_state.h"

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

TEST(ToldState, IsTheWholeState)
{
    Television tv = sample_television(evening());
    open_stream(tv, "http://a");
    play(tv, 10);
    type_text(tv, "hi", "");
    EXPECT_EQ(told_state(tv, 1060, 15).dump(),
              "{\"channel\":1,\"channel_name\":\"News\",\"duration\":5400,\"last_key\":0,"
              "\"muted\":false,\"name\":\"tv\",\"next_programme\":\"Later\",\"on\":true,"
              "\"phone\":\"\",\"picture\":\"standard\",\"player\":\"playing\",\"position\":5,"
              "\"programme\":\"Journal\",\"stream\":\"http://a\",\"text\":\"hi\",\"volume\":20}");
    EXPECT_TRUE(told_state(tv, 2000, 15)["programme"].is_null());
}

TEST(ToldState, KnowsTheProgrammeThatIsOn)
{
    const Television tv = sample_television(evening());
    EXPECT_EQ(told_programme(tv, "", 1060).dump(),
              "{\"category\":\"News\",\"channel\":1,\"channel_name\":\"News\","
              "\"description\":\"All.\",\"duration\":100,\"start\":1000,\"title\":\"Journal\"}");
    EXPECT_EQ(told_programme(tv, "noir", 1060)["channel"], 3);
    EXPECT_TRUE(told_programme(tv, "Later", 1060).is_null());
    EXPECT_TRUE(told_programme(tv, "", 5000).is_null());
}

TEST(ToldState, KnowsTheFilms)
{
    Television tv = sample_television();
    EXPECT_TRUE(told_film(tv, "").is_null());
    EXPECT_TRUE(told_film(tv, "Noir").is_null());
    EXPECT_EQ(told_film(tv, "harbour lights").dump(),
              "{\"address\":\"http://films.example/harbour-lights\","
              "\"description\":\"Two sisters inherit a ferry that nobody wants to take.\","
              "\"duration\":6120,\"film\":2,\"title\":\"Harbour Lights\"}");
    start_player(tv, "A Day in March", "", "", 0);
    EXPECT_EQ(told_film(tv, "")["film"], 3);
}

} // namespace
