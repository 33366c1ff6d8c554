# SPDX-License-Identifier: MIT
# 64-bit x86 with musl in place of the GNU C library (package musl-tools). That is enough for the library, which is
# C++ without a C++ runtime; the tests also want the standard library that scripts/musl-libstdcxx builds.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR x86_64)
set(CMAKE_C_COMPILER gcc-12)
set(CMAKE_CXX_COMPILER g++-12)
set(CMAKE_C_FLAGS_INIT "-specs=/usr/lib/x86_64-linux-musl/musl-gcc.specs")
set(CMAKE_CXX_FLAGS_INIT "${CMAKE_C_FLAGS_INIT} -nostdinc++")
get_filename_component(runtime ${CMAKE_CURRENT_LIST_DIR}/../build/musl-libstdcxx ABSOLUTE)
if(EXISTS ${runtime}/complete)
    string(APPEND CMAKE_CXX_FLAGS_INIT " -isystem ${runtime}/include -isystem ${runtime}/include/x86_64-linux-musl")
    set(CMAKE_EXE_LINKER_FLAGS_INIT "-L${runtime}/lib -Wl,-rpath,${runtime}/lib")
else()
    set(CMAKE_TRY_COMPILE_TARGET_TYPE STATIC_LIBRARY)
endif()
