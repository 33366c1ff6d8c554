# SPDX-License-Identifier: MIT
# 32-bit ARM with hardware floating point.
include(${CMAKE_CURRENT_LIST_DIR}/debian-cross.cmake)
tvlink_debian_cross(arm-linux-gnueabihf armv7l qemu-arm)
# No notes about what changed in the compiler's seventh version.
set(CMAKE_CXX_FLAGS_INIT "-Wno-psabi")
