/* SPDX-License-Identifier: MIT */
/* Sources of bytes, read block by block, and the expansion of those that are compressed. */
#ifndef TVLINK_SIM_UNZIP_H
#define TVLINK_SIM_UNZIP_H

#include <cstddef>
#include <functional>
#include <string>

namespace sim
{

/* Reads up to `size` bytes and returns their number; 0 at the end. */
using ReadBlock = std::function<size_t(char *to, size_t size)>;

/* A source of these bytes, which must outlive it. */
ReadBlock block_of(const std::string &bytes);

/* The same source with `bytes` in front of it. */
ReadBlock with_beginning(const std::string &bytes, const ReadBlock &read);

/* Reads until there are `size` bytes, or until the end. */
std::string first_bytes(const ReadBlock &read, size_t size);

/* The expanded content of a gzip file, the source itself for other content. Reading throws
 * InputError when compressed data is damaged or incomplete. */
ReadBlock unzipped(const ReadBlock &read);

} // namespace sim

#endif
