/* SPDX-License-Identifier: MIT */
/* Screens that are drawn with the fonts of fonts.conf, in Greenwich. */
#pragma once

#include "screen.h"

#include <gtest/gtest.h>

#include "support/project_text.h"
#include "support/time_zone.h"
#include "unit/sim/sample_television.h"

constexpr uint32_t quarter_past_eight = 1795292100;

inline sim::Guide evening_guide()
{
    sim::Guide guide;
    guide.schedules["news"] = {{quarter_past_eight - 600, 1200, "Journal", "", ""},
                               {quarter_past_eight + 600, 60, "Later", "", ""}};
    return guide;
}

inline void use_fonts_of(const char *configuration)
{
    setenv("FONTCONFIG_FILE", project_path(configuration).c_str(), 1);
    unsetenv("PANGO_LANGUAGE");
    unsetenv("LANGUAGE");
}

/* The fonts are freed behind the last test of a suite: see release_screen. */
class DrawnScreen : public testing::Test
{
protected:
    static void SetUpTestSuite()
    {
        use_fonts_of("tests/unit/sim/fonts.conf");
        fonts_ = sim::load_fonts("");
        ASSERT_NE(fonts_, nullptr) << "scripts/install-packages installs the fonts";
    }
    static void TearDownTestSuite()
    {
        fonts_ = nullptr;
    }

    static sim::Picture drawn(const sim::Television &tv, const sim::ScreenSize &size = {320, 180},
                              uint32_t now = 0)
    {
        return sim::draw_screen(sim::screen_of(tv, quarter_past_eight, now), *fonts_, size);
    }

private:
    static inline std::shared_ptr<sim::Fonts> fonts_;
    TimeZone zone_{"UTC0"};
};
