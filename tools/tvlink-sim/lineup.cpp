/* SPDX-License-Identifier: MIT */
#include "lineup.h"

#include <unistd.h>

#include "input_error.h"
#include "playlist.h"
#include "system.h"
#include "xmltv.h"

namespace sim
{

namespace
{

constexpr size_t max_lineup_bytes = 67108864;

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

template <typename Parse> auto parse_file(const std::string &path, const Parse &parse)
{
    try {
        return parse(tools::read_file(path, max_lineup_bytes));
    } catch (const InputError &error) {
        throw LineupError(path + ":" + std::to_string(error.line) + ": " + error.what());
    } catch (const tools::FileError &error) {
        throw LineupError(error.what());
    }
}

void add_remark(Lineup &lineup, size_t programmes, const std::string &reason)
{
    if (programmes > 0) {
        lineup.remarks.push_back(reason + ": " + std::to_string(programmes));
    }
}

void load_guide(Lineup &lineup, const std::string &path, bool starts_today, uint32_t today)
{
    const ReadGuide read = parse_file(
        path, [&](const std::string &text) { return parse_guide(text, lineup.channels); });
    lineup.guide = read.guide;
    add_remark(lineup, read.of_other_channels, "programmes of channels that are not in the list");
    add_remark(lineup, read.left_out,
               "programmes left out, for " + std::to_string(max_programmes) + " is the most");
    if (starts_today) {
        move_to_day(lineup.guide, today);
    }
}

} // namespace

Lineup load_lineup(const LineupFiles &files, uint32_t today)
{
    Lineup lineup;
    const bool sample_channels = files.channels.empty();
    lineup.channels =
        parse_file(sample_channels ? sample("channels.m3u") : files.channels, parse_playlist);
    if (!files.guide.empty()) {
        load_guide(lineup, files.guide, files.guide_starts_today, today);
    } else if (sample_channels) {
        load_guide(lineup, sample("guide.xml"), true, today);
    }
    return lineup;
}

} // namespace sim
