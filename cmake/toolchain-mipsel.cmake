# SPDX-License-Identifier: MIT
# 32-bit MIPS, little-endian.
include(${CMAKE_CURRENT_LIST_DIR}/debian-cross.cmake)
tvlink_debian_cross(mipsel-linux-gnu mipsel qemu-mipsel)
