# SPDX-License-Identifier: MIT
# A cross compiler of Debian, for the toolchain files; the tests run in the user mode of QEMU.
#
# tvlink_debian_cross(TRIPLET PROCESSOR EMULATOR)
macro(tvlink_debian_cross triplet processor emulator)
    set(CMAKE_SYSTEM_NAME Linux)
    set(CMAKE_SYSTEM_PROCESSOR ${processor})
    set(CMAKE_C_COMPILER ${triplet}-gcc)
    set(CMAKE_CXX_COMPILER ${triplet}-g++)
    set(CMAKE_CROSSCOMPILING_EMULATOR ${emulator} -L /usr/${triplet})
    set(CMAKE_FIND_ROOT_PATH /usr/${triplet})
    set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
    set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
    set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
endmacro()
