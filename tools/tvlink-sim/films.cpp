/* SPDX-License-Identifier: MIT */
#include "films.h"

#include <algorithm>

#include "bytes.h"
#include "player.h"
#include "utf8.h"

namespace sim
{

namespace
{

constexpr size_t status_title_size = 128;
constexpr size_t status_address_size = 136;

template <typename Matches> uint32_t film_number(const Matches &matches)
{
    const std::vector<Film> &shelf = films();
    const auto found = std::find_if(shelf.begin(), shelf.end(), matches);
    return found == shelf.end() ? 0 : static_cast<uint32_t>(found - shelf.begin()) + 1;
}

} // namespace

const std::vector<Film> &films()
{
    static const std::vector<Film> &shelf = *new std::vector<Film>{
        {"The Lighthouse Keeper", 5400, "http://films.example/lighthouse-keeper",
         "A man and his lamp, and the winter in which no ship came."},
        {"Harbour Lights", 6120, "http://films.example/harbour-lights",
         "Two sisters inherit a ferry that nobody wants to take."},
        {"A Day in March", 4980, "http://films.example/a-day-in-march",
         "One town, one day, and twelve people who miss the same train."},
    };
    return shelf;
}

uint32_t film_with_title(const std::string &title)
{
    return film_number([&](const Film &film) { return equal_words(film.title, title); });
}

uint32_t film_with_address(const std::string &address)
{
    return film_number([&](const Film &film) { return film.address == address; });
}

std::vector<Film> films_holding(const std::string &text)
{
    std::vector<Film> found;
    std::copy_if(films().begin(), films().end(), std::back_inserter(found),
                 [&](const Film &film) { return holds(film.title, text); });
    return found;
}

std::string film_cells(const std::vector<Film> &shelf)
{
    std::string cells;
    for (const Film &film : shelf) {
        append_field(cells, film.title, film_cell_size);
    }
    return cells;
}

std::string video_status(const Player &player, uint32_t now)
{
    std::string record;
    append_u32(record, static_cast<uint32_t>(player.state));
    append_u32(record, player_position(player, now));
    append_u32(record, player.duration);
    append_u32(record, player.film);
    append_field(record, player.title, status_title_size);
    append_field(record, player.address, status_address_size);
    return record;
}

} // namespace sim
