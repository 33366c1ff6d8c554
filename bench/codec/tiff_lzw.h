/* SPDX-License-Identifier: MIT */
/* libtiff's LZW codec, by way of an image in memory that is one strip of bytes. */
#pragma once

#include <cstdint>
#include <vector>

#include <tiffio.h>

struct TiffImage {
    std::vector<uint8_t> file;
    size_t at = 0;
    TIFF *tiff = nullptr;
};

void tiff_open_new(TiffImage *image, size_t size);
void tiff_open_written(TiffImage *image);
void tiff_close(TiffImage *image);

/* The measured calls; all else is done before and after them. */
void tiff_compress(TiffImage *image, const std::vector<uint8_t> &content);
void tiff_expand(TiffImage *image, std::vector<uint8_t> *content);

size_t tiff_compressed_size(TiffImage *image);
