/* SPDX-License-Identifier: MIT */
/* The implementations of the image writer and the font renderer, once for the program. */
#define STB_IMAGE_WRITE_IMPLEMENTATION
#define STBI_WRITE_NO_STDIO
#define STB_TRUETYPE_IMPLEMENTATION
#include <stb/stb_image_write.h>
#include <stb/stb_truetype.h>
