/* SPDX-License-Identifier: MIT */
#include "picture.h"

#include <png.h>

namespace sim
{

std::vector<uint8_t> png_of(const Picture &picture)
{
    png_image image = {};
    image.version = PNG_IMAGE_VERSION;
    image.width = static_cast<png_uint_32>(picture.width);
    image.height = static_cast<png_uint_32>(picture.height);
    image.format = PNG_FORMAT_RGB;
    /* Without row filters flat areas are encoded fastest, and no larger than with them. */
    image.flags = PNG_IMAGE_FLAG_FAST;
    std::vector<uint8_t> bytes(PNG_IMAGE_PNG_SIZE_MAX(image));
    png_alloc_size_t size = bytes.size();
    if (png_image_write_to_memory(&image, bytes.data(), &size, 0, picture.pixels.data(), 0,
                                  nullptr) == 0) {
        return {};
    }
    bytes.resize(size);
    bytes.shrink_to_fit();
    return bytes;
}

} // namespace sim
