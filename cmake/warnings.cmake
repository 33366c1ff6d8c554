# SPDX-License-Identifier: MIT
# The warnings that all of our own code is compiled with.
set(TVLINK_WARNINGS -Wall -Wextra -Wshadow -Wconversion -Wundef -Wcast-align -Wformat=2)
if(TVLINK_WERROR)
    list(APPEND TVLINK_WARNINGS -Werror)
endif()

function(tvlink_warnings target)
    target_compile_options(${target} PRIVATE ${TVLINK_WARNINGS})
    if(CMAKE_CXX_COMPILER_ID MATCHES Clang)
        target_compile_options(${target} PRIVATE -Wthread-safety)
    endif()
endfunction()
