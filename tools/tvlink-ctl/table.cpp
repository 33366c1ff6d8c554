/* SPDX-License-Identifier: MIT */
#include "table.h"

#include "utf8.h"

#include <algorithm>

namespace ctl
{
namespace
{

struct CharacterRange {
    uint32_t first, last;
};

/* Combining marks and invisible characters, which take no column. */
constexpr CharacterRange zero_width_characters[] = {
    {0x0300, 0x036F}, {0x0483, 0x0489}, {0x0591, 0x05BD},  {0x0610, 0x061A}, {0x064B, 0x065F},
    {0x0E34, 0x0E3A}, {0x0E47, 0x0E4E}, {0x1AB0, 0x1AFF},  {0x1DC0, 0x1DFF}, {0x200B, 0x200F},
    {0x202A, 0x202E}, {0x2060, 0x2064}, {0x20D0, 0x20FF},  {0x3099, 0x309A}, {0xFE00, 0xFE0F},
    {0xFE20, 0xFE2F}, {0xFEFF, 0xFEFF}, {0xE0100, 0xE01EF}};

/* Ideographs, kana, Hangul, full-width forms, pictographs, which take two. */
constexpr CharacterRange wide_characters[] = {
    {0x1100, 0x115F},   {0x2E80, 0x303E},   {0x3041, 0x4DBF},   {0x4E00, 0xA4CF},  {0xA960, 0xA97F},
    {0xAC00, 0xD7A3},   {0xF900, 0xFAFF},   {0xFE30, 0xFE6F},   {0xFF00, 0xFF60},  {0xFFE0, 0xFFE6},
    {0x1F300, 0x1F64F}, {0x1F680, 0x1F6FF}, {0x1F900, 0x1F9FF}, {0x20000, 0x3FFFD}};

template <size_t count> bool is_among(const CharacterRange (&ranges)[count], uint32_t character)
{
    return std::any_of(std::begin(ranges), std::end(ranges), [&](const CharacterRange &range) {
        return character >= range.first && character <= range.last;
    });
}

std::string padded(const std::string &text, size_t width, bool on_the_left)
{
    const size_t taken = display_width(text);
    const std::string blanks(width > taken ? width - taken : 0, ' ');
    return on_the_left ? blanks + text : text + blanks;
}

/* One line without trailing blanks. */
std::string table_line(const Table &table, const std::vector<std::string> &cells,
                       const std::vector<size_t> &widths)
{
    std::string line;
    for (size_t i = 0; i < cells.size(); i++) {
        line += i == 0 ? "" : "  ";
        line += padded(cells[i], widths[i], table.columns[i].is_number);
    }
    return line.substr(0, line.find_last_not_of(' ') + 1) + "\n";
}

} // namespace

size_t display_width(const std::string &text)
{
    size_t width = 0;
    size_t length = 0;
    for (size_t at = 0; at < text.size(); at += length) {
        length = std::max<size_t>(tools::character_length(text, at), 1);
        const uint32_t character = tools::code_point(text, at, length);
        if (!is_among(zero_width_characters, character)) {
            width += is_among(wide_characters, character) ? 2 : 1;
        }
    }
    return width;
}

std::string table_text(const Table &table)
{
    std::vector<std::string> titles;
    std::vector<size_t> widths;
    for (size_t i = 0; i < table.columns.size(); i++) {
        titles.push_back(table.columns[i].title);
        widths.push_back(display_width(titles[i]));
        for (const auto &row : table.rows) {
            widths[i] = std::max(widths[i], display_width(row[i]));
        }
    }
    std::string text = table_line(table, titles, widths);
    for (size_t i = 0; i < table.rows.size(); i++) {
        text += table_line(table, table.rows[i], widths);
        if (i < table.notes.size() && !table.notes[i].empty()) {
            text += "    " + table.notes[i] + "\n";
        }
    }
    return text;
}

} // namespace ctl
