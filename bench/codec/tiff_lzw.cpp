/* SPDX-License-Identifier: MIT */
#include "tiff_lzw.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>

static void require(bool done, const char *what)
{
    if (!done) {
        std::fprintf(stderr, "libtiff: %s failed\n", what);
        std::exit(1);
    }
}

static TiffImage *image_of(thandle_t handle)
{
    return static_cast<TiffImage *>(handle);
}

static tmsize_t read_file(thandle_t handle, void *to, tmsize_t size)
{
    TiffImage *image = image_of(handle);
    const size_t left = image->file.size() - std::min(image->at, image->file.size());
    const size_t count = std::min(left, static_cast<size_t>(size));
    memcpy(to, image->file.data() + image->at, count);
    image->at += count;
    return static_cast<tmsize_t>(count);
}

static tmsize_t write_file(thandle_t handle, void *from, tmsize_t size)
{
    TiffImage *image = image_of(handle);
    const size_t end = image->at + static_cast<size_t>(size);
    image->file.resize(std::max(end, image->file.size()));
    memcpy(image->file.data() + image->at, from, static_cast<size_t>(size));
    image->at = end;
    return size;
}

static toff_t seek_file(thandle_t handle, toff_t offset, int origin)
{
    TiffImage *image = image_of(handle);
    const size_t base = origin == SEEK_CUR   ? image->at
                        : origin == SEEK_END ? image->file.size()
                                             : 0;
    image->at = base + static_cast<size_t>(offset);
    return image->at;
}

static int close_file(thandle_t)
{
    return 0;
}

static toff_t size_of_file(thandle_t handle)
{
    return image_of(handle)->file.size();
}

/* Maps the file, so that libtiff reads it without a copy. */
static int map_file(thandle_t handle, void **base, toff_t *size)
{
    *base = image_of(handle)->file.data();
    *size = image_of(handle)->file.size();
    return 1;
}

static void unmap_file(thandle_t, void *, toff_t)
{
}

static void open_image(TiffImage *image, const char *mode)
{
    image->at = 0;
    image->tiff = TIFFClientOpen("memory", mode, image, read_file, write_file, seek_file,
                                 close_file, size_of_file, map_file, unmap_file);
    require(image->tiff != nullptr, "opening");
}

void tiff_open_new(TiffImage *image, size_t size)
{
    image->file.clear();
    image->file.reserve(size * 2); /* so that reallocation is not measured */
    open_image(image, "wl");
    const uint32_t width = static_cast<uint32_t>(size);
    require(TIFFSetField(image->tiff, TIFFTAG_IMAGEWIDTH, width) == 1 &&
                TIFFSetField(image->tiff, TIFFTAG_IMAGELENGTH, 1) == 1 &&
                TIFFSetField(image->tiff, TIFFTAG_ROWSPERSTRIP, 1) == 1 &&
                TIFFSetField(image->tiff, TIFFTAG_BITSPERSAMPLE, 8) == 1 &&
                TIFFSetField(image->tiff, TIFFTAG_SAMPLESPERPIXEL, 1) == 1 &&
                TIFFSetField(image->tiff, TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_MINISBLACK) == 1 &&
                TIFFSetField(image->tiff, TIFFTAG_COMPRESSION, COMPRESSION_LZW) == 1 &&
                TIFFSetField(image->tiff, TIFFTAG_PREDICTOR, PREDICTOR_NONE) == 1,
            "describing the image");
}

void tiff_open_written(TiffImage *image)
{
    open_image(image, "r");
}

void tiff_close(TiffImage *image)
{
    TIFFClose(image->tiff);
}

void tiff_compress(TiffImage *image, const std::vector<uint8_t> &content)
{
    const tmsize_t size = static_cast<tmsize_t>(content.size());
    require(TIFFWriteEncodedStrip(image->tiff, 0, const_cast<uint8_t *>(content.data()), size) ==
                size,
            "compressing");
}

void tiff_expand(TiffImage *image, std::vector<uint8_t> *content)
{
    const tmsize_t size = static_cast<tmsize_t>(content->size());
    require(TIFFReadEncodedStrip(image->tiff, 0, content->data(), size) == size, "expanding");
}

size_t tiff_compressed_size(TiffImage *image)
{
    return TIFFRawStripSize64(image->tiff, 0);
}
