/* SPDX-License-Identifier: MIT */
/* The films that the television offers. They are numbered from 1 in the order of films(). */
#ifndef TVLINK_SIM_FILMS_H
#define TVLINK_SIM_FILMS_H

#include <cstdint>
#include <string>
#include <vector>

namespace sim
{

struct Player;

struct Film {
    std::string title;
    uint32_t seconds;
    std::string address;
    std::string description;
};

const std::vector<Film> &films();

/* The film's number; 0 when there is none. */
uint32_t film_with_title(const std::string &title);
uint32_t film_with_address(const std::string &address);

/* The films whose title contains the text, in order. */
std::vector<Film> films_holding(const std::string &text);

constexpr size_t film_cell_size = 256;
constexpr size_t video_status_size = 280;

/* One cell of film_cell_size bytes for each title, padded with zeros. */
std::string film_cells(const std::vector<Film> &shelf);

/* The player's status as a record of video_status_size bytes. */
std::string video_status(const Player &player, uint32_t now);

} // namespace sim

#endif
