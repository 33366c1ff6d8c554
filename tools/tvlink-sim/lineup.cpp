/* SPDX-License-Identifier: MIT */
#include "lineup.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <memory>

#include "input_error.h"
#include "playlist.h"
#include "system.h"
#include "xmltv.h"

namespace sim
{

namespace
{

constexpr size_t max_playlist_bytes = 67108864;
constexpr size_t max_guide_bytes = 1073741824;

/* The folder of the program itself; empty when it cannot be determined. */
std::string program_folder()
{
    char path[4096];
    const ssize_t length = readlink("/proc/self/exe", path, sizeof path);
    const std::string program(path, length > 0 ? static_cast<size_t>(length) : 0);
    return program.substr(0, program.find_last_of('/') + 1);
}

/* The path of a sample: relative to the program, so that an installation can be relocated. */
std::string sample(const std::string &name)
{
    const std::string path = program_folder() + TVLINK_SIM_SHARE + "/" + name;
    if (access(path.c_str(), R_OK) == 0) {
        return path;
    }
    throw LineupError(path +
                      ": the sample is missing; --channels FILE and --guide FILE name others");
}

/* The blocks of a file. Reading throws FileError, also when there are more than `max` bytes. */
ReadBlock file_blocks(const std::string &path, size_t max)
{
    const std::shared_ptr<FILE> file(fopen(path.c_str(), "rbe"), [](FILE *opened) {
        if (opened != nullptr) {
            fclose(opened);
        }
    });
    if (file == nullptr) {
        throw tools::FileError(path + ": " + tools::system_text(errno));
    }
    const auto total = std::make_shared<size_t>(0);
    return [=](char *to, size_t size) {
        const size_t count = fread(to, 1, size, file.get());
        if (ferror(file.get()) != 0) {
            throw tools::FileError(path + ": " + tools::system_text(errno));
        }
        *total += count;
        if (*total > max) {
            throw tools::FileError(path + ": longer than " + std::to_string(max) + " bytes");
        }
        return count;
    };
}

template <typename Parse> auto parse_file(const std::string &path, size_t max, const Parse &parse)
{
    try {
        return parse(file_blocks(path, max));
    } catch (const InputError &error) {
        const std::string line = error.line == 0 ? "" : ":" + std::to_string(error.line);
        throw LineupError(path + line + ": " + error.what());
    } catch (const tools::FileError &error) {
        throw LineupError(error.what());
    }
}

void add_remarks(Lineup &lineup, const std::vector<std::string> &remarks)
{
    lineup.remarks.insert(lineup.remarks.end(), remarks.begin(), remarks.end());
}

void add_remark(Lineup &lineup, size_t programmes, const std::string &reason)
{
    if (programmes > 0) {
        lineup.remarks.push_back(reason + ": " + std::to_string(programmes));
    }
}

void load_channels(Lineup &lineup, const std::string &path, Strictness strictness)
{
    ReadPlaylist read = parse_file(path, max_playlist_bytes, [=](const ReadBlock &blocks) {
        return parse_playlist(blocks, strictness);
    });
    lineup.channels = std::move(read.channels);
    add_remarks(lineup, read.remarks);
}

/* Channels of the guide itself take the place of those that are there. */
CutTexts load_guide(Lineup &lineup, const std::string &path, const GuideWishes &wishes)
{
    ReadGuide read = parse_file(path, max_guide_bytes, [&](const ReadBlock &blocks) {
        return parse_guide(blocks, wishes);
    });
    if (!read.channels.empty()) {
        lineup.channels = std::move(read.channels);
    }
    lineup.guide = std::move(read.guide);
    add_remarks(lineup, read.remarks);
    add_remark(lineup, read.of_other_channels, "programmes of channels that are not in the list");
    add_remark(lineup, read.left_out,
               "programmes left out, for " + std::to_string(max_programmes) + " is the most");
    return read.cut;
}

/* ---- What lists cannot hold */

size_t count_longer(const std::vector<Channel> &channels, std::string Channel::*text, size_t field)
{
    return static_cast<size_t>(
        std::count_if(channels.begin(), channels.end(),
                      [=](const Channel &channel) { return (channel.*text).size() >= field; }));
}

/* Lists have texts of limited length; the channels' are cut when a list is built. */
void tell_cut_texts(Lineup &lineup, const CutTexts &cut)
{
    const struct {
        const char *what;
        size_t count;
    } rows[] = {
        {"names", count_longer(lineup.channels, &Channel::name, 64)},
        {"groups", count_longer(lineup.channels, &Channel::group, 32)},
        {"guide names", count_longer(lineup.channels, &Channel::guide_id, 32)},
        {"addresses", count_longer(lineup.channels, &Channel::address, 124)},
        {"titles", cut.titles},
        {"categories", cut.categories},
        {"descriptions", cut.descriptions},
    };
    std::string counts;
    for (const auto &row : rows) {
        if (row.count > 0) {
            counts += (counts.empty() ? "" : ", ") +
                      (std::string(row.what) + " " + std::to_string(row.count));
        }
    }
    if (!counts.empty()) {
        lineup.remarks.push_back("texts too long for a list, and cut there: " + counts);
    }
}

} // namespace

Lineup load_lineup(const LineupFiles &files, uint32_t today)
{
    const Strictness strictness = files.strict ? Strictness::STRICT : Strictness::LENIENT;
    const bool sample_channels = files.channels.empty();
    const bool own_guide = !files.guide.empty();
    Lineup lineup;
    CutTexts cut;
    load_channels(lineup, sample_channels ? sample("channels.m3u") : files.channels, strictness);
    if (own_guide || sample_channels) {
        cut = load_guide(
            lineup, own_guide ? files.guide : sample("guide.xml"),
            {&lineup.channels, sample_channels && own_guide, files.language, strictness});
        if (files.guide_starts_today || !own_guide) {
            move_to_day(lineup.guide, today);
        }
    }
    tell_cut_texts(lineup, cut);
    return lineup;
}

} // namespace sim
