/* SPDX-License-Identifier: MIT */
/* A file for the time of a test. */
#pragma once

#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>

#include <unistd.h>

#include <gtest/gtest.h>

class TemporaryFile
{
public:
    explicit TemporaryFile(const std::string &content)
    {
        char name[] = "/tmp/tvlink-test-XXXXXX";
        const int descriptor = mkstemp(name);
        EXPECT_GE(descriptor, 0);
        close(descriptor);
        path = name;
        std::ofstream(path, std::ios::binary) << content;
    }
    ~TemporaryFile()
    {
        unlink(path.c_str());
    }
    TemporaryFile(const TemporaryFile &) = delete;
    TemporaryFile &operator=(const TemporaryFile &) = delete;

    std::string content() const
    {
        std::ifstream file(path, std::ios::binary);
        std::stringstream content;
        content << file.rdbuf();
        return content.str();
    }

    std::string path;
};
