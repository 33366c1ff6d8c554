/* SPDX-License-Identifier: MIT */
#include "samples.h"

#include <algorithm>
#include <cstring>
#include <random>

namespace
{

using Bytes = std::vector<uint8_t>;
using Random = std::mt19937;

const char *const WORDS[] = {
    "the",       "a",        "of",          "and",       "in",       "to",        "with",
    "his",       "her",      "is",          "on",        "for",      "at",        "from",
    "by",        "after",    "new",         "old",       "when",     "who",       "their",
    "between",   "must",     "can",         "young",     "family",   "detective", "murder",
    "city",      "village",  "mother",      "father",    "brother",  "friend",    "secret",
    "search",    "night",    "day",         "story",     "life",     "love",      "death",
    "war",       "peace",    "return",      "journey",   "sea",      "mountain",  "island",
    "river",     "house",    "farm",        "doctor",    "teacher",  "lawyer",    "police",
    "judge",     "prisoner", "king",        "queen",     "summer",   "winter",    "spring",
    "autumn",    "world",    "country",     "coast",     "north",    "south",     "east",
    "west",      "live",     "report",      "interview", "magazine", "series",    "film",
    "comedy",    "drama",    "thriller",    "western",   "cartoon",  "music",     "concert",
    "opera",     "dance",    "sport",       "football",  "tennis",   "cycling",   "skiing",
    "weather",   "news",     "politics",    "economy",   "science",  "nature",    "animals",
    "elephants", "wolves",   "birds",       "whales",    "garden",   "kitchen",   "recipe",
    "bread",     "wine",     "market",      "quiz",      "show",     "guest",     "host",
    "audience",  "prize",    "question",    "answer",    "episode",  "season",    "final",
    "repeat",    "part",     "documentary", "history",   "ancient",  "modern",    "museum",
    "painter",   "writer",   "novel",       "poet",      "singer",   "actor",     "director",
    "camera",    "stage",    "theatre",     "discover",  "explore",  "decide",    "remember",
    "forget",    "escape",   "follow",      "protect",   "threaten", "reveal",    "promise",
    "betray",    "marry",    "divorce",     "inherit",   "sell",     "Anna",      "Martin",
    "Clara",     "Thomas",   "Lisa",        "Paul",      "Eva",      "Jonas",     "Berlin",
    "Paris",     "London",   "Rome",        "Vienna",    "Lisbon",   "Oslo",      "Prague"};
const char *const CATEGORIES[] = {"News", "Film", "Series", "Sport", "Children", "Documentary"};

} // namespace

static uint32_t below(Random *random, size_t limit)
{
    return static_cast<uint32_t>((*random)() % limit);
}

/* Common words are at the front, and more frequent. */
static const char *some_word(Random *random)
{
    const size_t count = sizeof WORDS / sizeof *WORDS;
    return WORDS[std::min(below(random, count), below(random, count))];
}

static std::string some_words(Random *random, size_t count)
{
    std::string text = some_word(random);
    text[0] = static_cast<char>(std::toupper(text[0]));
    while (--count > 0) {
        text += below(random, 12) == 0 ? ", " : " ";
        text += some_word(random);
    }
    return text;
}

static std::string some_sentences(Random *random, size_t count)
{
    std::string text;
    while (count-- > 0) {
        text += some_words(random, 6 + below(random, 12)) + ". ";
    }
    return text;
}

static void append_number(Bytes *to, uint32_t value, size_t size)
{
    for (size_t i = 0; i < size; i++) {
        to->push_back(static_cast<uint8_t>(value >> 8 * i));
    }
}

static void append_text(Bytes *to, const std::string &text)
{
    append_number(to, static_cast<uint32_t>(text.size()), 2);
    to->insert(to->end(), text.begin(), text.end());
}

/* Entries of a programme guide: numbers and times, title, category, description. */
static Bytes guide(size_t size)
{
    Random random(1);
    Bytes result;
    uint32_t start = 1700000000;
    for (uint32_t entry = 0; result.size() < size; entry++) {
        Bytes body;
        const uint32_t duration = 300 * (1 + below(&random, 24));
        append_number(&body, entry / 40 + 1, 2);
        append_number(&body, start, 4);
        append_number(&body, duration, 4);
        append_text(&body, some_words(&random, 1 + below(&random, 4)));
        append_text(&body, CATEGORIES[below(&random, sizeof CATEGORIES / sizeof *CATEGORIES)]);
        append_text(&body, some_sentences(&random, 1 + below(&random, 5)));
        append_number(&result, static_cast<uint32_t>(body.size()) + 2, 2);
        result.insert(result.end(), body.begin(), body.end());
        start += duration;
    }
    result.resize(size);
    return result;
}

/* A channel list of fixed cells: number, name, group, guide id, address. */
static Bytes cells(size_t size)
{
    Random random(2);
    Bytes result((size + 255) / 256 * 256, 0);
    for (size_t cell = 0; cell < result.size(); cell += 256) {
        const auto put = [&](size_t at, const std::string &text, size_t room) {
            memcpy(&result[cell + at], text.data(), std::min(text.size(), room - 1));
        };
        const uint32_t number = static_cast<uint32_t>(cell / 256) + 1;
        const std::string name = some_words(&random, 1 + below(&random, 2));
        result[cell] = static_cast<uint8_t>(number);
        result[cell + 1] = static_cast<uint8_t>(number >> 8);
        put(4, name + (below(&random, 2) == 0 ? " HD" : ""), 64);
        put(68, CATEGORIES[below(&random, sizeof CATEGORIES / sizeof *CATEGORIES)], 32);
        put(100, name.substr(0, name.find(' ')) + ".tv", 32);
        put(132, "http://192.0.2.10:8080/live/" + std::to_string(10000 + number) + ".ts", 124);
    }
    result.resize(size);
    return result;
}

static Bytes random_bytes(size_t size)
{
    Random random(3);
    Bytes result(size);
    for (uint8_t &byte : result) {
        byte = static_cast<uint8_t>(below(&random, 256));
    }
    return result;
}

std::vector<Sample> samples(size_t size)
{
    return {{"guide", guide(size)},
            {"cells", cells(size)},
            {"random", random_bytes(size)},
            {"zeros", Bytes(size, 0)}};
}
