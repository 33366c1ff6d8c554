# SPDX-License-Identifier: MIT
# 64-bit ARM.
include(${CMAKE_CURRENT_LIST_DIR}/debian-cross.cmake)
tvlink_debian_cross(aarch64-linux-gnu aarch64 qemu-aarch64)
