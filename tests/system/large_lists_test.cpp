/* SPDX-License-Identifier: MIT */
/* A guide of 20,000 programmes and a list of 2,000 channels, from their files to the phone. */
#include "support/project_text.h"
#include "system/sim_phone.h"

#include "controlpoint_lists.h"

#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <iterator>

namespace
{

const size_t CHANNEL_COUNT = 2000;
const size_t PROGRAMMES = 20000;

/* What scripts/make-guide writes, in a folder of its own. */
class LargeLists : public testing::Test
{
protected:
    void SetUp() override
    {
        char name[] = "/tmp/large-lists-XXXXXX";
        ASSERT_NE(mkdtemp(name), nullptr);
        folder = name;
        const Finished made =
            run_program(project_path("scripts/make-guide"),
                        {"--channels", std::to_string(CHANNEL_COUNT), "--programmes",
                         std::to_string(PROGRAMMES), "-o", folder});
        ASSERT_EQ(made.status, 0) << made.err;
        sim = start_sim({"--channels", folder + "/channels.m3u", "--guide", folder + "/guide.xml"});
        ASSERT_NE(sim, nullptr);
    }

    void TearDown() override
    {
        sim.reset();
        std::filesystem::remove_all(folder);
    }

    Words file_lines(const std::string &name) const
    {
        std::ifstream file(folder + "/" + name);
        Words lines;
        for (std::string line; std::getline(file, line);) {
            lines.push_back(line);
        }
        return lines;
    }

