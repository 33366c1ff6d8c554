/* SPDX-License-Identifier: MIT */
/* A television with eight channels, set up by hand. */
#pragma once

#include "television.h"

inline std::vector<sim::Channel> sample_channels()
{
    return {{1, "News", "Information", "news", "http://streams.example/news"},
            {2, "Sport", "Sport", "sport", "http://streams.example/sport"},
            {3, "Films", "Entertainment", "films", "http://streams.example/films"},
            {4, "Music", "Entertainment", "music", "http://streams.example/music"},
            {5, "Nature", "Information", "nature", "http://streams.example/nature"},
            {6, "Kids", "Family", "kids", "http://streams.example/kids"},
            {7, "Travel", "Information", "travel", "http://streams.example/travel"},
            {8, "Cooking", "Family", "cooking", "http://streams.example/cooking"}};
}

inline sim::Television sample_television(const sim::Guide &guide = {})
{
    return sim::make_television("tv", sample_channels(), guide);
}

/* The codes of the events that an operation reported. */
inline std::vector<int32_t> codes(const sim::Outcome &outcome)
{
    std::vector<int32_t> result;
    for (const sim::Event &event : outcome.events) {
        result.push_back(event.code);
    }
    return result;
}

using Codes = std::vector<int32_t>;
