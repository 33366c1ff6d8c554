# SPDX-License-Identifier: MIT
# 64-bit RISC-V.
include(${CMAKE_CURRENT_LIST_DIR}/debian-cross.cmake)
tvlink_debian_cross(riscv64-linux-gnu riscv64 qemu-riscv64)