    std::string folder;
    std::unique_ptr<Program> sim;
};

/* The text between the first `before` and the `behind` that follows it. */
std::string between(const std::string &line, const std::string &before, const std::string &behind)
{
    const size_t begin = line.find(before);
    if (begin == std::string::npos) {
        return "";
    }
    const size_t at = begin + before.size();
    return line.substr(at, line.find(behind, at) - at);
}

std::string without_escapes(std::string text)
{
    for (size_t at = 0; (at = text.find("&amp;", at)) != std::string::npos; at++) {
        text.replace(at, 5, "&");
    }
    return text;
}

/* "20260101013000", in UTC. */
uint32_t seconds_of(const std::string &digits)
{
    std::tm time = {};
    strptime(digits.c_str(), "%Y%m%d%H%M%S", &time);
    return static_cast<uint32_t>(timegm(&time));
}

std::string text_of(const CpBytes &bytes)
{
    return std::string(reinterpret_cast<const char *>(bytes.data), bytes.size);
}

std::string entry_line(uint32_t channel, uint32_t start, uint32_t duration,
                       const std::string &title, const std::string &category,
                       const std::string &description)
{
    return std::to_string(channel) + " " + std::to_string(start) + " " + std::to_string(duration) +
           " " + title + " | " + category + " | " + description;
}

/* The file has each programme on five lines, channel by channel. */
Words programmes_of(const Words &lines)
{
    Words entries;
    for (size_t i = 0; i < lines.size(); i++) {
        const std::string start = between(lines[i], "<programme start=\"", " ");
        if (!start.empty()) {
            const uint32_t begin = seconds_of(start);
            const uint32_t end = seconds_of(between(lines[i], "stop=\"", " "));
            const int channel = std::stoi(between(lines[i], "channel=\"c", "."));
            entries.push_back(entry_line(static_cast<uint32_t>(channel), begin, end - begin,
                                         without_escapes(between(lines[i + 1], "<title>", "<")),
                                         between(lines[i + 3], "<category>", "<"),
                                         between(lines[i + 2], "<desc>", "<")));
        }
    }
    return entries;
}

Words channels_of(const Words &lines)
{
    Words entries;
    for (size_t i = 0; i + 1 < lines.size(); i++) {
        if (lines[i].rfind("#EXTINF", 0) == 0) {
            entries.push_back(between(lines[i], "tvg-chno=\"", "\"") + " " +
                              between(lines[i], "\",", "\n") + " | " +
                              between(lines[i], "group-title=\"", "\"") + " | " +
                              between(lines[i], "tvg-id=\"", "\"") + " | " + lines[i + 1]);
        }
    }
    return entries;
}

/* The expanded block of a reply's list. */
Bytes expanded(const Bytes &payload, CpList *list)
{
    EXPECT_EQ(cp_decode_list({payload.data(), payload.size()}, list), CP_OK);
    CpBuffer block = {};
    EXPECT_EQ(cp_expand(list->packed, &block, CP_EXPANDED_LIMIT), CP_OK);
    const Bytes bytes(block.data, block.data + block.size);
    cp_buffer_free(&block);
    return bytes;
}

Words guide_entries(const Bytes &bytes)
{
    Words entries;
    CpBytes left = {bytes.data(), bytes.size()};
    CpGuideEntry entry = {};
    while (left.size > 0 && cp_take_guide_entry(&left, &entry) == CP_OK) {
        entries.push_back(entry_line(entry.channel, entry.start, entry.duration,
                                     text_of(entry.title), text_of(entry.category),
                                     text_of(entry.description)));
    }
    EXPECT_EQ(left.size, 0u);
    return entries;
}

Words channel_entries(const Bytes &bytes)
{
    Words entries;
    CpBytes left = {bytes.data(), bytes.size()};
    CpChannel channel = {};
    while (left.size > 0 && cp_take_channel(&left, &channel) == CP_OK) {
        entries.push_back(std::to_string(channel.number) + " " + text_of(channel.name) + " | " +
                          text_of(channel.group) + " | " + text_of(channel.guide_id) + " | " +
                          text_of(channel.address));
    }
    EXPECT_EQ(left.size, 0u);
    return entries;
}

void expect_same(const Words &got, const Words &wanted)
{
    ASSERT_EQ(got.size(), wanted.size());
    for (size_t i = 0; i < wanted.size(); i++) {
        ASSERT_EQ(got[i], wanted[i]) << "entry " << i;
    }
}

const Bytes WHOLE_GUIDE =
    wire_frame(0x05, bytes("01 00 20 03 02 00 06 00 00 00 00 06 00 00 00 00"));
const Bytes ALL_CHANNELS = wire_frame(0x05, bytes("01 00 30 00"));
const Bytes VOLUME_UP = wire_frame(0x07, bytes("0F 01 02 01"));

TEST_F(LargeLists, ArriveWholeWhileAnotherPhoneIsServed)
{
    const Phone reader;
    const Phone remote;
    reader.send(WHOLE_GUIDE);
    remote.send(VOLUME_UP);
    EXPECT_EQ(hex(next_answer(remote)), "0F 01 00");

    CpList guide = {};
    const Bytes answer = next_answer(reader);
    expect_same(guide_entries(expanded(answer, &guide)), programmes_of(file_lines("guide.xml")));
    EXPECT_EQ(guide.count, PROGRAMMES);
    EXPECT_EQ(guide.second, CHANNEL_COUNT);
}

TEST_F(LargeLists, HaveEveryChannelOfTheFile)
{
    const Phone phone;
    phone.send(ALL_CHANNELS);
    CpList list = {};
    const Bytes answer = next_answer(phone);
    expect_same(channel_entries(expanded(answer, &list)), channels_of(file_lines("channels.m3u")));
    EXPECT_EQ(list.count, CHANNEL_COUNT);
}

/* Many at once: each answer is one whole frame, and the same. */
TEST_F(LargeLists, ArriveWholeAtEachOfManyPhones)
{
    const Phone phones[8];
    for (const Phone &phone : phones) {
        phone.send(WHOLE_GUIDE);
    }
    const Bytes wanted = phones[0].read_frame();
    EXPECT_GT(wanted.size(), PROGRAMMES);
    for (size_t i = 1; i < std::size(phones); i++) {
        ASSERT_TRUE(phones[i].read_frame() == wanted) << i;
    }
}

} // namespace
