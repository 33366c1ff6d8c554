# SPDX-License-Identifier: MIT
# 32-bit x86 on a 64-bit Debian host, which runs the result itself: no cross compilation for CMake.
# The headers of the kernel's interface lie where the package of the 64-bit compiler puts them.
set(CMAKE_C_COMPILER gcc-12)
set(CMAKE_CXX_COMPILER g++-12)
set(CMAKE_C_FLAGS_INIT "-m32 -isystem /usr/include/x86_64-linux-gnu")
set(CMAKE_CXX_FLAGS_INIT "-m32 -isystem /usr/include/x86_64-linux-gnu")
