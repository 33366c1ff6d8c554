/* SPDX-License-Identifier: MIT */
#include "unzip.h"

#include <algorithm>
#include <memory>
#include <vector>

#include <zlib.h>

#include "input_error.h"

namespace sim
{

namespace
{

constexpr size_t zipped_block = 65536;

struct Unzip {
    explicit Unzip(ReadBlock from) : read(std::move(from)), input(zipped_block)
    {
        constexpr int gzip_window = 15 + 16;
        if (inflateInit2(&stream, gzip_window) != Z_OK) {
            throw std::bad_alloc();
        }
    }
    ~Unzip()
    {
        inflateEnd(&stream);
    }
    Unzip(const Unzip &) = delete;
    Unzip &operator=(const Unzip &) = delete;

    z_stream stream = {};
    ReadBlock read;
    std::vector<char> input;
    bool in_member = true; /* a file is one or more members */
    bool ended = false;
};

bool refill(Unzip &zip)
{
    if (zip.stream.avail_in == 0) {
        const size_t count = zip.read(zip.input.data(), zip.input.size());
        zip.stream.next_in = reinterpret_cast<Bytef *>(zip.input.data());
        zip.stream.avail_in = static_cast<uInt>(count);
    }
    return zip.stream.avail_in > 0;
}

/* What follows the last member, such as padding, is ignored. */
void begin_member(Unzip &zip)
{
    constexpr Bytef first_of_magic = 0x1F;
    zip.ended = !refill(zip) || *zip.stream.next_in != first_of_magic;
    zip.in_member = !zip.ended;
    if (zip.in_member) {
        inflateReset(&zip.stream);
    }
}

/* What has been expanded in front of a fault is returned before the fault is reported. */
void expand_some(Unzip &zip, size_t room)
{
    if (!refill(zip)) {
        throw InputError(0, "the compressed data ends too early");
    }
    const int result = inflate(&zip.stream, Z_NO_FLUSH);
    if (result == Z_STREAM_END) {
        zip.in_member = false;
    } else if (result != Z_OK && zip.stream.avail_out == room) {
        throw InputError(0, "the compressed data is damaged");
    }
}

size_t read_expanded(Unzip &zip, char *to, size_t size)
{
    zip.stream.next_out = reinterpret_cast<Bytef *>(to);
    zip.stream.avail_out = static_cast<uInt>(size);
    while (zip.stream.avail_out == size && !zip.ended) {
        if (zip.in_member) {
            expand_some(zip, size);
        } else {
            begin_member(zip);
        }
    }
    return size - zip.stream.avail_out;
}

/* The magic number, the only method that there is, and the rest of a header's ten bytes. */
bool is_zipped(const std::string &beginning)
{
    constexpr size_t header_size = 10;
    return beginning.size() == header_size && beginning.compare(0, 3, "\x1F\x8B\x08") == 0;
}

} // namespace

ReadBlock block_of(const std::string &bytes)
{
    return [&bytes, at = size_t{0}](char *to, size_t size) mutable {
        const size_t count = bytes.copy(to, size, at);
        at += count;
        return count;
    };
}

ReadBlock with_beginning(const std::string &bytes, const ReadBlock &read)
{
    return [bytes, read, at = size_t{0}](char *to, size_t size) mutable {
        if (at == bytes.size()) {
            return read(to, size);
        }
        const size_t count = bytes.copy(to, size, at);
        at += count;
        return count;
    };
}

std::string first_bytes(const ReadBlock &read, size_t size)
{
    std::string bytes(size, '\0');
    size_t total = 0;
    size_t count = 0;
    while (total < size && (count = read(&bytes[total], size - total)) > 0) {
        total += count;
    }
    bytes.resize(total);
    return bytes;
}

ReadBlock unzipped(const ReadBlock &read)
{
    const std::string beginning = first_bytes(read, 10);
    ReadBlock whole = with_beginning(beginning, read);
    if (!is_zipped(beginning)) {
        return whole;
    }
    const auto zip = std::make_shared<Unzip>(whole);
    return [zip](char *to, size_t size) { return read_expanded(*zip, to, size); };
}

} // namespace sim
