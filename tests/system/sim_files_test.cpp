/* SPDX-License-Identifier: MIT */
/* tvlink-sim and the files that it is given. */
#include "support/project_text.h"
#include "system/sim_phone.h"

namespace
{

TEST(SimFiles, AreRefusedWithFileLineAndReason)
{
    const TemporaryFile channels("#EXTM3U\n#EXTINF:-1 tvg-chno=\"none\",A\nhttp://a\n");
    const Finished result = run_program(TVLINK_SIM_PATH, {"--strict", "--channels", channels.path});
    EXPECT_EQ(result.status, 3);
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(result.err, "tvlink-sim: " + channels.path +
                              ":2: tvg-chno is no number from 1 to 65535: \"none\"\n");
}

TEST(SimFiles, AreRefusedInJsonToo)
{
    const TemporaryFile guide("<tv>\n<programme>\n</tv>\n");
    const Finished result = run_program(TVLINK_SIM_PATH, {"--json", "--guide", guide.path});
    const std::string reason = guide.path + ":3: this is no XML: mismatched tag";
    EXPECT_EQ(result.status, 3);
    EXPECT_EQ(with_one_time(result.out),
              "{\"kind\":\"failure\",\"reason\":\"" + reason + "\",\"time\":\"T\"}\n");
    EXPECT_EQ(result.err, "tvlink-sim: " + reason + "\n");
}

TEST(SimFiles, AreRefusedWhenTheyAreNotThere)
{
    const Finished result = run_program(TVLINK_SIM_PATH, {"--guide", "/nowhere/guide.xml"});
    EXPECT_EQ(result.status, 3);
    EXPECT_EQ(result.err, "tvlink-sim: /nowhere/guide.xml: No such file or directory\n");
}

TEST(SimFiles, TellHowMuchOfAGuideIsNotUsed)
{
    const TemporaryFile guide(
        "<tv><programme start=\"20260101000000\" channel=\"x\"><title>T</title>"
        "</programme></tv>");
    const auto sim = start_sim({"--guide", guide.path});
    ASSERT_NE(sim, nullptr);
    EXPECT_NE(sim->out().find("  8 channels, 0 programmes\n"
                              "  programmes of channels that are not in the list: 1\n  try: "),
              std::string::npos)
        << sim->out();
}

TEST(SimFiles, AreTakenWithoutTheirBadEntries)
{
    const TemporaryFile channels("#EXTM3U url-tvg=\"http://guide.example.org/x.xml\"\n"
                                 "#EXTINF:-1 tvg-chno=\"22.1\",A\nhttp://a\n");
    const auto sim = start_sim({"--channels", channels.path});
    ASSERT_NE(sim, nullptr);
    EXPECT_NE(sim->out().find("  1 channels, 0 programmes\n"
                              "  1 channel numbered anew, at line 2: tvg-chno is no number from 1 "
                              "to 65535\n  the playlist names a guide, which is not fetched: "
                              "\"http://guide.example.org/x.xml\"\n  try: "),
              std::string::npos)
        << sim->out();
}

TEST(SimFiles, AreMadeForLoadTestsByAScript)
{
    char folder[] = "/tmp/tvlink-guide-XXXXXX";
    ASSERT_NE(mkdtemp(folder), nullptr);
    const std::string channels = std::string(folder) + "/channels.m3u";
    const std::string guide = std::string(folder) + "/guide.xml";
    const Finished made = run_program(project_path("scripts/make-guide"),
                                      {"--channels", "30", "--programmes", "1000", "-o", folder});
    EXPECT_EQ(made.status, 0) << made.err;
    const auto sim = start_sim({"--channels", channels, "--guide", guide, "--guide-starts-today"});
    EXPECT_EQ(std::remove(channels.c_str()), 0);
    EXPECT_EQ(std::remove(guide.c_str()), 0);
    EXPECT_EQ(std::remove(folder), 0);
    ASSERT_NE(sim, nullptr);
    EXPECT_NE(sim->out().find("  30 channels, 1000 programmes\n  try: "), std::string::npos)
        << sim->out();
    const Phone phone;
    EXPECT_EQ(get_list(phone, "01 00 20 03 02 00 06 00 00 00 00 06 00 00 00 00", 4).head,
              "01 00 20 A1 E8 03 1E 00");
}

TEST(SimFiles, AreNotMadeFromNonsense)
{
    for (const Words &arguments :
         {Words{}, Words{"-o"}, Words{"--channels", "0", "-o", "/tmp"},
          Words{"--channels", "65536", "-o", "/tmp"}, Words{"--channels", "x", "-o", "/tmp"},
          Words{"--programmes", "-1", "-o", "/tmp"}, Words{"--loud", "1", "-o", "/tmp"}}) {
        const Finished result = run_program(project_path("scripts/make-guide"), arguments);
        EXPECT_EQ(result.status, 2) << testing::PrintToString(arguments);
        EXPECT_NE(result.err, "");
    }
}

} // namespace
